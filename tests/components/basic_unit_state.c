#include <string.h>

#include "basic_unit.h"

/* What the state's data hold of each parameter that is no meter. */
typedef struct KeptValue {
  AudioUnitParameterID id;
  float value;
} KeptValue;

static void set_number(CFMutableDictionaryRef dictionary, CFStringRef key, UInt32 code) {
  const SInt32 value = (SInt32)code;
  CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value);
  CFDictionarySetValue(dictionary, key, number);
  CFRelease(number);
}

CFPropertyListRef copy_state(BasicUnit* unit) {
  CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  set_number(dictionary, CFSTR(kAUPresetVersionKey), 0);
  set_number(dictionary, CFSTR(kAUPresetTypeKey), unit->description.componentType);
  set_number(dictionary, CFSTR(kAUPresetSubtypeKey), unit->description.componentSubType);
  set_number(dictionary, CFSTR(kAUPresetManufacturerKey), unit->description.componentManufacturer);
  CFDictionarySetValue(dictionary, CFSTR(kAUPresetNameKey), unit->preset_name);

  KeptValue kept[kMaxParameters];
  CFIndex count = 0;
  for (UInt32 i = 0; i < unit->kind->parameter_count; ++i) {
    const UnitParameter* parameter = &unit->kind->parameters[i];
    if (!(parameter->flags & kAudioUnitParameterFlag_MeterReadOnly))
      kept[count++] = (KeptValue){parameter->id, value_of(unit, i)};
  }
  CFDataRef data =
      CFDataCreate(kCFAllocatorDefault, (const UInt8*)kept, count * (CFIndex)sizeof(KeptValue));
  CFDictionarySetValue(dictionary, CFSTR(kAUPresetDataKey), data);
  CFRelease(data);
  return dictionary;
}

static void set_name(BasicUnit* unit, SInt32 number, CFStringRef name) {
  CFRetain(name);
  CFRelease(unit->preset_name);
  unit->preset_number = number;
  unit->preset_name = name;
  property_changed(unit, kAudioUnitProperty_PresentPreset);
}

OSStatus restore_state(BasicUnit* unit, CFPropertyListRef state) {
  if (!state || CFGetTypeID(state) != CFDictionaryGetTypeID())
    return kAudioUnitErr_InvalidPropertyValue;
  CFTypeRef subtype = CFDictionaryGetValue(state, CFSTR(kAUPresetSubtypeKey));
  SInt32 code = 0;
  if (!subtype || CFGetTypeID(subtype) != CFNumberGetTypeID() ||
      !CFNumberGetValue(subtype, kCFNumberSInt32Type, &code) ||
      (UInt32)code != unit->description.componentSubType) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  CFTypeRef data = CFDictionaryGetValue(state, CFSTR(kAUPresetDataKey));
  const bool has_data = data && CFGetTypeID(data) == CFDataGetTypeID();
  const CFIndex count = has_data ? CFDataGetLength(data) / (CFIndex)sizeof(KeptValue) : 0;
  for (CFIndex i = 0; i < count; ++i) {
    KeptValue kept;
    memcpy(&kept, CFDataGetBytePtr(data) + i * (CFIndex)sizeof kept, sizeof kept);
    /* Parameters that this unit does not have any more are passed over. */
    AudioUnitSetParameter(unit->instance, kept.id, kAudioUnitScope_Global, 0, kept.value, 0);
  }
  CFTypeRef name = CFDictionaryGetValue(state, CFSTR(kAUPresetNameKey));
  const bool has_name = name && CFGetTypeID(name) == CFStringGetTypeID();
  set_name(unit, -1, has_name ? (CFStringRef)name : CFSTR("Untitled"));
  return noErr;
}

CFArrayRef copy_factory_presets(BasicUnit* unit) {
  CFMutableArrayRef array = CFArrayCreateMutable(kCFAllocatorDefault, 0, NULL);
  for (UInt32 i = 0; i < unit->kind->preset_count; ++i)
    CFArrayAppendValue(array, &unit->factory_presets[i]);
  return array;
}

OSStatus select_preset(BasicUnit* unit, const AUPreset* preset) {
  const UInt32 number = (UInt32)preset->presetNumber;
  if (number >= unit->kind->preset_count) return kAudioUnitErr_InvalidPropertyValue;
  for (UInt32 i = 0; i < unit->kind->parameter_count; ++i) {
    AudioUnitSetParameter(unit->instance, unit->kind->parameters[i].id, kAudioUnitScope_Global, 0,
                          unit->kind->presets[number].values[i], 0);
  }
  set_name(unit, preset->presetNumber, unit->factory_presets[number].presetName);
  return noErr;
}
