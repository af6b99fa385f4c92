/* One main channel and a side chain: out = main * gain + side. Shows which buffers it was given.
 * Its other controls are there to be described. */
#include <stdlib.h>

#include "test_plugins.h"

enum { kSide, kMain, kOut, kGain, kPeak };

typedef struct {
  const float* ports_in[2];
  float* out;
  const float* gain;
  float* peak;
} Mono;

/* The main input of the last two runs: the host must hand over its caller's arrays. */
LV2_SYMBOL_EXPORT const void* test_mono_last_inputs[2];

static LV2_Handle instantiate(const LV2_Descriptor* descriptor, double rate, const char* bundle,
                              const LV2_Feature* const* features) {
  (void)descriptor, (void)rate, (void)bundle, (void)features;
  return calloc(1, sizeof(Mono));
}

static void connect_port(LV2_Handle handle, uint32_t port, void* data) {
  Mono* self = handle;
  switch (port) {
    case kSide:
    case kMain:
      self->ports_in[port] = data;
      break;
    case kOut:
      self->out = data;
      break;
    case kGain:
      self->gain = data;
      break;
    case kPeak:
      self->peak = data;
      break;
    default:
      break;
  }
}

static void run(LV2_Handle handle, uint32_t frames) {
  Mono* self = handle;
  float peak = 0;
  for (uint32_t i = 0; i < frames; ++i) {
    /* Written before the input is read: in place this would be wrong. */
    self->out[i] = 0;
    self->out[i] = self->ports_in[kMain][i] * *self->gain + self->ports_in[kSide][i];
    if (self->out[i] > peak) peak = self->out[i];
  }
  *self->peak = peak;
  test_mono_last_inputs[0] = test_mono_last_inputs[1];
  test_mono_last_inputs[1] = self->ports_in[kMain];
}

const LV2_Descriptor test_mono_descriptor = {
    "urn:vesk:test:mono", instantiate, connect_port, NULL, run, NULL, free, NULL};
