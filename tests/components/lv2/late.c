/* out = in, a hundred frames later. Under two names, of which one says that it is a delay. */
#include <stdlib.h>

#include "test_plugins.h"

enum { kIn, kOut, kFrames = 100 };

typedef struct {
  Ports ports;
  float line[kFrames];
  uint32_t at;
} Late;

static LV2_Handle instantiate(const LV2_Descriptor* descriptor, double rate, const char* bundle,
                              const LV2_Feature* const* features) {
  (void)descriptor, (void)rate, (void)bundle, (void)features;
  return calloc(1, sizeof(Late));
}

static void run(LV2_Handle handle, uint32_t frames) {
  Late* self = handle;
  for (uint32_t i = 0; i < frames; ++i) {
    const float in = samples(handle, kIn)[i];
    samples(handle, kOut)[i] = self->line[self->at];
    self->line[self->at] = in;
    self->at = (self->at + 1) % kFrames;
  }
}

const LV2_Descriptor test_echo_descriptor = {
    "urn:vesk:test:echo", instantiate, connect_port, NULL, run, NULL, free, NULL};
const LV2_Descriptor test_late_descriptor = {
    "urn:vesk:test:late", instantiate, connect_port, NULL, run, NULL, free, NULL};
