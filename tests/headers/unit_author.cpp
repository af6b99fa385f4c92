// Only what unit libraries include; the rest of CoreFoundation must come with it.
#include <TargetConditionals.h>
#if __has_include(<AvailabilityVersions.h>)
#include <AvailabilityVersions.h>
#endif
#include <AudioToolbox/AUComponent.h>
#include <AudioToolbox/AudioComponent.h>
#include <AudioToolbox/AudioOutputUnit.h>
#include <AudioToolbox/AudioUnitProperties.h>
#include <AudioToolbox/MusicDevice.h>
#include <CoreAudioTypes/CoreAudioTypes.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFByteOrder.h>
#include <CoreMIDI/CoreMIDI.h>
#include <MacTypes.h>
#include <mach/mach_time.h>
#include <os/log.h>
#include <syslog.h>

#include <cstdint>
#include <iterator>

#include "tests/headers/unit_author.hpp"

#if TARGET_OS_MAC != TARGET_OS_OSX || TARGET_OS_IPHONE || TARGET_OS_WIN32
#error "unit libraries build with both of MAC and OSX or with neither"
#endif
#if !defined(TARGET_CPU_X86) || !defined(TARGET_CPU_X86_64)
#error "the processor is not named"
#endif

namespace {

template <typename... Types>
constexpr std::size_t count_types() {
  // NOLINTNEXTLINE(bugprone-sizeof-expression)
  return ((sizeof(Types) > 0 ? std::size_t{1} : std::size_t{0}) + ...);
}

constexpr std::size_t type_count = count_types<
    UInt8, UInt16, UInt32, UInt64, SInt16, SInt32, Float32, Float64, Boolean, OSStatus, AudioBuffer,
    AudioBufferList, AudioChannelBitmap, AudioChannelDescription, AudioChannelLayout,
    AudioChannelLayoutTag, AudioFormatFlags, AudioStreamBasicDescription,
    AudioStreamPacketDescription, AudioTimeStamp, AudioComponent, AudioComponentDescription,
    AudioComponentInstance, AudioComponentMethod, AudioComponentPlugInInterface,
    AudioComponentFactoryFunction, AudioUnit, AudioUnitPropertyID, AudioUnitParameterID,
    AudioUnitScope, AudioUnitElement, AudioUnitParameterValue, AudioUnitParameterEvent,
    AudioUnitPropertyListenerProc, AudioUnitRenderActionFlags, AURenderCallback, AUChannelInfo,
    AUParameterMIDIMapping, AUPreset, AURenderCallbackStruct, AudioUnitConnection,
    AudioUnitParameterInfo, AudioUnitParameterHistoryInfo, AudioUnitParameterNameInfo,
    HostCallbackInfo, AudioUnitFrequencyResponseBin, MusicDeviceGroupID, MusicDeviceInstrumentID,
    MusicDeviceNoteParams, NoteInstanceID, MIDIEventList, CFIndex, CFArrayRef, CFDataRef,
    CFDictionaryRef, CFMutableDataRef, CFMutableDictionaryRef, CFNumberRef, CFPropertyListRef,
    CFStringRef, CFURLRef, mach_timebase_info_data_t, AudioUnitRenderProc, AudioUnitProcessProc,
    AudioUnitProcessMultipleProc, AudioUnitGetParameterProc, AudioUnitSetParameterProc,
    AudioUnitComplexRenderProc, MusicDeviceMIDIEventProc, MusicDeviceStartNoteProc>();

constexpr std::int64_t constants[] = {
    noErr, kNumberOfResponseFrequencies, kAudioFormatLinearPCM, kAudioFormatFlagIsFloat,
    kAudioFormatFlagIsBigEndian, kAudioFormatFlagIsNonInterleaved, kAudioFormatFlagIsPacked,
    kAudioFormatFlagsNativeEndian, kAudioFormatFlagsNativeFloatPacked, kLinearPCMFormatFlagIsFloat,
    kLinearPCMFormatFlagIsNonInterleaved, kAudioChannelLayoutTag_UseChannelBitmap,
    kAudioChannelLayoutTag_UseChannelDescriptions, kAudioChannelLabel_UseCoordinates,
    kAudio_MemFullError, kAudio_ParamError, kAudio_UnimplementedError,
    // events, flags, statuses
    kParameterEvent_Immediate, kParameterEvent_Ramped, kAudioUnitRenderAction_PreRender,
    kAudioUnitRenderAction_PostRender, kAudioUnitRenderAction_PostRenderError,
    kAudioUnitRenderAction_OutputIsSilence, kAudioUnitRenderAction_DoNotCheckRenderArgs,
    kAudioUnitErr_FormatNotSupported, kAudioUnitErr_Initialized, kAudioUnitErr_InvalidElement,
    kAudioUnitErr_InvalidParameter, kAudioUnitErr_InvalidParameterValue,
    kAudioUnitErr_InvalidProperty, kAudioUnitErr_InvalidPropertyValue, kAudioUnitErr_InvalidScope,
    kAudioUnitErr_NoConnection, kAudioUnitErr_PropertyNotInUse, kAudioUnitErr_PropertyNotWritable,
    kAudioUnitErr_TooManyFramesToProcess, kAudioUnitErr_Uninitialized,
    // selectors
    kAudioUnitInitializeSelect, kAudioUnitUninitializeSelect, kAudioUnitGetPropertyInfoSelect,
    kAudioUnitGetPropertySelect, kAudioUnitSetPropertySelect, kAudioUnitGetParameterSelect,
    kAudioUnitSetParameterSelect, kAudioUnitResetSelect, kAudioUnitAddPropertyListenerSelect,
    kAudioUnitRemovePropertyListenerSelect, kAudioUnitRenderSelect, kAudioUnitAddRenderNotifySelect,
    kAudioUnitRemoveRenderNotifySelect, kAudioUnitScheduleParametersSelect,
    kAudioUnitRemovePropertyListenerWithUserDataSelect, kAudioUnitComplexRenderSelect,
    kAudioUnitProcessSelect, kAudioUnitProcessMultipleSelect, kMusicDeviceMIDIEventSelect,
    kMusicDeviceSysExSelect, kMusicDeviceMIDIEventListSelect, kMusicDeviceStartNoteSelect,
    kMusicDeviceStopNoteSelect, kMusicDevicePrepareInstrumentSelect,
    kMusicDeviceReleaseInstrumentSelect, kAudioOutputUnitStartSelect, kAudioOutputUnitStopSelect,
    // scopes, parameters
    kAudioUnitScope_Global, kAudioUnitScope_Input, kAudioUnitScope_Output, kAudioUnitScope_Group,
    kAudioUnitScope_Part, kAudioUnitClumpID_System, kAudioUnitParameterFlag_CFNameRelease,
    kAudioUnitParameterFlag_HasCFNameString, kAudioUnitParameterFlag_HasClump,
    kAudioUnitParameterFlag_MeterReadOnly, kAudioUnitParameterFlag_OmitFromPresets,
    kAudioUnitParameterUnit_CustomUnit,
    // properties
    kAudioUnitProperty_ClassInfo, kAudioUnitProperty_MakeConnection, kAudioUnitProperty_SampleRate,
    kAudioUnitProperty_ParameterList, kAudioUnitProperty_ParameterInfo,
    kAudioUnitProperty_StreamFormat, kAudioUnitProperty_ElementCount, kAudioUnitProperty_Latency,
    kAudioUnitProperty_SupportedNumChannels, kAudioUnitProperty_MaximumFramesPerSlice,
    kAudioUnitProperty_ParameterValueStrings, kAudioUnitProperty_AudioChannelLayout,
    kAudioUnitProperty_TailTime, kAudioUnitProperty_BypassEffect,
    kAudioUnitProperty_LastRenderError, kAudioUnitProperty_SetRenderCallback,
    kAudioUnitProperty_FactoryPresets, kAudioUnitProperty_ContextName,
    kAudioUnitProperty_RenderQuality, kAudioUnitProperty_HostCallbacks,
    kAudioUnitProperty_InPlaceProcessing, kAudioUnitProperty_ElementName,
    kAudioUnitProperty_SupportedChannelLayoutTags, kAudioUnitProperty_ParameterClumpName,
    kAudioUnitProperty_PresentPreset, kAudioUnitProperty_IconLocation,
    kAudioUnitProperty_AllParameterMIDIMappings, kAudioUnitProperty_AddParameterMIDIMapping,
    kAudioUnitProperty_RemoveParameterMIDIMapping, kAudioUnitProperty_HotMapParameterMIDIMapping,
    kAudioUnitProperty_ShouldAllocateBuffer, kAudioUnitProperty_ParameterHistoryInfo,
    kAudioUnitProperty_NickName, kAudioUnitProperty_LastRenderSampleTime,
    kMusicDeviceProperty_InstrumentCount, kMusicDeviceProperty_MIDIXMLNames,
    kMusicNoteEvent_UseGroupInstrument,
    // MIDI, CoreFoundation
    kMIDICVStatusNoteOff, kMIDICVStatusNoteOn, kMIDICVStatusPolyPressure,
    kMIDICVStatusControlChange, kMIDICVStatusProgramChange, kMIDICVStatusChannelPressure,
    kMIDICVStatusPitchBend, kCFNumberSInt32Type, kCFStringEncodingASCII, kCFStringEncodingUTF8};

// Constants as unit libraries write them, in tables at namespace scope.
const CFStringRef preset_keys[] = {
    CFSTR(kAUPresetDataKey),    CFSTR(kAUPresetElementNameKey), CFSTR(kAUPresetManufacturerKey),
    CFSTR(kAUPresetNameKey),    CFSTR(kAUPresetPartKey),        CFSTR(kAUPresetRenderQualityKey),
    CFSTR(kAUPresetSubtypeKey), CFSTR(kAUPresetTypeKey),        CFSTR(kAUPresetVersionKey)};

template <typename... Functions>
std::size_t count_functions(Functions... functions) {
  return ((functions != nullptr ? std::size_t{1} : std::size_t{0}) + ...);
}

// A render callback of an author who knows nothing of function effects.
OSStatus silent_input(void*, AudioUnitRenderActionFlags* flags, const AudioTimeStamp*, UInt32,
                      UInt32, AudioBufferList*) CA_REALTIME_API {
  *flags |= kAudioUnitRenderAction_OutputIsSilence;
  return noErr;
}

}  // namespace

std::size_t vesk::tests::count_what_unit_authors_use() {
  AURenderCallbackStruct callback{silent_input, nullptr};
  AudioUnitRenderActionFlags flags = 0;
  callback.inputProc(callback.inputProcRefCon, &flags, nullptr, 0, 0, nullptr);
  if (flags != kAudioUnitRenderAction_OutputIsSilence) return 0;
  if (AudioUnit(nil) != nullptr) return 0;
  if (AudioChannelLayoutTag_GetNumberOfChannels(kAudioChannelLayoutTag_Stereo) != 2) return 0;
  if (CFSwapInt32BigToHost(CFSwapInt32HostToBig(1)) != 1) return 0;
  for (const CFStringRef key : preset_keys)
    if (CFGetTypeID(key) != CFStringGetTypeID()) return 0;
  const auto logs = [](int status) { os_log_error(OS_LOG_DEFAULT, "status %d", status); };
  const std::size_t functions = count_functions(
      AudioComponentGetDescription, AudioComponentInstanceGetComponent, AudioComponentRegister,
      AudioUnitGetProperty, AudioUnitRender, CFRetain, CFRelease, CFDataAppendBytes,
      CFDataCreateMutable, CFDataGetBytePtr, CFDataGetLength, CFDataGetMutableBytePtr,
      CFDataGetTypeID, CFDictionaryContainsKey, CFDictionaryCreateMutable, CFDictionaryGetCount,
      CFDictionaryGetKeysAndValues, CFDictionaryGetTypeID, CFDictionaryGetValue,
      CFDictionarySetValue, CFNumberCreate, CFNumberGetTypeID, CFNumberGetValue,
      CFStringCreateWithFormat, CFStringGetCString, CFStringGetTypeID, mach_absolute_time,
      static_cast<kern_return_t (*)(mach_timebase_info_t)>(mach_timebase_info), MIDIPacketListInit,
      MIDIPacketListAdd, MIDIPacketNext, MIDIEventListInit, MIDIEventListAdd, MIDIEventPacketNext,
      static_cast<void (*)(int)>(logs), &kCFTypeDictionaryKeyCallBacks,
      &kCFTypeDictionaryValueCallBacks);
  return type_count + std::size(constants) + functions;
}
