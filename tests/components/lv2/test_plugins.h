#pragma once

/* Small LV2 plugins that show whether a host keeps the rules. */

#include <lv2/core/lv2.h>
#include <lv2/urid/urid.h>
#include <string.h>

extern const LV2_Descriptor test_echo_descriptor;
extern const LV2_Descriptor test_effect_descriptor;
extern const LV2_Descriptor test_events_descriptor;
extern const LV2_Descriptor test_external_knob_descriptor;
extern const LV2_Descriptor test_files_descriptor;
extern const LV2_Descriptor test_gl_knob_descriptor;
extern const LV2_Descriptor test_knob_descriptor;
extern const LV2_Descriptor test_late_descriptor;
extern const LV2_Descriptor test_mono_descriptor;

/* What each of them begins with. */
typedef struct {
  void* data[16];
} Ports;

static inline void connect_port(LV2_Handle handle, uint32_t port, void* data) {
  ((Ports*)handle)->data[port] = data;
}

static inline float* samples(const Ports* ports, uint32_t port) {
  return ports->data[port];
}

/* The data of a feature, NULL when the host does not offer it. */
static inline const void* feature_data(const LV2_Feature* const* features, const char* uri) {
  for (; features != NULL && *features != NULL; ++features)
    if (strcmp((*features)->URI, uri) == 0) return (*features)->data;
  return NULL;
}

static inline LV2_URID urid(const LV2_URID_Map* map, const char* uri) {
  return map->map(map->handle, uri);
}
