/* out = in * `factor`, a number of its own that only a state changes: saving stores what `next`
 * says as the factor to come back with. The state has a value of each kind that plugins save, and
 * restoring refuses it when a byte or a type has changed, when the control ports were not there
 * before, or when the instance was active already. */
#include <lv2/atom/atom.h>
#include <lv2/state/state.h>
#include <lv2/urid/urid.h>
#include <stdlib.h>

#include "test_plugins.h"

enum { kInLeft, kInRight, kOutLeft, kOutRight, kNext };

typedef struct {
  float* ports[5];
  const LV2_URID_Map* map;
  float factor;
  int active;
} State;

typedef struct {
  LV2_Atom_Vector_Body head;
  float values[3];
} Vector;

/* Text whose stored size leaves out nothing and a chunk with zero bytes inside and at its end. */
static const char kText[] = "first line\nsecond <line> & \"more\"";
static const unsigned char kChunk[] = {0, 1, 2, 0, 255, 254, 0};

static LV2_URID map(const State* self, const char* uri) {
  return self->map->map(self->map->handle, uri);
}

static LV2_Handle instantiate(const LV2_Descriptor* descriptor, double rate, const char* bundle,
                              const LV2_Feature* const* features) {
  (void)descriptor, (void)rate, (void)bundle;
  const LV2_URID_Map* urids = feature_data(features, LV2_URID__map);
  if (urids == NULL) return NULL;
  State* self = calloc(1, sizeof(State));
  self->map = urids;
  self->factor = 1;
  return self;
}

static void connect_port(LV2_Handle handle, uint32_t port, void* data) {
  if (port < 5) ((State*)handle)->ports[port] = data;
}

static void activate(LV2_Handle handle) {
  ((State*)handle)->active = 1;
}
static void deactivate(LV2_Handle handle) {
  ((State*)handle)->active = 0;
}

static void run(LV2_Handle handle, uint32_t frames) {
  State* self = handle;
  for (uint32_t i = 0; i < frames; ++i) {
    self->ports[kOutLeft][i] = self->ports[kInLeft][i] * self->factor;
    self->ports[kOutRight][i] = self->ports[kInRight][i] * self->factor;
  }
}

static Vector vector_of(const State* self) {
  const Vector vector = {{sizeof(float), map(self, LV2_ATOM__Float)}, {1.5f, -2.5f, 1e-30f}};
  return vector;
}

static LV2_State_Status save(LV2_Handle handle, LV2_State_Store_Function store, LV2_State_Handle to,
                             uint32_t flags, const LV2_Feature* const* features) {
  (void)flags;
  State* self = handle;
  const uint32_t plain = LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE;
  const float factor = *self->ports[kNext] != 0 ? *self->ports[kNext] : self->factor;
  const Vector vector = vector_of(self);
  const LV2_URID mode = map(self, "urn:vesk:test:state#mode-a");
  store(to, map(self, "urn:vesk:test:state#factor"), &factor, sizeof factor,
        map(self, LV2_ATOM__Float), plain);
  store(to, map(self, "urn:vesk:test:state#text"), kText, sizeof kText, map(self, LV2_ATOM__String),
        plain);
  store(to, map(self, "urn:vesk:test:state#chunk"), kChunk, sizeof kChunk,
        map(self, LV2_ATOM__Chunk), plain);
  store(to, map(self, "urn:vesk:test:state#vector"), &vector, sizeof vector,
        map(self, LV2_ATOM__Vector), plain);
  store(to, map(self, "urn:vesk:test:state#mode"), &mode, sizeof mode, map(self, LV2_ATOM__URID),
        plain);
  const LV2_State_Map_Path* paths = feature_data(features, LV2_STATE__mapPath);
  const LV2_State_Free_Path* freer = feature_data(features, LV2_STATE__freePath);
  if (paths == NULL || freer == NULL) return LV2_STATE_ERR_NO_FEATURE;
  char* path = paths->abstract_path(paths->handle, "/dev/null");
  store(to, map(self, "urn:vesk:test:state#file"), path, strlen(path) + 1,
        map(self, LV2_ATOM__Path), LV2_STATE_IS_POD);
  freer->free_path(freer->handle, path);
  /* A pointer: the host must not keep it. */
  const LV2_State_Status refused = store(to, map(self, "urn:vesk:test:state#pointer"), &self,
                                         sizeof self, map(self, LV2_ATOM__Chunk), 0);
  return refused == LV2_STATE_SUCCESS ? LV2_STATE_ERR_UNKNOWN : LV2_STATE_SUCCESS;
}

static int came_back(const State* self, LV2_State_Retrieve_Function retrieve, LV2_State_Handle from,
                     const char* key, const char* type, const void* value, size_t size) {
  size_t found_size = 0;
  uint32_t found_type = 0, flags = 0;
  const void* found = retrieve(from, map(self, key), &found_size, &found_type, &flags);
  return found != NULL && found_size == size && found_type == map(self, type) &&
         (flags & LV2_STATE_IS_POD) != 0 && memcmp(found, value, size) == 0;
}

static LV2_State_Status restore(LV2_Handle handle, LV2_State_Retrieve_Function retrieve,
                                LV2_State_Handle from, uint32_t flags,
                                const LV2_Feature* const* features) {
  (void)flags, (void)features;
  State* self = handle;
  if (self->active || self->ports[kNext] == NULL) return LV2_STATE_ERR_UNKNOWN;
  const Vector vector = vector_of(self);
  const LV2_URID mode = map(self, "urn:vesk:test:state#mode-a");
  if (!came_back(self, retrieve, from, "urn:vesk:test:state#text", LV2_ATOM__String, kText,
                 sizeof kText) ||
      !came_back(self, retrieve, from, "urn:vesk:test:state#chunk", LV2_ATOM__Chunk, kChunk,
                 sizeof kChunk) ||
      !came_back(self, retrieve, from, "urn:vesk:test:state#vector", LV2_ATOM__Vector, &vector,
                 sizeof vector) ||
      !came_back(self, retrieve, from, "urn:vesk:test:state#mode", LV2_ATOM__URID, &mode,
                 sizeof mode) ||
      !came_back(self, retrieve, from, "urn:vesk:test:state#file", LV2_ATOM__Path, "/dev/null",
                 sizeof "/dev/null") ||
      retrieve(from, map(self, "urn:vesk:test:state#pointer"), NULL, NULL, NULL) != NULL) {
    return LV2_STATE_ERR_BAD_TYPE;
  }
  size_t size = 0;
  const void* factor = retrieve(from, map(self, "urn:vesk:test:state#factor"), &size, NULL, NULL);
  if (factor == NULL || size != sizeof self->factor) return LV2_STATE_ERR_NO_PROPERTY;
  memcpy(&self->factor, factor, size);
  return LV2_STATE_SUCCESS;
}

static const void* extension_data(const char* uri) {
  static const LV2_State_Interface methods = {save, restore};
  return strcmp(uri, LV2_STATE__interface) == 0 ? &methods : NULL;
}

const LV2_Descriptor test_state_descriptor = {
    "urn:vesk:test:state", instantiate, connect_port, activate, run, deactivate, free,
    extension_data};
