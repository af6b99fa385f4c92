/* Passes its input through. Its latency is 32 after a run without frames and `setting` after a real
 * one, as with plugins that know it only then; a run without frames after a real one changes
 * nothing. `longest` is the length that the host promised not to exceed, negative once broken. */
#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/options/options.h>
#include <lv2/urid/urid.h>
#include <stdlib.h>

#include "test_plugins.h"

enum { kInLeft, kInRight, kOutLeft, kOutRight, kSetting, kLatency, kLongest, kEnabled };

typedef struct {
  float* ports[8];
  float longest;
} Latency;

static LV2_Handle instantiate(const LV2_Descriptor* descriptor, double rate, const char* bundle,
                              const LV2_Feature* const* features) {
  (void)descriptor, (void)rate, (void)bundle;
  const LV2_URID_Map* map = feature_data(features, LV2_URID__map);
  const LV2_Options_Option* option = feature_data(features, LV2_OPTIONS__options);
  if (map == NULL || option == NULL) return NULL;
  Latency* self = calloc(1, sizeof(Latency));
  const LV2_URID longest = map->map(map->handle, LV2_BUF_SIZE__maxBlockLength);
  const LV2_URID integer = map->map(map->handle, LV2_ATOM__Int);
  for (; option->key != 0; ++option)
    if (option->key == longest && option->type == integer)
      self->longest = (float)*(const int32_t*)option->value;
  return self;
}

static void connect_port(LV2_Handle handle, uint32_t port, void* data) {
  if (port < 8) ((Latency*)handle)->ports[port] = data;
}

static void run(LV2_Handle handle, uint32_t frames) {
  Latency* self = handle;
  float** ports = self->ports;
  *ports[kLatency] = frames == 0 ? 32 : *ports[kSetting];
  if ((float)frames > self->longest) self->longest = -1;
  *ports[kLongest] = self->longest;
  const float gain = *ports[kEnabled] > 0 ? 0.5f : 1;
  for (uint32_t i = 0; i < frames; ++i) {
    ports[kOutLeft][i] = ports[kInLeft][i] * gain;
    ports[kOutRight][i] = ports[kInRight][i] * gain;
  }
}

const LV2_Descriptor test_latency_descriptor = {
    "urn:vesk:test:latency", instantiate, connect_port, NULL, run, NULL, free, NULL};
