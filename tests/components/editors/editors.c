#include <Block.h>
#include <dlfcn.h>

#include "../basic_unit.h"
#include "variants.h"

static const char* const kShapes[] = {"Round", "Square", "Star"};

static const UnitParameter kParameters[] = {
    {kLevel, "Level", kAudioUnitParameterUnit_LinearGain, 0, 1, 0.25f, NULL, 0},
    {kEditor, "Editor", kAudioUnitParameterUnit_Generic, 0, kVariantCount - 1, kNoEditor, NULL, 0},
    {kCutoff, "Cutoff", kAudioUnitParameterUnit_Hertz, 20, 20000, 632, NULL,
     kAudioUnitParameterFlag_DisplayLogarithmic},
    {kShape, "Shape", kAudioUnitParameterUnit_Indexed, 0, 2, 0, kShapes,
     kAudioUnitParameterFlag_ValuesHaveStrings},
    {kBright, "Bright", kAudioUnitParameterUnit_Boolean, 0, 1, 0, NULL, 0},
    {kControllerRequests, "Controller requests", kAudioUnitParameterUnit_Generic, 0, 100, 0, NULL,
     kAudioUnitParameterFlag_MeterReadOnly},
    {kHeldReferences, "Held references", kAudioUnitParameterUnit_Generic, 0, 100, 0, NULL,
     kAudioUnitParameterFlag_MeterReadOnly},
#define EXTRA(n) \
  {kExtra + n - 10, "Extra " #n, kAudioUnitParameterUnit_Generic, 0, 1, 0.5f, NULL, 0}
#define TEN_EXTRAS(n)                                                                        \
  EXTRA(n##0), EXTRA(n##1), EXTRA(n##2), EXTRA(n##3), EXTRA(n##4), EXTRA(n##5), EXTRA(n##6), \
      EXTRA(n##7), EXTRA(n##8), EXTRA(n##9)
    TEN_EXTRAS(1),
    TEN_EXTRAS(2),
    TEN_EXTRAS(3),
    TEN_EXTRAS(4),
};

static const float kQuiet[kMaxParameters] = {0.125f, kNoEditor, 632};
static const float kLoud[kMaxParameters] = {0.875f, kNoEditor, 632};
static const UnitPreset kPresets[] = {{"Quiet", kQuiet}, {"Loud \xF0\x9F\x8E\xB9", kLoud}};

enum { kMostClasses = 3 };

typedef struct Editors {
  BasicUnit basic;
  CFURLRef location;
  CFStringRef classes[kMostClasses];
} Editors;

static enum EditorVariant variant_of(const BasicUnit* basic) {
  return (enum EditorVariant)value_of(basic, kEditor);
}

static OSStatus open_unit(BasicUnit* basic) {
  ((Editors*)basic)->location = CFURLCreateFromFileSystemRepresentation(
      NULL, (const UInt8*)VESK_EDITOR_VIEWS, sizeof VESK_EDITOR_VIEWS - 1, true);
  return noErr;
}

static void close_unit(BasicUnit* basic) {
  Editors* editors = (Editors*)basic;
  CFRelease(editors->location);
  for (int i = 0; i < kMostClasses; ++i)
    if (editors->classes[i]) CFRelease(editors->classes[i]);
}

static void count_held(Editors* editors) {
  CFIndex held = CFGetRetainCount(editors->location) - 1;
  for (int i = 0; i < kMostClasses; ++i)
    if (editors->classes[i]) held += CFGetRetainCount(editors->classes[i]) - 1;
  atomic_store(&editors->basic.values[kHeldReferences], (float)held);
}

static OSStatus get_cocoa_ui(Editors* editors, void* data, UInt32* size) {
  const enum EditorVariant variant = variant_of(&editors->basic);
  const int count = variant == kLocationOnly ? 0 : variant == kThreeClasses ? 3 : 1;
  if (variant <= kControllerWithoutView && variant != kCocoaView)
    return kAudioUnitErr_InvalidProperty;
  *size = (UInt32)((1 + count) * (int)sizeof(CFTypeRef));
  if (!data) return noErr;
  AudioUnitCocoaViewInfo* info = data;
  info->mCocoaAUViewBundleLocation = CFRetain(editors->location);
  for (int i = 0; i < count; ++i) {
    if (!editors->classes[i]) {
      const bool is_factory = i == 0 && variant != kNonconformingClass;
      editors->classes[i] = CFStringCreateWithCString(
          NULL, is_factory ? "VeskTestFactory" : "VeskTestNoFactory", kCFStringEncodingUTF8);
    }
    info->mCocoaAUViewClass[i] = CFRetain(editors->classes[i]);
  }
  return noErr;
}

typedef void (^Completion)(void* controller);
typedef void (*Deliver)(enum EditorVariant, AudioUnit, Completion);

static OSStatus request_controller(Editors* editors, Completion completion) {
  const enum EditorVariant variant = variant_of(&editors->basic);
  const float requests = value_of(&editors->basic, kControllerRequests) + 1;
  atomic_store(&editors->basic.values[kControllerRequests], requests);
  if (variant == kNoEditor || variant == kCocoaView || variant == kGrows)
    return kAudioUnitErr_InvalidProperty;
  void* image = dlopen(VESK_EDITOR_VIEWS "/EditorViews", RTLD_NOW | RTLD_NODELETE);
  Deliver deliver = image ? (Deliver)dlsym(image, VESK_EDITOR_CONTROLLER_FUNCTION) : NULL;
  if (!deliver) return kAudioUnitErr_InvalidProperty;
  deliver(variant, editors->basic.instance, completion);
  return noErr;
}

static OSStatus get_property(BasicUnit* basic, AudioUnitPropertyID id, void* data, UInt32* size) {
  Editors* editors = (Editors*)basic;
  if (id == kAudioUnitProperty_CocoaUI) return get_cocoa_ui(editors, data, size);
  if (id == kAudioUnitProperty_ClassInfo && data) count_held(editors);
  if (id == kAudioUnitProperty_ParameterList) {
    const bool grown = variant_of(basic) == kGrows && value_of(basic, kBright) > 0.5f;
    const UInt32 count = grown ? kExtra + kExtras : kExtra;
    *size = count * (UInt32)sizeof(AudioUnitParameterID);
    for (UInt32 i = 0; data && i < count; ++i) ((AudioUnitParameterID*)data)[i] = kParameters[i].id;
    return noErr;
  }
  return kNotHandled;
}

static OSStatus set_property(BasicUnit* basic, AudioUnitPropertyID id, const void* data,
                             UInt32 size) {
  if (id != kAudioUnitProperty_RequestViewController) return kNotHandled;
  if (size != sizeof(Completion)) return kAudioUnitErr_InvalidPropertyValue;
  return request_controller((Editors*)basic, *(const Completion*)data);
}

static OSStatus render(BasicUnit* basic, UInt32 frames, float* const input[kChannels],
                       float* const output[kChannels]) CA_REALTIME_API {
  (void)input;
  const float level = value_of(basic, kLevel);
  for (UInt32 i = 0; i < frames; ++i) output[0][i] = output[1][i] = level;
  return noErr;
}

static const UnitKind kKind = {
    .size = sizeof(Editors),
    .parameters = kParameters,
    .parameter_count = sizeof kParameters / sizeof kParameters[0],
    .presets = kPresets,
    .preset_count = sizeof kPresets / sizeof kPresets[0],
    .open = open_unit,
    .close = close_unit,
    .get_property = get_property,
    .set_property = set_property,
    .render = render,
};

const UnitKind* const unit_kinds[2] = {&kKind, &kKind};
