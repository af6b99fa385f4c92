#include <string.h>

#include "basic_unit.h"

enum { kInput = 1 << kAudioUnitScope_Input, kGlobal = 1 << kAudioUnitScope_Global };
enum { kAnywhere = kInput | kGlobal | 1 << kAudioUnitScope_Output };

static const struct Property {
  AudioUnitPropertyID id;
  int scopes;
  UInt32 size; /* 0: of a value that varies */
} kProperties[] = {
    {kAudioUnitProperty_ClassInfo, kGlobal, sizeof(CFPropertyListRef)},
    {kAudioUnitProperty_StreamFormat, kAnywhere, sizeof(AudioStreamBasicDescription)},
    {kAudioUnitProperty_SampleRate, kAnywhere, sizeof(Float64)},
    {kAudioUnitProperty_SetRenderCallback, kInput, sizeof(AURenderCallbackStruct)},
    {kAudioUnitProperty_Latency, kGlobal, sizeof(Float64)},
    {kAudioUnitProperty_SupportedNumChannels, kGlobal, sizeof(AUChannelInfo)},
    {kAudioUnitProperty_MaximumFramesPerSlice, kGlobal, sizeof(UInt32)},
    {kAudioUnitProperty_FactoryPresets, kGlobal, sizeof(CFArrayRef)},
    {kAudioUnitProperty_PresentPreset, kGlobal, sizeof(AUPreset)},
    {kAudioUnitProperty_ParameterList, kGlobal, 0},
    {kAudioUnitProperty_ParameterInfo, kGlobal, sizeof(AudioUnitParameterInfo)},
    {kAudioUnitProperty_ParameterValueStrings, kGlobal, sizeof(CFArrayRef)},
};

OSStatus unit_get_property_info(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                                AudioUnitElement element, UInt32* size, Boolean* writable) {
  (void)element;
  (void)writable; /* nobody asks */
  BasicUnit* unit = self;
  if (unit->kind->get_property) {
    const OSStatus status = unit->kind->get_property(unit, id, NULL, size);
    if (status != kNotHandled) return status;
  }
  const UInt32 count = sizeof kProperties / sizeof kProperties[0];
  UInt32 i = 0;
  while (i < count && kProperties[i].id != id) ++i;
  if (i == count) return kAudioUnitErr_InvalidProperty;
  if (scope > kAudioUnitScope_Output || !(kProperties[i].scopes & 1 << scope))
    return kAudioUnitErr_InvalidScope;
  if (scope == kAudioUnitScope_Input && !unit->has_input) return kAudioUnitErr_InvalidElement;
  *size = kProperties[i].size;
  if (!*size) *size = unit->kind->parameter_count * (UInt32)sizeof(AudioUnitParameterID);
  return noErr;
}

static CFStringRef text(const char* characters) {
  return CFStringCreateWithCString(kCFAllocatorDefault, characters, kCFStringEncodingUTF8);
}

static void get_parameter_info(const UnitParameter* parameter, AudioUnitParameterInfo* info) {
  memset(info, 0, sizeof *info);
  strncpy(info->name, parameter->name, sizeof info->name - 1);
  info->cfNameString = text(parameter->name);
  info->unit = parameter->unit;
  info->minValue = parameter->minimum;
  info->maxValue = parameter->maximum;
  info->defaultValue = parameter->initial;
  info->flags = parameter->flags | kAudioUnitParameterFlag_IsReadable |
                kAudioUnitParameterFlag_HasCFNameString | kAudioUnitParameterFlag_CFNameRelease;
  if (!(parameter->flags & kAudioUnitParameterFlag_MeterReadOnly))
    info->flags |= kAudioUnitParameterFlag_IsWritable;
}

static CFArrayRef copy_value_names(const UnitParameter* parameter) {
  CFMutableArrayRef names = CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
  const int count = (int)(parameter->maximum - parameter->minimum) + 1;
  for (int i = 0; i < count; ++i) {
    CFStringRef name = text(parameter->value_names[i]);
    CFArrayAppendValue(names, name);
    CFRelease(name);
  }
  return names;
}

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

static CFPropertyListRef copy_state(BasicUnit* unit) {
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

static void property_changed(BasicUnit* unit, AudioUnitPropertyID id) {
  for (UInt32 i = 0; i < unit->listener_count; ++i) {
    const struct Listener each = unit->listeners[i];
    if (each.id == id) each.proc(each.user_data, unit->instance, id, kAudioUnitScope_Global, 0);
  }
}

static void set_name(BasicUnit* unit, SInt32 number, CFStringRef name) {
  CFRetain(name);
  CFRelease(unit->preset_name);
  unit->preset_number = number;
  unit->preset_name = name;
  property_changed(unit, kAudioUnitProperty_PresentPreset);
}

static OSStatus restore_state(BasicUnit* unit, CFPropertyListRef state) {
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

static CFArrayRef copy_factory_presets(BasicUnit* unit) {
  CFMutableArrayRef array = CFArrayCreateMutable(kCFAllocatorDefault, 0, NULL);
  for (UInt32 i = 0; i < unit->kind->preset_count; ++i)
    CFArrayAppendValue(array, &unit->factory_presets[i]);
  return array;
}

static OSStatus select_preset(BasicUnit* unit, const AUPreset* preset) {
  const UInt32 number = (UInt32)preset->presetNumber;
  if (number >= unit->kind->preset_count) return kAudioUnitErr_InvalidPropertyValue;
  for (UInt32 i = 0; i < unit->kind->parameter_count; ++i) {
    AudioUnitSetParameter(unit->instance, unit->kind->parameters[i].id, kAudioUnitScope_Global, 0,
                          unit->kind->presets[number].values[i], 0);
  }
  set_name(unit, preset->presetNumber, unit->factory_presets[number].presetName);
  return noErr;
}

/* `data` has room for the whole value; `element` is a parameter, for properties of one. */
static OSStatus read_property(BasicUnit* unit, AudioUnitPropertyID id, AudioUnitElement element,
                              void* data) {
  const int index = parameter_index(unit, element);
  const UnitParameter* parameter = index < 0 ? NULL : &unit->kind->parameters[index];
  switch (id) {
    case kAudioUnitProperty_ClassInfo:
      *(CFPropertyListRef*)data = copy_state(unit);
      return noErr;
    case kAudioUnitProperty_Latency:
      *(Float64*)data = unit->kind->latency_seconds ? unit->kind->latency_seconds(unit) : 0;
      return noErr;
    case kAudioUnitProperty_SupportedNumChannels: {
      const SInt16 channels = (SInt16)unit->channels;
      *(AUChannelInfo*)data = (AUChannelInfo){unit->has_input ? channels : 0, channels};
      return noErr;
    }
    case kAudioUnitProperty_FactoryPresets:
      *(CFArrayRef*)data = copy_factory_presets(unit);
      return noErr;
    case kAudioUnitProperty_PresentPreset:
      ((AUPreset*)data)->presetNumber = unit->preset_number;
      ((AUPreset*)data)->presetName = CFRetain(unit->preset_name);
      return noErr;
    case kAudioUnitProperty_ParameterList:
      for (UInt32 i = 0; i < unit->kind->parameter_count; ++i)
        ((AudioUnitParameterID*)data)[i] = unit->kind->parameters[i].id;
      return noErr;
    case kAudioUnitProperty_ParameterInfo:
      if (!parameter) return kAudioUnitErr_InvalidParameter;
      get_parameter_info(parameter, data);
      return noErr;
    case kAudioUnitProperty_ParameterValueStrings:
      if (!parameter || !parameter->value_names) return kAudioUnitErr_InvalidProperty;
      *(CFArrayRef*)data = copy_value_names(parameter);
      return noErr;
    default:
      return kAudioUnitErr_InvalidProperty;
  }
}

OSStatus unit_get_property(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                           AudioUnitElement element, void* data, UInt32* size) {
  BasicUnit* unit = self;
  UInt32 needed = 0;
  const OSStatus status = unit_get_property_info(self, id, scope, element, &needed, NULL);
  if (status) return status;
  if (*size < needed) return kAudioUnitErr_InvalidPropertyValue;
  *size = needed;
  const OSStatus handled =
      unit->kind->get_property ? unit->kind->get_property(unit, id, data, size) : kNotHandled;
  return handled == kNotHandled ? read_property(unit, id, element, data) : handled;
}

static OSStatus set_format(BasicUnit* unit, const AudioStreamBasicDescription* format) {
  if (unit->initialized) return kAudioUnitErr_PropertyNotWritable;
  if (format->mFormatID != kAudioFormatLinearPCM || format->mBitsPerChannel != 32 ||
      format->mChannelsPerFrame != unit->channels) {
    return kAudioUnitErr_FormatNotSupported;
  }
  unit->format = *format;
  return noErr;
}

OSStatus unit_set_property(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                           AudioUnitElement element, const void* data, UInt32 size) {
  BasicUnit* unit = self;
  UInt32 needed = 0;
  if (unit->kind->set_property) {
    const OSStatus status = unit->kind->set_property(unit, id, data, size);
    if (status != kNotHandled) return status;
  }
  const OSStatus status = unit_get_property_info(self, id, scope, element, &needed, NULL);
  if (status) return status;
  if (size < needed) return kAudioUnitErr_InvalidPropertyValue;
  switch (id) {
    case kAudioUnitProperty_ClassInfo:
      return restore_state(unit, *(const CFPropertyListRef*)data);
    case kAudioUnitProperty_PresentPreset:
      return select_preset(unit, data);
    case kAudioUnitProperty_StreamFormat:
      return set_format(unit, data);
    case kAudioUnitProperty_SampleRate:
      unit->format.mSampleRate = *(const Float64*)data;
      return noErr;
    case kAudioUnitProperty_MaximumFramesPerSlice:
      if (unit->initialized) return kAudioUnitErr_Initialized;
      unit->max_frames = *(const UInt32*)data;
      return noErr;
    case kAudioUnitProperty_SetRenderCallback:
      unit->input_callback = *(const AURenderCallbackStruct*)data;
      return noErr;
    default:
      return kAudioUnitErr_PropertyNotWritable;
  }
}
