#include <AudioToolbox/AudioToolbox.h>
#include <AudioUnit/AudioUnit.h>
#include <CoreMIDI/CoreMIDI.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

#include "tests/headers/unit_author.hpp"

// Binaries are exchanged by these layouts; they are those of 64-bit processes.

#define SIZE(type, bytes) static_assert(sizeof(type) == (bytes), #type)
#define OFFSET(type, member, bytes) static_assert(offsetof(type, member) == (bytes), #type)

SIZE(AudioStreamBasicDescription, 40);
OFFSET(AudioStreamBasicDescription, mFormatID, 8);
OFFSET(AudioStreamBasicDescription, mBytesPerPacket, 16);
OFFSET(AudioStreamBasicDescription, mChannelsPerFrame, 28);
SIZE(AudioBuffer, 16);
OFFSET(AudioBuffer, mData, 8);
SIZE(AudioBufferList, 24);
OFFSET(AudioBufferList, mBuffers, 8);
SIZE(SMPTETime, 24);
OFFSET(SMPTETime, mType, 8);
OFFSET(SMPTETime, mHours, 16);
SIZE(AudioTimeStamp, 64);
OFFSET(AudioTimeStamp, mHostTime, 8);
OFFSET(AudioTimeStamp, mSMPTETime, 32);
OFFSET(AudioTimeStamp, mFlags, 56);
SIZE(AudioStreamPacketDescription, 16);
SIZE(AudioChannelDescription, 20);
SIZE(AudioChannelLayout, 32);
OFFSET(AudioChannelLayout, mChannelDescriptions, 12);
SIZE(AudioComponentDescription, 20);
SIZE(AudioComponentPlugInInterface, 32);
SIZE(AudioUnitParameterEvent, 32);
OFFSET(AudioUnitParameterEvent, eventType, 12);
OFFSET(AudioUnitParameterEvent, eventValues, 16);
OFFSET(AudioUnitParameterEvent, eventValues.ramp.startValue, 24);
OFFSET(AudioUnitParameterEvent, eventValues.immediate.value, 20);
SIZE(AudioUnitParameter, 24);
SIZE(AudioUnitProperty, 24);
SIZE(AudioUnitConnection, 16);
SIZE(AURenderCallbackStruct, 16);
SIZE(AUPreset, 16);
OFFSET(AUPreset, presetName, 8);
SIZE(AUChannelInfo, 4);
SIZE(AudioUnitExternalBuffer, 16);
SIZE(AUHostIdentifier, 16);
SIZE(AUHostVersionIdentifier, 16);
SIZE(HostCallbackInfo, 40);
OFFSET(HostCallbackInfo, transportStateProc2, 32);
SIZE(AUDependentParameter, 8);
SIZE(AudioUnitParameterHistoryInfo, 8);
SIZE(AudioUnitFrequencyResponseBin, 16);
SIZE(AUParameterMIDIMapping, 32);
OFFSET(AUParameterMIDIMapping, mStatus, 24);
SIZE(AUMIDIOutputCallbackStruct, 16);
SIZE(AudioUnitCocoaViewInfo, 16);
SIZE(MusicDeviceStdNoteParams, 12);
SIZE(MusicDeviceNoteParams, 20);
SIZE(AudioUnitParameterInfo, 104);
OFFSET(AudioUnitParameterInfo, unitName, 56);
OFFSET(AudioUnitParameterInfo, clumpID, 64);
OFFSET(AudioUnitParameterInfo, cfNameString, 72);
OFFSET(AudioUnitParameterInfo, unit, 80);
OFFSET(AudioUnitParameterInfo, flags, 96);
SIZE(AudioUnitParameterNameInfo, 16);
SIZE(AudioUnitParameterStringFromValue, 24);
SIZE(AudioUnitParameterValueFromString, 24);
OFFSET(AudioUnitParameterValueFromString, outValue, 16);
SIZE(AudioUnitEvent, 32);
OFFSET(AudioUnitEvent, mArgument, 8);
SIZE(AUSamplerInstrumentData, 16);
SIZE(MIDIPacket, 268);
SIZE(MIDIPacketList, 272);
SIZE(MIDIEventPacket, 268);
SIZE(MIDIEventList, 276);

// Unit libraries keep layouts in vectors and build lists by aggregate initialisation.
static_assert(std::is_aggregate_v<AudioBufferList> && std::is_trivial_v<AudioBufferList>);
static_assert(std::is_aggregate_v<AudioChannelLayout> && std::is_trivial_v<AudioChannelLayout>);

// Options are integers that `|=` works on; enumerations are none that an integer converts to.
static_assert(std::is_same_v<AudioUnitRenderActionFlags, UInt32>);
static_assert(std::is_same_v<AudioUnitParameterOptions, UInt32>);
static_assert(std::is_same_v<AudioChannelBitmap, UInt32>);
static_assert(!std::is_convertible_v<int, AudioUnitParameterUnit>);
static_assert(!std::is_convertible_v<int, AUParameterEventType>);
static_assert(sizeof(AudioUnitParameterUnit) == 4 && sizeof(AudioUnitEventType) == 4);

// The tags enter the mangled names of C++ units.
static_assert(std::is_same_v<AudioUnit, ComponentInstanceRecord*>);
static_assert(std::is_same_v<AudioComponent, OpaqueAudioComponent*>);
static_assert(std::is_same_v<AUEventListenerRef, AUListenerBase*>);

namespace {

struct Value {
  const char* name;
  std::int64_t is, wanted;
};

#define VALUE(name, wanted) {#name, static_cast<std::int64_t>(name), wanted}

TEST(Layouts, ConstantsHaveTheirValues) {
  const Value values[] = {
      VALUE(kAudioUnitType_MusicDevice, 'aumu'),
      VALUE(kAudioUnitType_MusicEffect, 'aumf'),
      VALUE(kAudioUnitType_Effect, 'aufx'),
      VALUE(kAudioUnitType_Generator, 'augn'),
      VALUE(kAudioUnitType_MIDIProcessor, 'aumi'),
      VALUE(kAudioUnitType_Output, 'auou'),
      VALUE(kAudioUnitType_FormatConverter, 'aufc'),
      VALUE(kAudioUnitType_Mixer, 'aumx'),
      VALUE(kAudioUnitType_Panner, 'aupn'),
      VALUE(kAudioUnitType_OfflineEffect, 'auol'),
      VALUE(kAudioUnitType_SpeechSynthesizer, 'ausp'),
      VALUE(kAudioUnitManufacturer_Apple, 'appl'),
      VALUE(kAudioUnitSubType_Sampler, 'samp'),
      VALUE(kAudioUnitSubType_GenericOutput, 'genr'),
      VALUE(kAudioUnitSubType_HALOutput, 'ahal'),
      VALUE(kAudioUnitSubType_DefaultOutput, 'def '),
      VALUE(kAudioUnitSubType_SystemOutput, 'sys '),
      VALUE(kAudioFormatLinearPCM, 'lpcm'),
      VALUE(kAudio_BadFilePathError, '!pth'),
      VALUE(kAudioFormatFlagsNativeFloatPacked, 9),
      VALUE(kAudioFormatFlagsCanonical, 9),
      VALUE(kAudioFormatFlagsAreAllClear, 0x80000000),
      VALUE(kAudioChannelLayoutTag_Binaural, (106 << 16) | 2),
      VALUE(kAudioChannelLayoutTag_AudioUnit_5, (109 << 16) | 5),
      VALUE(kAudioChannelLayoutTag_AudioUnit_6, (110 << 16) | 6),
      VALUE(kAudioChannelLayoutTag_AudioUnit_8, (111 << 16) | 8),
      VALUE(kAudioChannelLayoutTag_ITU_3_0, (113 << 16) | 3),
      VALUE(kNumberOfResponseFrequencies, 1024),
      VALUE(kAudioUnitParameterFlag_DisplayMask, 0x470000),
      VALUE(kAudioUnitParameterFlag_DisplayExponential, 0x50000),
      VALUE(kAudioUnitParameterFlag_DisplayLogarithmic, 0x400000),
      VALUE(kAudioUnitParameterFlag_IsWritable, std::int64_t{1} << 31),
      VALUE(kAudioUnitParameterFlag_HasCFNameString, 1 << 27),
      VALUE(kAudioUnitParameterFlag_ValuesHaveStrings, 1 << 21),
      VALUE(kAudioUnitProperty_PresentPreset, 36),
      VALUE(kAudioUnitProperty_ShouldAllocateBuffer, 51),
      VALUE(kAudioUnitErr_RenderTimeout, -66745),
      VALUE(kMusicDeviceMIDIEventSelect, 0x101),
      VALUE(kAudioOutputUnitStopSelect, 0x202),
      VALUE(kAudioUnitProcessMultipleSelect, 21),
      VALUE(kMusicNoteEvent_UseGroupInstrument, 0xFFFFFFFF),
      VALUE(kAudioTimeStampSampleHostTimeValid, 3),
      VALUE(kSMPTETimeType2398, 11),
      VALUE(kAUSamplerProperty_LoadInstrument, 4102),
      VALUE(kInstrumentType_EXS24, 4),
  };
  for (const Value& value : values) EXPECT_EQ(value.is, value.wanted) << value.name;
}

TEST(Layouts, DisplayCurvesAreOneNumberAndNotFlags) {
  AudioUnitParameterOptions flags = kAudioUnitParameterFlag_IsReadable;
  flags = SetAudioUnitParameterDisplayType(flags, kAudioUnitParameterFlag_DisplayCubed);
  EXPECT_TRUE(AudioUnitDisplayTypeIsCubed(flags));
  EXPECT_FALSE(AudioUnitDisplayTypeIsSquared(flags));
  EXPECT_FALSE(AudioUnitDisplayTypeIsSquareRoot(flags));
  flags = SetAudioUnitParameterDisplayType(flags, kAudioUnitParameterFlag_DisplayLogarithmic);
  EXPECT_TRUE(AudioUnitDisplayTypeIsLogarithmic(flags));
  EXPECT_FALSE(AudioUnitDisplayTypeIsCubed(flags));
  EXPECT_TRUE(flags & kAudioUnitParameterFlag_IsReadable);
}

TEST(Layouts, EverythingAUnitAuthorUsesIsThere) {
  EXPECT_STREQ(unit_author_fault(), nullptr);
  EXPECT_STREQ(older_unit_fault(), nullptr);
}

}  // namespace
