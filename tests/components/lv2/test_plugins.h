#pragma once

/* Small LV2 plugins that show whether a host keeps the rules. */

#include <lv2/core/lv2.h>
#include <string.h>

extern const LV2_Descriptor test_events_descriptor;
extern const LV2_Descriptor test_gl_knob_descriptor;
extern const LV2_Descriptor test_knob_descriptor;
extern const LV2_Descriptor test_latency_descriptor;
extern const LV2_Descriptor test_mono_descriptor;
extern const LV2_Descriptor test_state_descriptor;
extern const LV2_Descriptor test_worker_descriptor;

/* The data of a feature, NULL when the host does not offer it. */
static inline const void* feature_data(const LV2_Feature* const* features, const char* uri) {
  for (; features != NULL && *features != NULL; ++features)
    if (strcmp((*features)->URI, uri) == 0) return (*features)->data;
  return NULL;
}
