#include "test_plugins.h"

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(uint32_t index) {
  static const LV2_Descriptor* const all[] = {&test_events_descriptor, &test_gl_knob_descriptor,
                                              &test_knob_descriptor,   &test_latency_descriptor,
                                              &test_mono_descriptor,   &test_state_descriptor,
                                              &test_worker_descriptor};
  return index < sizeof all / sizeof all[0] ? all[index] : NULL;
}
