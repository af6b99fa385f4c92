#include <AudioToolbox/AudioComponent.h>
#include <AudioToolbox/AudioUnitProperties.h>

#include <vector>

namespace {

void append_number(CFMutableArrayRef array, SInt32 value) {
  CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value);
  CFArrayAppendValue(array, number);
  CFRelease(number);
}

CFMutableArrayRef make_array() {
  return CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
}

/// Puts `array` under `key` and gives up its reference.
void store(CFMutableDictionaryRef info, CFStringRef key, CFMutableArrayRef array) {
  CFDictionarySetValue(info, key, array);
  CFRelease(array);
}

void add_channel_configurations(AudioUnit unit, CFMutableDictionaryRef info) {
  UInt32 size = 0;
  if (AudioUnitGetPropertyInfo(unit, kAudioUnitProperty_SupportedNumChannels,
                               kAudioUnitScope_Global, 0, &size, nullptr) != noErr ||
      size < sizeof(AUChannelInfo)) {
    return;
  }
  std::vector<AUChannelInfo> pairs(size / sizeof(AUChannelInfo));
  if (AudioUnitGetProperty(unit, kAudioUnitProperty_SupportedNumChannels, kAudioUnitScope_Global, 0,
                           pairs.data(), &size) != noErr) {
    return;
  }
  CFMutableArrayRef configurations = make_array();
  for (const AUChannelInfo& pair : pairs) {
    CFMutableArrayRef configuration = make_array();
    append_number(configuration, pair.inChannels);
    append_number(configuration, pair.outChannels);
    CFArrayAppendValue(configurations, configuration);
    CFRelease(configuration);
  }
  store(info, CFSTR(kAudioComponentConfigurationInfo_ChannelConfigurations), configurations);
}

void add_buses(AudioUnit unit, AudioUnitScope scope, CFStringRef key, CFMutableDictionaryRef info) {
  CFMutableArrayRef channels = make_array();
  UInt32 buses = 0;
  UInt32 size = sizeof buses;
  AudioUnitGetProperty(unit, kAudioUnitProperty_ElementCount, scope, 0, &buses, &size);
  for (UInt32 bus = 0; bus < buses; ++bus) {
    AudioStreamBasicDescription format{};
    size = sizeof format;
    if (AudioUnitGetProperty(unit, kAudioUnitProperty_StreamFormat, scope, bus, &format, &size) !=
        noErr) {
      break;
    }
    append_number(channels, static_cast<SInt32>(format.mChannelsPerFrame));
  }
  store(info, key, channels);
}

}  // namespace

OSStatus AudioComponentCopyConfigurationInfo(AudioComponent component, CFDictionaryRef* result) {
  if (!component || !result) return kAudio_ParamError;
  *result = nullptr;
  AudioUnit unit = nullptr;
  const OSStatus status = AudioComponentInstanceNew(component, &unit);
  if (status != noErr) return status;
  CFMutableDictionaryRef info = CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  UInt32 size = 0;
  const bool has_view =
      AudioUnitGetPropertyInfo(unit, kAudioUnitProperty_CocoaUI, kAudioUnitScope_Global, 0, &size,
                               nullptr) == noErr;
  CFDictionarySetValue(info, CFSTR(kAudioComponentConfigurationInfo_HasCustomView),
                       has_view ? kCFBooleanTrue : kCFBooleanFalse);
  add_channel_configurations(unit, info);
  add_buses(unit, kAudioUnitScope_Input, CFSTR(kAudioComponentConfigurationInfo_InitialInputs),
            info);
  add_buses(unit, kAudioUnitScope_Output, CFSTR(kAudioComponentConfigurationInfo_InitialOutputs),
            info);
  AudioComponentInstanceDispose(unit);
  *result = info;
  return noErr;
}
