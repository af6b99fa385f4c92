/* One main channel and a side chain: out = main * gain + side. Shows which buffers it was given.
 * Its other controls are there to be described. */
#include <stdlib.h>

#include "test_plugins.h"

enum { kSide, kMain, kOut, kGain, kPeak };

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(uint32_t index) {
  static const LV2_Descriptor* const all[] = {
      &test_echo_descriptor,    &test_late_descriptor,          &test_effect_descriptor,
      &test_events_descriptor,  &test_external_knob_descriptor, &test_files_descriptor,
      &test_gl_knob_descriptor, &test_knob_descriptor,          &test_mono_descriptor};
  return index < sizeof all / sizeof all[0] ? all[index] : NULL;
}

/* The main input of the last two runs: the host must hand over its caller's arrays. */
LV2_SYMBOL_EXPORT const void* test_mono_last_inputs[2];

/* Whether the last one made has been run without frames before all else. */
LV2_SYMBOL_EXPORT int test_mono_was_announced;
static int has_run;

static LV2_Handle instantiate(const LV2_Descriptor* descriptor, double rate, const char* bundle,
                              const LV2_Feature* const* features) {
  (void)descriptor, (void)rate, (void)bundle, (void)features;
  test_mono_was_announced = has_run = 0;
  return calloc(1, sizeof(Ports));
}

static void run(LV2_Handle handle, uint32_t frames) {
  if (!has_run++) test_mono_was_announced = frames == 0;
  const float *side = samples(handle, kSide), *in = samples(handle, kMain);
  float *out = samples(handle, kOut), peak = 0;
  for (uint32_t i = 0; i < frames; ++i) {
    /* Written before the input is read: in place this would be wrong. */
    out[i] = 0;
    out[i] = in[i] * *samples(handle, kGain) + side[i];
    if (out[i] > peak) peak = out[i];
  }
  *samples(handle, kPeak) = peak;
  test_mono_last_inputs[0] = test_mono_last_inputs[1];
  test_mono_last_inputs[1] = in;
}

const LV2_Descriptor test_mono_descriptor = {
    "urn:vesk:test:mono", instantiate, connect_port, NULL, run, NULL, free, NULL};
