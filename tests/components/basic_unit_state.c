#include <stdlib.h>
#include <string.h>

#include "basic_unit.h"

/* The state: what every unit writes under the preset keys. The data are big-endian words: scope,
 * element, count, then id and bits of each parameter. Meters are left out. */

static void set_number(CFMutableDictionaryRef dictionary, CFStringRef key, UInt32 code) {
  const SInt32 value = (SInt32)code;
  CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value);
  CFDictionarySetValue(dictionary, key, number);
  CFRelease(number);
}

static void append_word(CFMutableDataRef data, UInt32 word) {
  const UInt32 big = CFSwapInt32HostToBig(word);
  CFDataAppendBytes(data, (const UInt8*)&big, sizeof big);
}

static bool is_kept(const UnitParameter* parameter) {
  return !(parameter->flags &
           (kAudioUnitParameterFlag_MeterReadOnly | kAudioUnitParameterFlag_OmitFromPresets));
}

OSStatus copy_state(BasicUnit* unit, CFPropertyListRef* state) {
  CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  set_number(dictionary, CFSTR(kAUPresetVersionKey), 0);
  set_number(dictionary, CFSTR(kAUPresetTypeKey), unit->description.componentType);
  set_number(dictionary, CFSTR(kAUPresetSubtypeKey), unit->description.componentSubType);
  set_number(dictionary, CFSTR(kAUPresetManufacturerKey), unit->description.componentManufacturer);
  CFDictionarySetValue(dictionary, CFSTR(kAUPresetNameKey), unit->preset_name);

  UInt32 count = 0;
  for (UInt32 i = 0; i < unit->kind->parameter_count; ++i)
    count += is_kept(&unit->kind->parameters[i]);
  CFMutableDataRef data = CFDataCreateMutable(kCFAllocatorDefault, 0);
  append_word(data, kAudioUnitScope_Global);
  append_word(data, 0);
  append_word(data, count);
  for (UInt32 i = 0; i < unit->kind->parameter_count; ++i) {
    if (!is_kept(&unit->kind->parameters[i])) continue;
    const float value = value_of(unit, i);
    UInt32 bits;
    memcpy(&bits, &value, sizeof bits);
    append_word(data, unit->kind->parameters[i].id);
    append_word(data, bits);
  }
  CFDictionarySetValue(dictionary, CFSTR(kAUPresetDataKey), data);
  CFRelease(data);
  *state = dictionary;
  return noErr;
}

static bool number_is(CFDictionaryRef dictionary, CFStringRef key, UInt32 wanted) {
  CFTypeRef value = CFDictionaryGetValue(dictionary, key);
  SInt32 number = 0;
  return value && CFGetTypeID(value) == CFNumberGetTypeID() &&
         CFNumberGetValue(value, kCFNumberSInt32Type, &number) && (UInt32)number == wanted;
}

static UInt32 word_at(const UInt8* bytes, CFIndex index) {
  UInt32 big;
  memcpy(&big, bytes + index * (CFIndex)sizeof big, sizeof big);
  return CFSwapInt32BigToHost(big);
}

static void set_name(BasicUnit* unit, SInt32 number, CFStringRef name) {
  CFRetain(name);
  CFRelease(unit->preset_name);
  unit->preset_number = number;
  unit->preset_name = name;
  property_changed(unit, kAudioUnitProperty_PresentPreset);
}

OSStatus restore_state(BasicUnit* unit, CFPropertyListRef state) {
  if (!state || CFGetTypeID(state) != CFDictionaryGetTypeID() ||
      !number_is(state, CFSTR(kAUPresetVersionKey), 0) ||
      !number_is(state, CFSTR(kAUPresetSubtypeKey), unit->description.componentSubType) ||
      !number_is(state, CFSTR(kAUPresetManufacturerKey), unit->description.componentManufacturer)) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  CFTypeRef data = CFDictionaryGetValue(state, CFSTR(kAUPresetDataKey));
  if (data && CFGetTypeID(data) == CFDataGetTypeID() && CFDataGetLength(data) >= 12) {
    const UInt8* bytes = CFDataGetBytePtr(data);
    const CFIndex words = CFDataGetLength(data) / 4;
    CFIndex count = word_at(bytes, 2);
    if (count > (words - 3) / 2) count = (words - 3) / 2;
    for (CFIndex i = 0; i < count; ++i) {
      const UInt32 bits = word_at(bytes, 4 + 2 * i);
      float value;
      memcpy(&value, &bits, sizeof value);
      /* Parameters that this unit does not have any more are passed over. */
      AudioUnitSetParameter(unit->instance, word_at(bytes, 3 + 2 * i), kAudioUnitScope_Global, 0,
                            value, 0);
    }
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
  if (preset->presetNumber < 0) {
    if (!preset->presetName) return kAudioUnitErr_InvalidPropertyValue;
    set_name(unit, preset->presetNumber, preset->presetName);
    return noErr;
  }
  if ((UInt32)preset->presetNumber >= unit->kind->preset_count)
    return kAudioUnitErr_InvalidPropertyValue;
  const UnitPreset* chosen = &unit->kind->presets[preset->presetNumber];
  for (UInt32 i = 0; i < unit->kind->parameter_count; ++i) {
    AudioUnitSetParameter(unit->instance, unit->kind->parameters[i].id, kAudioUnitScope_Global, 0,
                          chosen->values[i], 0);
  }
  set_name(unit, preset->presetNumber, unit->factory_presets[preset->presetNumber].presetName);
  return noErr;
}
