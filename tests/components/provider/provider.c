/* A provider module of the test's own, in the place of lv2.so: three components, of which the last
 * cannot be made. */

#include <AudioToolbox/AUComponent.h>
#include <stddef.h>
#include <string.h>
#include <vesk/component_provider.h>

enum { kFirst = 0x41414141, kSecond = 0x42424242, kBroken = 0x43434343, kMaker = 0x4c56325f };

static const VeskProvidedComponent kComponents[] = {
    {{kAudioUnitType_Effect, kFirst, kMaker, 0, 0}, "Provider: First", 1, "urn:first"},
    {{kAudioUnitType_MusicDevice, kSecond, kMaker, 0, 0}, "Provider: Second", 2, "urn:second"},
    {{kAudioUnitType_Effect, kBroken, kMaker, 0, 0}, "Provider: Broken", 3, "urn:broken"},
};

static void enumerate(const AudioComponentDescription* wanted, VeskComponentVisitor visit,
                      void* context) {
  for (size_t i = 0; i < sizeof kComponents / sizeof kComponents[0]; ++i) {
    const AudioComponentDescription* has = &kComponents[i].description;
    if ((wanted->componentType == 0 || wanted->componentType == has->componentType) &&
        (wanted->componentSubType == 0 || wanted->componentSubType == has->componentSubType)) {
      visit(context, &kComponents[i]);
    }
  }
}

static OSStatus open_unit(void* self, AudioComponentInstance instance) {
  (void)self;
  (void)instance;
  return noErr;
}

static OSStatus close_unit(void* self) {
  (void)self;
  return noErr;
}

static AudioComponentMethod lookup(SInt16 selector) {
  (void)selector;
  return NULL;
}

static AudioComponentPlugInInterface* create(const char* identity, OSStatus* status) {
  static AudioComponentPlugInInterface interface = {open_unit, close_unit, lookup, NULL};
  if (strcmp(identity, "urn:broken") == 0) {
    *status = kAudioUnitErr_ExtensionNotFound;
    return NULL;
  }
  return &interface;
}

__attribute__((visibility("default"))) const VeskComponentProvider* vesk_component_provider(void) {
  static const VeskComponentProvider provider = {enumerate, create};
  return &provider;
}
