/* out = in * `factor`, turned round while it is not `enabled`. The factor is a number of its own
 * that only a state changes: saving stores what `next` says as the factor to come back with. The
 * state has a value of each kind that plugins save, and restoring refuses it when a byte or a type
 * has changed, when the control ports were not there before, when the instance was active already,
 * or when there is a worker whose work nobody would wait for.
 *
 * Its latency is 32 after a run without frames, 0 while `next` is 8, and `setting` after a real
 * one, as with plugins that know it only then. `longest` is the length that the host promised not
 * to exceed, negative once broken. */
#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/options/options.h>
#include <lv2/state/state.h>
#include <lv2/worker/worker.h>
#include <stdlib.h>

#include "test_plugins.h"

#define KEY(name) "urn:vesk:test:effect#" name

enum { kInLeft, kInRight, kOutLeft, kOutRight, kSetting, kLatency, kLongest, kEnabled, kNext };

typedef struct {
  LV2_Atom_Vector_Body head;
  float values[3];
} Vector;

typedef struct {
  LV2_URID key, type;
  const void* value;
  size_t size;
} Property;

enum { kProperties = 5 };

typedef struct {
  Ports ports;
  const LV2_URID_Map* map;
  float factor, longest;
  int active;
  /* What is the same in every state, and its numbers for URIs. */
  Property kept[kProperties];
  Vector vector;
  LV2_URID mode;
} Effect;

static void list_what_is_kept(Effect* self) {
  static const char text[] = "first line\nsecond <line> & \"more\"", file[] = "/dev/null";
  static const unsigned char chunk[] = {0, 1, 2, 0, 255, 254, 0};
  const LV2_URID_Map* map = self->map;
  const LV2_Atom_Vector_Body head = {sizeof(float), urid(map, LV2_ATOM__Float)};
  self->vector = (Vector){head, {1.5f, -2.5f, 1e-30f}};
  self->mode = urid(map, KEY("mode-a"));
  const Property kept[kProperties] = {
      {urid(map, KEY("text")), urid(map, LV2_ATOM__String), text, sizeof text},
      {urid(map, KEY("chunk")), urid(map, LV2_ATOM__Chunk), chunk, sizeof chunk},
      {urid(map, KEY("vector")), urid(map, LV2_ATOM__Vector), &self->vector, sizeof self->vector},
      {urid(map, KEY("mode")), urid(map, LV2_ATOM__URID), &self->mode, sizeof self->mode},
      {urid(map, KEY("file")), urid(map, LV2_ATOM__Path), file, sizeof file},
  };
  memcpy(self->kept, kept, sizeof kept);
}

static LV2_Handle instantiate(const LV2_Descriptor* descriptor, double rate, const char* bundle,
                              const LV2_Feature* const* features) {
  (void)descriptor, (void)rate, (void)bundle;
  const LV2_URID_Map* map = feature_data(features, LV2_URID__map);
  const LV2_Options_Option* option = feature_data(features, LV2_OPTIONS__options);
  if (map == NULL || option == NULL) return NULL;
  Effect* self = calloc(1, sizeof(Effect));
  self->map = map;
  self->factor = 1;
  list_what_is_kept(self);
  const LV2_URID longest = urid(map, LV2_BUF_SIZE__maxBlockLength);
  for (; option->key != 0; ++option)
    if (option->key == longest && option->type == urid(map, LV2_ATOM__Int))
      self->longest = (float)*(const int32_t*)option->value;
  return self;
}

static void activate(LV2_Handle handle) {
  ((Effect*)handle)->active = 1;
}
static void deactivate(LV2_Handle handle) {
  ((Effect*)handle)->active = 0;
}

static void run(LV2_Handle handle, uint32_t frames) {
  Effect* self = handle;
  *samples(handle, kLatency) = *samples(handle, kSetting);
  if (frames == 0) *samples(handle, kLatency) = *samples(handle, kNext) == 8 ? 0 : 32;
  if ((float)frames > self->longest) self->longest = -1;
  *samples(handle, kLongest) = self->longest;
  const float factor = *samples(handle, kEnabled) > 0 ? self->factor : -self->factor;
  for (uint32_t i = 0; i < frames; ++i) {
    samples(handle, kOutLeft)[i] = samples(handle, kInLeft)[i] * factor;
    samples(handle, kOutRight)[i] = samples(handle, kInRight)[i] * factor;
  }
}

static LV2_State_Status save(LV2_Handle handle, LV2_State_Store_Function store, LV2_State_Handle to,
                             uint32_t flags, const LV2_Feature* const* features) {
  (void)flags;
  Effect* self = handle;
  const LV2_State_Map_Path* paths = feature_data(features, LV2_STATE__mapPath);
  const LV2_State_Free_Path* freer = feature_data(features, LV2_STATE__freePath);
  if (paths == NULL || freer == NULL) return LV2_STATE_ERR_NO_FEATURE;
  const float next = *samples(handle, kNext), factor = next != 0 ? next : self->factor;
  store(to, urid(self->map, KEY("factor")), &factor, sizeof factor,
        urid(self->map, LV2_ATOM__Float), LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE);
  for (const Property* each = self->kept; each < self->kept + kProperties; ++each) {
    if (each->type == urid(self->map, LV2_ATOM__Path)) {
      char* path = paths->abstract_path(paths->handle, each->value);
      store(to, each->key, path, strlen(path) + 1, each->type, LV2_STATE_IS_POD);
      freer->free_path(freer->handle, path);
    } else {
      store(to, each->key, each->value, each->size, each->type,
            LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE);
    }
  }
  /* A pointer: the host must not keep it. */
  store(to, urid(self->map, KEY("pointer")), &self, sizeof self, urid(self->map, LV2_ATOM__Chunk),
        0);
  return LV2_STATE_SUCCESS;
}

static LV2_State_Status restore(LV2_Handle handle, LV2_State_Retrieve_Function retrieve,
                                LV2_State_Handle from, uint32_t flags,
                                const LV2_Feature* const* features) {
  (void)flags;
  Effect* self = handle;
  if (self->active || samples(handle, kNext) == NULL) return LV2_STATE_ERR_UNKNOWN;
  if (feature_data(features, LV2_WORKER__schedule) != NULL) return LV2_STATE_ERR_NO_FEATURE;
  size_t size = 0;
  for (const Property* each = self->kept; each < self->kept + kProperties; ++each) {
    uint32_t type = 0, found_flags = 0;
    const void* found = retrieve(from, each->key, &size, &type, &found_flags);
    if (found == NULL || size != each->size || type != each->type ||
        (found_flags & LV2_STATE_IS_POD) == 0 || memcmp(found, each->value, size) != 0) {
      return LV2_STATE_ERR_BAD_TYPE;
    }
  }
  if (retrieve(from, urid(self->map, KEY("pointer")), NULL, NULL, NULL) != NULL)
    return LV2_STATE_ERR_BAD_FLAGS;
  const void* factor = retrieve(from, urid(self->map, KEY("factor")), &size, NULL, NULL);
  if (factor == NULL || size != sizeof self->factor) return LV2_STATE_ERR_NO_PROPERTY;
  memcpy(&self->factor, factor, size);
  return LV2_STATE_SUCCESS;
}

static const void* extension_data(const char* uri) {
  static const LV2_State_Interface methods = {save, restore};
  return strcmp(uri, LV2_STATE__interface) == 0 ? &methods : NULL;
}

const LV2_Descriptor test_effect_descriptor = {
    "urn:vesk:test:effect", instantiate, connect_port, activate, run, deactivate, free,
    extension_data};
