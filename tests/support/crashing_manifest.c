/* A dynamic manifest that crashes whoever reads it. */

#include <lv2/dynmanifest/dynmanifest.h>
#include <stdlib.h>

__attribute__((visibility("default"))) int lv2_dyn_manifest_open(
    LV2_Dyn_Manifest_Handle* handle, const LV2_Feature* const* features) {
  (void)handle;
  (void)features;
  abort();
}

__attribute__((visibility("default"))) int lv2_dyn_manifest_get_subjects(
    LV2_Dyn_Manifest_Handle handle, FILE* file) {
  (void)handle;
  (void)file;
  return 1;
}

__attribute__((visibility("default"))) int lv2_dyn_manifest_get_data(LV2_Dyn_Manifest_Handle handle,
                                                                     FILE* file, const char* uri) {
  (void)handle;
  (void)file;
  (void)uri;
  return 1;
}

__attribute__((visibility("default"))) void lv2_dyn_manifest_close(LV2_Dyn_Manifest_Handle handle) {
  (void)handle;
}
