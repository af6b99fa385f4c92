#include <string.h>

#include "basic_unit.h"

/* Global properties of fixed size, but for those with code of their own. */
typedef struct PropertyShape {
  AudioUnitPropertyID id;
  UInt32 size;
  Boolean writable;
} PropertyShape;

static const PropertyShape kGlobalProperties[] = {
    {kAudioUnitProperty_ClassInfo, sizeof(CFPropertyListRef), true},
    {kAudioUnitProperty_Latency, sizeof(Float64), false},
    {kAudioUnitProperty_TailTime, sizeof(Float64), false},
    {kAudioUnitProperty_SupportedNumChannels, 2 * sizeof(AUChannelInfo), false},
    {kAudioUnitProperty_MaximumFramesPerSlice, sizeof(UInt32), true},
    {kAudioUnitProperty_FactoryPresets, sizeof(CFArrayRef), false},
    {kAudioUnitProperty_PresentPreset, sizeof(AUPreset), true},
    {kAudioUnitProperty_ParameterInfo, sizeof(AudioUnitParameterInfo), false},
    {kAudioUnitProperty_ParameterValueStrings, sizeof(CFArrayRef), false},
};

static const UnitParameter* parameter_of(const BasicUnit* unit, AudioUnitParameterID id) {
  for (UInt32 i = 0; i < unit->kind->parameter_count; ++i)
    if (unit->kind->parameters[i].id == id) return &unit->kind->parameters[i];
  return NULL;
}

static OSStatus check_bus(const BasicUnit* unit, AudioUnitScope scope, AudioUnitElement element) {
  if (scope == kAudioUnitScope_Input)
    return unit->kind->has_input && element == 0 ? (OSStatus)noErr : kAudioUnitErr_InvalidElement;
  if (scope != kAudioUnitScope_Output && scope != kAudioUnitScope_Global)
    return kAudioUnitErr_InvalidScope;
  return element == 0 ? (OSStatus)noErr : kAudioUnitErr_InvalidElement;
}

OSStatus unit_get_property_info(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                                AudioUnitElement element, UInt32* size, Boolean* writable) {
  BasicUnit* unit = self;
  UInt32 bytes = 0;
  Boolean can_write = false;
  OSStatus status =
      unit->kind->get_property ? unit->kind->get_property(unit, id, NULL, &bytes) : kNotHandled;
  if (status != kNotHandled) {
    if (size) *size = bytes;
    if (writable) *writable = false;
    return status;
  }
  status = noErr;
  if (id == kAudioUnitProperty_StreamFormat || id == kAudioUnitProperty_SampleRate) {
    status = check_bus(unit, scope, element);
    bytes = id == kAudioUnitProperty_StreamFormat ? sizeof(AudioStreamBasicDescription)
                                                  : sizeof(Float64);
    can_write = true;
  } else if (id == kAudioUnitProperty_SetRenderCallback ||
             id == kAudioUnitProperty_MakeConnection ||
             id == kAudioUnitProperty_ShouldAllocateBuffer) {
    if (scope != kAudioUnitScope_Input) return kAudioUnitErr_InvalidScope;
    status = check_bus(unit, scope, element);
    bytes = id == kAudioUnitProperty_ShouldAllocateBuffer ? sizeof(UInt32)
                                                          : sizeof(AURenderCallbackStruct);
    can_write = true;
  } else if (id == kAudioUnitProperty_ElementCount) {
    bytes = sizeof(UInt32);
  } else if (scope != kAudioUnitScope_Global) {
    return kAudioUnitErr_InvalidScope;
  } else if (id == kAudioUnitProperty_ParameterList) {
    bytes = unit->kind->parameter_count * (UInt32)sizeof(AudioUnitParameterID);
  } else {
    const UInt32 count = sizeof kGlobalProperties / sizeof kGlobalProperties[0];
    UInt32 i = 0;
    while (i < count && kGlobalProperties[i].id != id) ++i;
    if (i == count) return kAudioUnitErr_InvalidProperty;
    bytes = kGlobalProperties[i].size;
    can_write = kGlobalProperties[i].writable;
  }
  if (status) return status;
  if (size) *size = bytes;
  if (writable) *writable = can_write;
  return noErr;
}

static OSStatus get_parameter_info(const BasicUnit* unit, AudioUnitParameterID id,
                                   AudioUnitParameterInfo* info) {
  const UnitParameter* parameter = parameter_of(unit, id);
  if (!parameter) return kAudioUnitErr_InvalidParameter;
  memset(info, 0, sizeof *info);
  strncpy(info->name, parameter->name, sizeof info->name - 1);
  info->cfNameString =
      CFStringCreateWithCString(kCFAllocatorDefault, parameter->name, kCFStringEncodingUTF8);
  info->unit = parameter->unit;
  info->minValue = parameter->minimum;
  info->maxValue = parameter->maximum;
  info->defaultValue = parameter->initial;
  info->flags = parameter->flags | kAudioUnitParameterFlag_IsReadable |
                kAudioUnitParameterFlag_HasCFNameString | kAudioUnitParameterFlag_CFNameRelease;
  if (!(parameter->flags & kAudioUnitParameterFlag_MeterReadOnly))
    info->flags |= kAudioUnitParameterFlag_IsWritable;
  return noErr;
}

static OSStatus get_value_strings(const BasicUnit* unit, AudioUnitParameterID id,
                                  CFArrayRef* names) {
  const UnitParameter* parameter = parameter_of(unit, id);
  if (!parameter) return kAudioUnitErr_InvalidParameter;
  if (!parameter->value_names) return kAudioUnitErr_InvalidProperty;
  CFMutableArrayRef array = CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
  const int count = (int)(parameter->maximum - parameter->minimum) + 1;
  for (int i = 0; i < count; ++i) {
    CFStringRef name = CFStringCreateWithCString(kCFAllocatorDefault, parameter->value_names[i],
                                                 kCFStringEncodingUTF8);
    CFArrayAppendValue(array, name);
    CFRelease(name);
  }
  *names = array;
  return noErr;
}

/* `data` has room for the whole value. */
static OSStatus read_property(BasicUnit* unit, AudioUnitPropertyID id, AudioUnitScope scope,
                              AudioUnitElement element, void* data) {
  const AudioStreamBasicDescription* format =
      scope == kAudioUnitScope_Input ? &unit->input_format : &unit->output_format;
  switch (id) {
    case kAudioUnitProperty_ClassInfo:
      return copy_state(unit, data);
    case kAudioUnitProperty_StreamFormat:
      *(AudioStreamBasicDescription*)data = *format;
      return noErr;
    case kAudioUnitProperty_SampleRate:
      *(Float64*)data = format->mSampleRate;
      return noErr;
    case kAudioUnitProperty_ElementCount:
      *(UInt32*)data = scope == kAudioUnitScope_Input    ? unit->kind->has_input
                       : scope == kAudioUnitScope_Output ? 1
                       : scope == kAudioUnitScope_Global ? 1
                                                         : 0;
      return noErr;
    case kAudioUnitProperty_Latency:
      *(Float64*)data = unit->kind->latency_seconds ? unit->kind->latency_seconds(unit) : 0;
      return noErr;
    case kAudioUnitProperty_TailTime:
      *(Float64*)data = 0;
      return noErr;
    case kAudioUnitProperty_SupportedNumChannels: {
      AUChannelInfo* info = data;
      info[0].inChannels = unit->kind->has_input ? 1 : 0;
      info[0].outChannels = 1;
      info[1].inChannels = unit->kind->has_input ? 2 : 0;
      info[1].outChannels = 2;
      return noErr;
    }
    case kAudioUnitProperty_MaximumFramesPerSlice:
      *(UInt32*)data = unit->max_frames;
      return noErr;
    case kAudioUnitProperty_ShouldAllocateBuffer:
      *(UInt32*)data = unit->allocates_input;
      return noErr;
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
      return get_parameter_info(unit, element, data);
    case kAudioUnitProperty_ParameterValueStrings:
      return get_value_strings(unit, element, data);
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
  if (!size || *size == 0) return kAudio_ParamError;
  if (!data) {
    *size = needed;
    return noErr;
  }
  if (*size < needed) return kAudioUnitErr_InvalidPropertyValue;
  *size = needed;
  if (unit->kind->get_property) {
    const OSStatus handled = unit->kind->get_property(unit, id, data, size);
    if (handled != kNotHandled) return handled;
  }
  return read_property(unit, id, scope, element, data);
}

static OSStatus set_format(BasicUnit* unit, AudioUnitScope scope, AudioUnitElement element,
                           const AudioStreamBasicDescription* format) {
  const OSStatus status = check_bus(unit, scope, element);
  if (status) return status;
  AudioStreamBasicDescription* present =
      scope == kAudioUnitScope_Input ? &unit->input_format : &unit->output_format;
  // It has no gaps, and other bits are another format.
  // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
  if (memcmp(present, format, sizeof *format) == 0) return noErr;
  if (unit->initialized) return kAudioUnitErr_PropertyNotWritable;
  const AudioFormatFlags wanted =
      kAudioFormatFlagsNativeFloatPacked | kAudioFormatFlagIsNonInterleaved;
  if (format->mFormatID != kAudioFormatLinearPCM || (format->mFormatFlags & wanted) != wanted ||
      format->mBitsPerChannel != 32 || format->mChannelsPerFrame < 1 ||
      format->mChannelsPerFrame > kMaxChannels || !(format->mSampleRate > 0)) {
    return kAudioUnitErr_FormatNotSupported;
  }
  *present = *format;
  property_changed(unit, kAudioUnitProperty_StreamFormat);
  return noErr;
}

static OSStatus set_input(BasicUnit* unit, AudioUnitPropertyID id, AudioUnitScope scope,
                          AudioUnitElement element, const void* data) {
  if (scope != kAudioUnitScope_Input) return kAudioUnitErr_InvalidScope;
  const OSStatus status = check_bus(unit, scope, element);
  if (status) return status;
  if (id == kAudioUnitProperty_SetRenderCallback) {
    unit->input_callback = *(const AURenderCallbackStruct*)data;
    unit->connection.sourceAudioUnit = NULL;
    return noErr;
  }
  if (id == kAudioUnitProperty_MakeConnection) {
    unit->connection = *(const AudioUnitConnection*)data;
    return noErr;
  }
  if (unit->initialized) return kAudioUnitErr_Initialized;
  unit->allocates_input = *(const UInt32*)data;
  return noErr;
}

OSStatus unit_set_property(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                           AudioUnitElement element, const void* data, UInt32 size) {
  BasicUnit* unit = self;
  UInt32 needed = 0;
  Boolean writable = false;
  if (unit->kind->set_property) {
    const OSStatus status = unit->kind->set_property(unit, id, data, size);
    if (status != kNotHandled) return status;
  }
  const OSStatus status = unit_get_property_info(self, id, scope, element, &needed, &writable);
  if (status) return status;
  if (!writable) return kAudioUnitErr_PropertyNotWritable;
  if (!data || size < needed) return kAudioUnitErr_InvalidPropertyValue;
  switch (id) {
    case kAudioUnitProperty_ClassInfo:
      return restore_state(unit, *(const CFPropertyListRef*)data);
    case kAudioUnitProperty_PresentPreset:
      return select_preset(unit, data);
    case kAudioUnitProperty_StreamFormat:
      return set_format(unit, scope, element, data);
    case kAudioUnitProperty_SampleRate: {
      AudioStreamBasicDescription format =
          scope == kAudioUnitScope_Input ? unit->input_format : unit->output_format;
      format.mSampleRate = *(const Float64*)data;
      return set_format(unit, scope, element, &format);
    }
    case kAudioUnitProperty_MaximumFramesPerSlice:
      if (unit->initialized) return kAudioUnitErr_Initialized;
      unit->max_frames = *(const UInt32*)data;
      return noErr;
    default:
      return set_input(unit, id, scope, element, data);
  }
}
