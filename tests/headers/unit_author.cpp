// Only what unit libraries include; the rest of CoreFoundation must come with it. Names that
// sources of this repository use as well are left out: without them nothing builds.
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

#include "tests/headers/unit_author.hpp"

#if TARGET_OS_MAC != TARGET_OS_OSX || TARGET_OS_IPHONE || TARGET_OS_WIN32
#error "unit libraries build with both of MAC and OSX or with neither"
#endif
#if !defined(TARGET_CPU_X86) || !defined(TARGET_CPU_X86_64)
#error "the processor is not named"
#endif

#define EXPECT(condition) \
  if (!(condition)) return #condition

namespace {

template <typename... Types>
constexpr bool are_complete = ((sizeof(Types) > 0) && ...);

static_assert(
    are_complete<AUParameterMIDIMapping, AudioChannelBitmap, AudioChannelDescription,
                 AudioChannelLayout, AudioChannelLayoutTag, AudioStreamPacketDescription,
                 AudioUnitComplexRenderProc, AudioUnitFrequencyResponseBin,
                 AudioUnitParameterHistoryInfo, AudioUnitProcessMultipleProc, AudioUnitProcessProc,
                 MIDIEventList, MusicDeviceInstrumentID, mach_timebase_info_data_t>);

[[maybe_unused]] constexpr std::int64_t constants[] = {
    kAudioFormatFlagIsBigEndian, kAudioFormatFlagsNativeEndian, kLinearPCMFormatFlagIsFloat,
    kLinearPCMFormatFlagIsNonInterleaved, kAudioChannelLayoutTag_UseChannelBitmap,
    kAudioChannelLayoutTag_UseChannelDescriptions, kAudioChannelLabel_UseCoordinates,
    kParameterEvent_Ramped, kAudioUnitRenderAction_DoNotCheckRenderArgs,
    kAudioUnitErr_PropertyNotInUse, kAudioUnitScope_Group, kAudioUnitScope_Part,
    // selectors
    kAudioUnitRemovePropertyListenerSelect, kAudioUnitComplexRenderSelect, kAudioUnitProcessSelect,
    kMusicDeviceMIDIEventListSelect, kMusicDevicePrepareInstrumentSelect,
    kMusicDeviceReleaseInstrumentSelect, kAudioOutputUnitStartSelect,
    // properties
    kAudioUnitProperty_AudioChannelLayout, kAudioUnitProperty_LastRenderError,
    kAudioUnitProperty_ContextName, kAudioUnitProperty_RenderQuality,
    kAudioUnitProperty_ElementName, kAudioUnitProperty_SupportedChannelLayoutTags,
    kAudioUnitProperty_IconLocation, kAudioUnitProperty_AllParameterMIDIMappings,
    kAudioUnitProperty_AddParameterMIDIMapping, kAudioUnitProperty_RemoveParameterMIDIMapping,
    kAudioUnitProperty_HotMapParameterMIDIMapping, kAudioUnitProperty_ParameterHistoryInfo,
    kAudioUnitProperty_NickName, kAudioUnitProperty_LastRenderSampleTime,
    kMusicDeviceProperty_InstrumentCount, kMusicDeviceProperty_MIDIXMLNames,
    // MIDI
    kMIDICVStatusNoteOff, kMIDICVStatusNoteOn, kMIDICVStatusPolyPressure,
    kMIDICVStatusControlChange, kMIDICVStatusProgramChange, kMIDICVStatusChannelPressure,
    kMIDICVStatusPitchBend};

// Constants as unit libraries write them, in tables at namespace scope.
const CFStringRef preset_keys[] = {
    CFSTR(kAUPresetDataKey),    CFSTR(kAUPresetElementNameKey), CFSTR(kAUPresetManufacturerKey),
    CFSTR(kAUPresetNameKey),    CFSTR(kAUPresetPartKey),        CFSTR(kAUPresetRenderQualityKey),
    CFSTR(kAUPresetSubtypeKey), CFSTR(kAUPresetTypeKey),        CFSTR(kAUPresetVersionKey)};

// A render callback of an author who knows nothing of function effects.
OSStatus silent_input(void*, AudioUnitRenderActionFlags* flags, const AudioTimeStamp*, UInt32,
                      UInt32, AudioBufferList*) CA_REALTIME_API {
  *flags |= kAudioUnitRenderAction_OutputIsSilence;
  return noErr;
}

}  // namespace

const char* unit_author_fault() {
  AURenderCallbackStruct callback{silent_input, nullptr};
  AudioUnitRenderActionFlags flags = 0;
  callback.inputProc(callback.inputProcRefCon, &flags, nullptr, 0, 0, nullptr);
  EXPECT(flags == kAudioUnitRenderAction_OutputIsSilence);
  EXPECT(AudioUnit(nil) == nullptr);
  EXPECT(AudioChannelLayoutTag_GetNumberOfChannels(kAudioChannelLayoutTag_Stereo) == 2);
  EXPECT(CFSwapInt32BigToHost(CFSwapInt32HostToBig(1)) == 1);
  for (const CFStringRef key : preset_keys) EXPECT(CFGetTypeID(key) == CFStringGetTypeID());
  const auto logs = [](int status) { os_log_error(OS_LOG_DEFAULT, "status %d", status); };
  EXPECT(sizeof logs > 0);
  // Each of a header that is not named above.
  EXPECT(&CFDataAppendBytes && &CFDictionaryContainsKey && &CFNumberCreate && &CFArrayGetCount &&
         &CFStringCreateWithFormat && &CFURLGetString && &MIDIPacketListAdd && &MIDIEventListAdd);
  return nullptr;
}
