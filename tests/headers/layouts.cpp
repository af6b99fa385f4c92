// What the SDK's headers must say, here and on macOS: both compile this and run none of it.

#include <AudioToolbox/AudioToolbox.h>
#include <AudioUnit/AudioUnit.h>
#include <CoreMIDI/CoreMIDI.h>
#include <dispatch/dispatch.h>
#include <mach/mach.h>
#include <mach/mach_time.h>
#include <os/clock.h>
#include <os/os_sync_wait_on_address.h>
#include <os/workgroup.h>
#include <pthread.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

// Some names are those of older units.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

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
SIZE(CFRange, 16);
SIZE(mach_timebase_info_data_t, 8);
SIZE(thread_time_constraint_policy_data_t, 16);
SIZE(os_workgroup_join_token_s, 40);
SIZE(vm_address_t, 8);
SIZE(dispatch_once_t, 8);

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

// Values, family by family.

static_assert(kAudioUnitType_Output == 'auou' && kAudioUnitType_MusicDevice == 'aumu' &&
              kAudioUnitType_MusicEffect == 'aumf' && kAudioUnitType_FormatConverter == 'aufc' &&
              kAudioUnitType_Effect == 'aufx' && kAudioUnitType_Mixer == 'aumx' &&
              kAudioUnitType_Panner == 'aupn' && kAudioUnitType_Generator == 'augn' &&
              kAudioUnitType_OfflineEffect == 'auol' && kAudioUnitType_MIDIProcessor == 'aumi' &&
              kAudioUnitType_SpeechSynthesizer == 'ausp' &&
              kAudioUnitManufacturer_Apple == 'appl' && kAudioUnitSubType_Sampler == 'samp' &&
              kAudioUnitSubType_GenericOutput == 'genr' && kAudioUnitSubType_HALOutput == 'ahal' &&
              kAudioUnitSubType_DefaultOutput == 'def ' &&
              kAudioUnitSubType_SystemOutput == 'sys ');

static_assert(kAudioUnitRenderAction_PreRender == 4 && kAudioUnitRenderAction_PostRender == 8 &&
              kAudioUnitRenderAction_OutputIsSilence == 16 &&
              kAudioUnitRenderAction_PostRenderError == 256 &&
              kAudioUnitRenderAction_DoNotCheckRenderArgs == 512 &&
              kAudioOfflineUnitRenderAction_Preflight == 32 &&
              kAudioOfflineUnitRenderAction_Render == 64 &&
              kAudioOfflineUnitRenderAction_Complete == 128 && kAudioUnitScope_Global == 0 &&
              kAudioUnitScope_Input == 1 && kAudioUnitScope_Output == 2 &&
              kAudioUnitScope_Group == 3 && kAudioUnitScope_Part == 4 &&
              kAudioUnitScope_Note == 5 && kAudioUnitScope_Layer == 6 &&
              kAudioUnitScope_LayerItem == 7 && kParameterEvent_Immediate == 1 &&
              kParameterEvent_Ramped == 2);

static_assert(
    kAudioUnitErr_InvalidProperty == -10879 && kAudioUnitErr_InvalidParameter == -10878 &&
    kAudioUnitErr_InvalidElement == -10877 && kAudioUnitErr_NoConnection == -10876 &&
    kAudioUnitErr_FailedInitialization == -10875 &&
    kAudioUnitErr_TooManyFramesToProcess == -10874 && kAudioUnitErr_IllegalInstrument == -10873 &&
    kAudioUnitErr_InstrumentTypeNotFound == -10872 && kAudioUnitErr_InvalidFile == -10871 &&
    kAudioUnitErr_UnknownFileType == -10870 && kAudioUnitErr_FileNotSpecified == -10869 &&
    kAudioUnitErr_FormatNotSupported == -10868 && kAudioUnitErr_Uninitialized == -10867 &&
    kAudioUnitErr_InvalidScope == -10866 && kAudioUnitErr_PropertyNotWritable == -10865 &&
    kAudioUnitErr_CannotDoInCurrentContext == -10863 &&
    kAudioUnitErr_InvalidPropertyValue == -10851 && kAudioUnitErr_PropertyNotInUse == -10850 &&
    kAudioUnitErr_Initialized == -10849 && kAudioUnitErr_InvalidOfflineRender == -10848 &&
    kAudioUnitErr_Unauthorized == -10847 && kAudioUnitErr_MIDIOutputBufferFull == -66753 &&
    kAudioUnitErr_RenderTimeout == -66745 && kAudioUnitErr_ExtensionNotFound == -66744 &&
    kAudioUnitErr_InvalidParameterValue == -66743 && kAudioUnitErr_InvalidFilePath == -66742 &&
    kAudioUnitErr_MissingKey == -66741 && kAudioComponentErr_InstanceTimedOut == -66754 &&
    kAudioComponentErr_InstanceInvalidated == -66749 && kAudioComponentErr_NotPermitted == -66748 &&
    kAudio_UnimplementedError == -4 && kAudio_FileNotFoundError == -43 &&
    kAudio_FilePermissionError == -54 && kAudio_TooManyFilesOpenError == -42 &&
    kAudio_BadFilePathError == '!pth' && kAudio_ParamError == -50 && kAudio_MemFullError == -108 &&
    noErr == 0);

static_assert(kAudioUnitInitializeSelect == 1 && kAudioUnitUninitializeSelect == 2 &&
              kAudioUnitGetPropertyInfoSelect == 3 && kAudioUnitGetPropertySelect == 4 &&
              kAudioUnitSetPropertySelect == 5 && kAudioUnitGetParameterSelect == 6 &&
              kAudioUnitSetParameterSelect == 7 && kAudioUnitResetSelect == 9 &&
              kAudioUnitAddPropertyListenerSelect == 10 &&
              kAudioUnitRemovePropertyListenerSelect == 11 && kAudioUnitRenderSelect == 14 &&
              kAudioUnitAddRenderNotifySelect == 15 && kAudioUnitRemoveRenderNotifySelect == 16 &&
              kAudioUnitScheduleParametersSelect == 17 &&
              kAudioUnitRemovePropertyListenerWithUserDataSelect == 18 &&
              kAudioUnitComplexRenderSelect == 19 && kAudioUnitProcessSelect == 20 &&
              kAudioUnitProcessMultipleSelect == 21 && kMusicDeviceMIDIEventSelect == 0x101 &&
              kMusicDeviceSysExSelect == 0x102 && kMusicDevicePrepareInstrumentSelect == 0x103 &&
              kMusicDeviceReleaseInstrumentSelect == 0x104 &&
              kMusicDeviceStartNoteSelect == 0x105 && kMusicDeviceStopNoteSelect == 0x106 &&
              kMusicDeviceMIDIEventListSelect == 0x107 && kAudioOutputUnitStartSelect == 0x201 &&
              kAudioOutputUnitStopSelect == 0x202);

static_assert(
    kAudioUnitProperty_ClassInfo == 0 && kAudioUnitProperty_MakeConnection == 1 &&
    kAudioUnitProperty_SampleRate == 2 && kAudioUnitProperty_ParameterList == 3 &&
    kAudioUnitProperty_ParameterInfo == 4 && kAudioUnitProperty_FastDispatch == 5 &&
    kAudioUnitProperty_CPULoad == 6 && kAudioUnitProperty_StreamFormat == 8 &&
    kAudioUnitProperty_ElementCount == 11 && kAudioUnitProperty_Latency == 12 &&
    kAudioUnitProperty_SupportedNumChannels == 13 &&
    kAudioUnitProperty_MaximumFramesPerSlice == 14 && kAudioUnitProperty_SetExternalBuffer == 15 &&
    kAudioUnitProperty_ParameterValueStrings == 16 && kAudioUnitProperty_GetUIComponentList == 18 &&
    kAudioUnitProperty_AudioChannelLayout == 19 && kAudioUnitProperty_TailTime == 20 &&
    kAudioUnitProperty_BypassEffect == 21 && kAudioUnitProperty_LastRenderError == 22 &&
    kAudioUnitProperty_SetRenderCallback == 23 && kAudioUnitProperty_FactoryPresets == 24 &&
    kAudioUnitProperty_ContextName == 25 && kAudioUnitProperty_RenderQuality == 26 &&
    kAudioUnitProperty_HostCallbacks == 27 && kAudioUnitProperty_CurrentPreset == 28 &&
    kAudioUnitProperty_InPlaceProcessing == 29 && kAudioUnitProperty_ElementName == 30 &&
    kAudioUnitProperty_CocoaUI == 31 && kAudioUnitProperty_SupportedChannelLayoutTags == 32 &&
    kAudioUnitProperty_ParameterStringFromValue == 33 && kAudioUnitProperty_ParameterIDName == 34 &&
    kAudioUnitProperty_ParameterClumpName == 35 && kAudioUnitProperty_PresentPreset == 36 &&
    kAudioUnitProperty_OfflineRender == 37 && kAudioUnitProperty_ParameterValueFromString == 38 &&
    kAudioUnitProperty_IconLocation == 39 && kAudioUnitProperty_PresentationLatency == 40 &&
    kAudioUnitProperty_AllParameterMIDIMappings == 41 &&
    kAudioUnitProperty_AddParameterMIDIMapping == 42 &&
    kAudioUnitProperty_RemoveParameterMIDIMapping == 43 &&
    kAudioUnitProperty_HotMapParameterMIDIMapping == 44 &&
    kAudioUnitProperty_DependentParameters == 45 && kAudioUnitProperty_AUHostIdentifier == 46 &&
    kAudioUnitProperty_MIDIOutputCallbackInfo == 47 &&
    kAudioUnitProperty_MIDIOutputCallback == 48 && kAudioUnitProperty_InputSamplesInOutput == 49 &&
    kAudioUnitProperty_ClassInfoFromDocument == 50 &&
    kAudioUnitProperty_ShouldAllocateBuffer == 51 && kAudioUnitProperty_FrequencyResponse == 52 &&
    kAudioUnitProperty_ParameterHistoryInfo == 53 && kAudioUnitProperty_NickName == 54 &&
    kAudioUnitProperty_RequestViewController == 56 &&
    kAudioUnitProperty_ParametersForOverview == 57 && kAudioUnitProperty_SupportsMPE == 58 &&
    kAudioUnitProperty_RenderContextObserver == 60 &&
    kAudioUnitProperty_LastRenderSampleTime == 61 && kAudioUnitProperty_LoadedOutOfProcess == 62 &&
    kAudioUnitProperty_MIDIOutputEventListCallback == 63 &&
    kAudioUnitProperty_AudioUnitMIDIProtocol == 64 && kAudioUnitProperty_HostMIDIProtocol == 65 &&
    kAudioUnitProperty_MIDIOutputBufferSizeHint == 66 && kAudioUnitProperty_BusCount == 11 &&
    kRenderQuality_Max == 127 && kRenderQuality_High == 96 && kRenderQuality_Medium == 64 &&
    kRenderQuality_Low == 32 && kRenderQuality_Min == 0 && kNumberOfResponseFrequencies == 1024);

static_assert(kMusicDeviceProperty_InstrumentCount == 1000 &&
              kMusicDeviceProperty_InstrumentName == 1001 &&
              kMusicDeviceProperty_MIDIXMLNames == 1006 && kMusicDeviceProperty_BankName == 1007 &&
              kMusicDeviceProperty_PartGroup == 1010 &&
              kMusicDeviceProperty_DualSchedulingMode == 1013 &&
              kMusicDeviceProperty_SupportsStartStopNote == 1014 &&
              kMusicDeviceProperty_SoundBankURL == 1100 &&
              kMusicDeviceSampleFrameMask_SampleOffset == 0xFFFFFF &&
              kMusicDeviceSampleFrameMask_IsScheduled == 0x1000000 &&
              kMusicNoteEvent_UseGroupInstrument == 0xFFFFFFFF &&
              kMusicNoteEvent_Unused == 0xFFFFFFFF && kAUSamplerProperty_LoadInstrument == 4102 &&
              kInstrumentType_SF2Preset == 1 && kInstrumentType_EXS24 == 4 &&
              kAUSampler_DefaultMelodicBankMSB == 0x79 && kAUSampler_DefaultBankLSB == 0);

static_assert(kAudioUnitParameterUnit_Generic == 0 && kAudioUnitParameterUnit_Indexed == 1 &&
              kAudioUnitParameterUnit_Boolean == 2 && kAudioUnitParameterUnit_Percent == 3 &&
              kAudioUnitParameterUnit_Seconds == 4 && kAudioUnitParameterUnit_SampleFrames == 5 &&
              kAudioUnitParameterUnit_Phase == 6 && kAudioUnitParameterUnit_Rate == 7 &&
              kAudioUnitParameterUnit_Hertz == 8 && kAudioUnitParameterUnit_Cents == 9 &&
              kAudioUnitParameterUnit_RelativeSemiTones == 10 &&
              kAudioUnitParameterUnit_MIDINoteNumber == 11 &&
              kAudioUnitParameterUnit_MIDIController == 12 &&
              kAudioUnitParameterUnit_Decibels == 13 && kAudioUnitParameterUnit_LinearGain == 14 &&
              kAudioUnitParameterUnit_Degrees == 15 &&
              kAudioUnitParameterUnit_EqualPowerCrossfade == 16 &&
              kAudioUnitParameterUnit_MixerFaderCurve1 == 17 && kAudioUnitParameterUnit_Pan == 18 &&
              kAudioUnitParameterUnit_Meters == 19 && kAudioUnitParameterUnit_AbsoluteCents == 20 &&
              kAudioUnitParameterUnit_Octaves == 21 && kAudioUnitParameterUnit_BPM == 22 &&
              kAudioUnitParameterUnit_Beats == 23 && kAudioUnitParameterUnit_Milliseconds == 24 &&
              kAudioUnitParameterUnit_Ratio == 25 && kAudioUnitParameterUnit_CustomUnit == 26 &&
              kAudioUnitParameterUnit_MIDI2Controller == 27);

static_assert(
    kAudioUnitParameterFlag_CFNameRelease == 1u << 4 &&
    kAudioUnitParameterFlag_OmitFromPresets == 1u << 13 &&
    kAudioUnitParameterFlag_PlotHistory == 1u << 14 &&
    kAudioUnitParameterFlag_MeterReadOnly == 1u << 15 &&
    kAudioUnitParameterFlag_HasClump == 1u << 20 &&
    kAudioUnitParameterFlag_ValuesHaveStrings == 1u << 21 &&
    kAudioUnitParameterFlag_HasName == 1u << 21 &&
    kAudioUnitParameterFlag_IsHighResolution == 1u << 23 &&
    kAudioUnitParameterFlag_NonRealTime == 1u << 24 &&
    kAudioUnitParameterFlag_CanRamp == 1u << 25 && kAudioUnitParameterFlag_ExpertMode == 1u << 26 &&
    kAudioUnitParameterFlag_HasCFNameString == 1u << 27 &&
    kAudioUnitParameterFlag_IsGlobalMeta == 1u << 28 &&
    kAudioUnitParameterFlag_IsElementMeta == 1u << 29 &&
    kAudioUnitParameterFlag_IsReadable == 1u << 30 &&
    kAudioUnitParameterFlag_IsWritable == 1u << 31 &&
    kAudioUnitParameterFlag_DisplayMask == 0x470000 &&
    kAudioUnitParameterFlag_DisplaySquareRoot == 0x10000 &&
    kAudioUnitParameterFlag_DisplaySquared == 0x20000 &&
    kAudioUnitParameterFlag_DisplayCubed == 0x30000 &&
    kAudioUnitParameterFlag_DisplayCubeRoot == 0x40000 &&
    kAudioUnitParameterFlag_DisplayExponential == 0x50000 &&
    kAudioUnitParameterFlag_DisplayLogarithmic == 0x400000 && kAudioUnitParameterFlag_Global == 1 &&
    kAudioUnitParameterFlag_Input == 2 && kAudioUnitParameterFlag_Output == 4 &&
    kAudioUnitParameterFlag_Group == 8 && kAudioUnitClumpID_System == 0 &&
    kAudioUnitParameterName_Full == -1 && kAUParameterListener_AnyParameter == 0xFFFFFFFF &&
    kAUParameterMIDIMapping_AnyChannelFlag == 1 && kAUParameterMIDIMapping_AnyNoteFlag == 2 &&
    kAUParameterMIDIMapping_SubRange == 4 && kAUParameterMIDIMapping_Toggle == 8 &&
    kAUParameterMIDIMapping_Bipolar == 16 && kAUParameterMIDIMapping_Bipolar_On == 32 &&
    kAUGroupParameterID_Volume == 7 && kAUGroupParameterID_Sustain == 64 &&
    kAUGroupParameterID_KeyPressure == 160 && kAUGroupParameterID_ChannelPressure == 208 &&
    kAUGroupParameterID_PitchBend == 224 && kAudioUnitEvent_ParameterValueChange == 0 &&
    kAudioUnitEvent_BeginParameterChangeGesture == 1 &&
    kAudioUnitEvent_EndParameterChangeGesture == 2 && kAudioUnitEvent_PropertyChange == 3);

static_assert(kAudioComponentFlag_Unsearchable == 1 && kAudioComponentFlag_SandboxSafe == 2 &&
              kAudioComponentFlag_IsV3AudioUnit == 4 &&
              kAudioComponentFlag_RequiresAsyncInstantiation == 8 &&
              kAudioComponentFlag_CanLoadInProcess == 16 &&
              kAudioComponentInstantiation_LoadOutOfProcess == 1 &&
              kAudioComponentInstantiation_LoadInProcess == 2 &&
              kAudioComponentInstantiation_LoadedRemotely == 0x80000000);

static_assert(kAudioFormatLinearPCM == 'lpcm' && kAudioFormatFlagIsFloat == 1 &&
              kAudioFormatFlagIsBigEndian == 2 && kAudioFormatFlagIsSignedInteger == 4 &&
              kAudioFormatFlagIsPacked == 8 && kAudioFormatFlagIsAlignedHigh == 16 &&
              kAudioFormatFlagIsNonInterleaved == 32 && kAudioFormatFlagIsNonMixable == 64 &&
              kLinearPCMFormatFlagIsFloat == 1 && kLinearPCMFormatFlagIsBigEndian == 2 &&
              kLinearPCMFormatFlagIsSignedInteger == 4 && kLinearPCMFormatFlagIsPacked == 8 &&
              kLinearPCMFormatFlagIsAlignedHigh == 16 &&
              kLinearPCMFormatFlagIsNonInterleaved == 32 &&
              kLinearPCMFormatFlagIsNonMixable == 64 &&
              kAudioFormatFlagsAreAllClear == 0x80000000 && kAudioFormatFlagsNativeEndian == 0 &&
              kAudioFormatFlagsNativeFloatPacked == 9 && kAudioFormatFlagsCanonical == 9 &&
              kAudioTimeStampNothingValid == 0 && kAudioTimeStampSampleTimeValid == 1 &&
              kAudioTimeStampHostTimeValid == 2 && kAudioTimeStampRateScalarValid == 4 &&
              kAudioTimeStampWordClockTimeValid == 8 && kAudioTimeStampSMPTETimeValid == 16 &&
              kAudioTimeStampSampleHostTimeValid == 3 && kSMPTETimeType24 == 0 &&
              kSMPTETimeType25 == 1 && kSMPTETimeType30Drop == 2 && kSMPTETimeType30 == 3 &&
              kSMPTETimeType2997 == 4 && kSMPTETimeType2997Drop == 5 && kSMPTETimeType60 == 6 &&
              kSMPTETimeType5994 == 7 && kSMPTETimeType60Drop == 8 && kSMPTETimeType5994Drop == 9 &&
              kSMPTETimeType50 == 10 && kSMPTETimeType2398 == 11 && kSMPTETimeUnknown == 0 &&
              kSMPTETimeValid == 1 && kSMPTETimeRunning == 2);

static_assert(kAudioChannelLayoutTag_UseChannelDescriptions == 0 &&
              kAudioChannelLayoutTag_UseChannelBitmap == 0x10000 &&
              kAudioChannelLayoutTag_Mono == 0x640001 &&
              kAudioChannelLayoutTag_Stereo == 0x650002 &&
              kAudioChannelLayoutTag_StereoHeadphones == 0x660002 &&
              kAudioChannelLayoutTag_Binaural == 0x6A0002 &&
              kAudioChannelLayoutTag_Ambisonic_B_Format == 0x6B0004 &&
              kAudioChannelLayoutTag_Quadraphonic == 0x6C0004 &&
              kAudioChannelLayoutTag_AudioUnit_4 == 0x6C0004 &&
              kAudioChannelLayoutTag_AudioUnit_5 == 0x6D0005 &&
              kAudioChannelLayoutTag_AudioUnit_6 == 0x6E0006 &&
              kAudioChannelLayoutTag_AudioUnit_8 == 0x6F0008 &&
              kAudioChannelLayoutTag_ITU_3_0 == 0x710003 &&
              kAudioChannelLayoutTag_AudioUnit_5_0 == 0x760005 &&
              kAudioChannelLayoutTag_AudioUnit_5_1 == 0x790006 &&
              kAudioChannelLayoutTag_AudioUnit_6_0 == 0x8B0006 &&
              kAudioChannelLayoutTag_AudioUnit_6_1 == 0x7D0007 &&
              kAudioChannelLayoutTag_AudioUnit_7_0 == 0x8C0007 &&
              kAudioChannelLayoutTag_AudioUnit_7_1 == 0x800008 &&
              kAudioChannelLayoutTag_AudioUnit_7_1_Front == 0x7E0008 &&
              kAudioChannelLayoutTag_DiscreteInOrder == 0x930000 &&
              kAudioChannelLayoutTag_HOA_ACN_SN3D == 0xBE0000 &&
              kAudioChannelLayoutTag_Atmos_7_1_4 == 0xC0000C &&
              kAudioChannelLayoutTag_Atmos_7_1_2 == 0xC4000A &&
              kAudioChannelLayoutTag_Unknown == 0xFFFF0000 && kAudioChannelLabel_Unused == 0 &&
              kAudioChannelLabel_Left == 1 && kAudioChannelLabel_Right == 2 &&
              kAudioChannelLabel_Center == 3 && kAudioChannelLabel_LFEScreen == 4 &&
              kAudioChannelLabel_LeftSurround == 5 && kAudioChannelLabel_RightSurround == 6 &&
              kAudioChannelLabel_Mono == 42 && kAudioChannelLabel_UseCoordinates == 100 &&
              kAudioChannelLabel_Unknown == 0xFFFFFFFF);

static_assert(kCFCompareLessThan == -1 && kCFCompareEqualTo == 0 && kCFCompareGreaterThan == 1 &&
              kCFCompareCaseInsensitive == 1 && kCFNumberSInt8Type == 1 &&
              kCFNumberSInt16Type == 2 && kCFNumberSInt32Type == 3 && kCFNumberSInt64Type == 4 &&
              kCFNumberFloat32Type == 5 && kCFNumberFloat64Type == 6 && kCFNumberCharType == 7 &&
              kCFNumberShortType == 8 && kCFNumberIntType == 9 && kCFNumberLongType == 10 &&
              kCFNumberLongLongType == 11 && kCFNumberFloatType == 12 &&
              kCFNumberDoubleType == 13 && kCFNumberCFIndexType == 14 &&
              kCFPropertyListImmutable == 0 && kCFPropertyListMutableContainers == 1 &&
              kCFPropertyListXMLFormat_v1_0 == 100 && kCFPropertyListBinaryFormat_v1_0 == 200 &&
              kCFRunLoopRunFinished == 1 && kCFRunLoopRunTimedOut == 3 &&
              kCFRunLoopRunHandledSource == 4 && kCFStringEncodingMacRoman == 0 &&
              kCFStringEncodingISOLatin1 == 0x201 && kCFStringEncodingASCII == 0x600 &&
              kCFStringEncodingUTF8 == 0x8000100 && kCFURLPOSIXPathStyle == 0 &&
              kMIDICVStatusNoteOff == 8 && kMIDICVStatusNoteOn == 9 &&
              kMIDICVStatusPolyPressure == 10 && kMIDICVStatusControlChange == 11 &&
              kMIDICVStatusProgramChange == 12 && kMIDICVStatusChannelPressure == 13 &&
              kMIDICVStatusPitchBend == 14 && kMIDIProtocol_1_0 == 1 && kMIDIProtocol_2_0 == 2);

static_assert(KERN_SUCCESS == 0 && KERN_INVALID_ARGUMENT == 4 && KERN_RESOURCE_SHORTAGE == 6 &&
              KERN_INVALID_NAME == 15 && KERN_INVALID_TASK == 16 && KERN_INVALID_RIGHT == 17 &&
              KERN_TERMINATED == 37 && KERN_DENIED == 53 && MACH_PORT_NULL == 0 &&
              MACH_PORT_DEAD == 0xFFFFFFFF && THREAD_STANDARD_POLICY == 1 &&
              THREAD_TIME_CONSTRAINT_POLICY == 2 && THREAD_TIME_CONSTRAINT_POLICY_COUNT == 4 &&
              OS_CLOCK_MACH_ABSOLUTE_TIME == 32 && OS_SYNC_WAIT_ON_ADDRESS_NONE == 0 &&
              OS_SYNC_WAIT_ON_ADDRESS_SHARED == 1 && OS_SYNC_WAKE_BY_ADDRESS_NONE == 0 &&
              OS_SYNC_WAKE_BY_ADDRESS_SHARED == 1 && DISPATCH_TIME_NOW == 0 &&
              DISPATCH_TIME_FOREVER == ~0ull && NSEC_PER_SEC == 1000000000 &&
              NSEC_PER_MSEC == 1000000 && NSEC_PER_USEC == 1000);

// The calls of the system, as it makes them. A call that is marked as real-time passes for one that
// is not.
template <typename Signature>
constexpr bool is(Signature*) {
  return true;
}

static_assert(
    is<AudioComponent(AudioComponent, const AudioComponentDescription*)>(AudioComponentFindNext));
static_assert(is<OSStatus(AudioComponent, CFStringRef*)>(AudioComponentCopyName));
static_assert(
    is<OSStatus(AudioComponent, AudioComponentDescription*)>(AudioComponentGetDescription));
static_assert(is<void(AudioComponent, AudioComponentInstantiationOptions,
                      void (^)(AudioComponentInstance, OSStatus))>(AudioComponentInstantiate));
static_assert(is<OSStatus(AudioComponentInstance)>(AudioComponentInstanceDispose));
static_assert(is<OSStatus(AudioUnit)>(AudioUnitInitialize));
static_assert(is<OSStatus(AudioUnit)>(AudioUnitUninitialize));
static_assert(is<OSStatus(AudioUnit, AudioUnitPropertyID, AudioUnitScope, AudioUnitElement, UInt32*,
                          Boolean*)>(AudioUnitGetPropertyInfo));
static_assert(is<OSStatus(AudioUnit, AudioUnitPropertyID, AudioUnitScope, AudioUnitElement, void*,
                          UInt32*)>(AudioUnitGetProperty));
static_assert(is<OSStatus(AudioUnit, AudioUnitPropertyID, AudioUnitScope, AudioUnitElement,
                          const void*, UInt32)>(AudioUnitSetProperty));
static_assert(is<OSStatus(AudioUnit, AudioUnitParameterID, AudioUnitScope, AudioUnitElement,
                          AudioUnitParameterValue, UInt32)>(AudioUnitSetParameter));
static_assert(is<OSStatus(AudioUnit, AudioUnitRenderActionFlags*, const AudioTimeStamp*, UInt32,
                          UInt32, AudioBufferList*)>(AudioUnitRender));
static_assert(
    is<OSStatus(MusicDeviceComponent, UInt32, UInt32, UInt32, UInt32)>(MusicDeviceMIDIEvent));
static_assert(is<CFIndex(CFArrayRef)>(CFArrayGetCount));
static_assert(is<const void*(CFArrayRef, CFIndex)>(CFArrayGetValueAtIndex));
static_assert(is<CFDataRef(CFAllocatorRef, const UInt8*, CFIndex)>(CFDataCreate));
static_assert(is<const UInt8*(CFDataRef)>(CFDataGetBytePtr));
static_assert(is<CFIndex(CFDataRef)>(CFDataGetLength));
static_assert(is<CFDataRef(CFAllocatorRef, CFPropertyListRef, CFPropertyListFormat, CFOptionFlags,
                           CFErrorRef*)>(CFPropertyListCreateData));
static_assert(is<CFPropertyListRef(CFAllocatorRef, CFDataRef, CFOptionFlags, CFPropertyListFormat*,
                                   CFErrorRef*)>(CFPropertyListCreateWithData));
static_assert(is<void(CFTypeRef)>(CFRelease));
static_assert(is<CFRunLoopRunResult(CFRunLoopMode, CFTimeInterval, Boolean)>(CFRunLoopRunInMode));
static_assert(is<CFIndex(CFStringRef, CFRange, CFStringEncoding, UInt8, Boolean, UInt8*, CFIndex,
                         CFIndex*)>(CFStringGetBytes));
static_assert(is<Boolean(CFStringRef, char*, CFIndex, CFStringEncoding)>(CFStringGetCString));
static_assert(is<CFIndex(CFStringRef)>(CFStringGetLength));
static_assert(is<CFURLRef(CFAllocatorRef, const UInt8*, CFIndex, Boolean)>(
    CFURLCreateFromFileSystemRepresentation));
static_assert(is<int(void*, std::uint64_t, std::size_t, os_sync_wait_on_address_flags_t,
                     os_clockid_t, std::uint64_t)>(os_sync_wait_on_address_with_timeout));
static_assert(
    is<int(void*, std::size_t, os_sync_wake_by_address_flags_t)>(os_sync_wake_by_address_any));
static_assert(is<os_workgroup_t(const char*, mach_port_t)>(os_workgroup_create_with_port));
static_assert(is<int(os_workgroup_t, os_workgroup_join_token_t)>(os_workgroup_join));
static_assert(is<void(os_workgroup_t, os_workgroup_join_token_t)>(os_workgroup_leave));
static_assert(
    is<kern_return_t(task_t, mach_port_array_t*, mach_msg_type_number_t*)>(mach_ports_lookup));
static_assert(is<kern_return_t(vm_map_t, vm_address_t, vm_size_t)>(vm_deallocate));
static_assert(is<kern_return_t(thread_act_t, thread_policy_flavor_t, thread_policy_t,
                               mach_msg_type_number_t)>(thread_policy_set));
static_assert(is<mach_port_t(pthread_t)>(pthread_mach_thread_np));
