#pragma once

/* Properties of Audio Units: ids, scopes, the values' types, and what describes a parameter.
 *
 * Reading a property gives a CoreFoundation value with a reference that the reader releases; when
 * writing, the caller keeps its own. "G" is the global scope, element 0; r and w say what usual
 * units allow; bytes in parentheses where the type does not tell. */

#include <AudioToolbox/AUComponent.h>

#ifdef __cplusplus
extern "C" {
#endif

struct MIDIPacketList;

/* Keys of a unit's state, a dictionary (kAudioUnitProperty_ClassInfo). */
#define kAUPresetVersionKey "version"           /* number, SInt32, 0 */
#define kAUPresetTypeKey "type"                 /* number, SInt32 */
#define kAUPresetSubtypeKey "subtype"           /* number, SInt32 */
#define kAUPresetManufacturerKey "manufacturer" /* number, SInt32 */
#define kAUPresetDataKey "data"                 /* data: see below */
#define kAUPresetNameKey "name"                 /* string */
#define kAUPresetNumberKey "preset-number"
#define kAUPresetRenderQualityKey "render-quality" /* number */
#define kAUPresetCPULoadKey "cpu-load"
#define kAUPresetElementNameKey "element-name" /* dictionary scope -> (element -> string) */
#define kAUPresetExternalFileRefs "file-references"
#define kAUPresetVSTDataKey "vstdata"
#define kAUPresetVSTPresetKey "vstpreset"
#define kAUPresetMASDataKey "masdata"
#define kAUPresetPartKey "part" /* absent in a global state */

/* The usual "data": big-endian 32-bit words, for each element with parameters its scope, number and
 * count of parameters, then as often an id and the bits of a float. Units may keep others. */

/* Below 1024 reserved to the vendor. */
CA_VALUES(AudioUnitScope){kAudioUnitScope_Global = 0, kAudioUnitScope_Input = 1,
                          kAudioUnitScope_Output = 2, kAudioUnitScope_Group = 3,
                          kAudioUnitScope_Part = 4,   kAudioUnitScope_Note = 5,
                          kAudioUnitScope_Layer = 6,  kAudioUnitScope_LayerItem = 7};

/* Ids below 64000 are reserved to the vendor. */
CA_VALUES(AudioUnitPropertyID){
    kAudioUnitProperty_ClassInfo = 0,      /* G rw: CFPropertyListRef */
    kAudioUnitProperty_MakeConnection = 1, /* input w: AudioUnitConnection */
    kAudioUnitProperty_SampleRate = 2,     /* input, output rw: Float64 */
    kAudioUnitProperty_ParameterList = 3,  /* any r: AudioUnitParameterID[] */
    kAudioUnitProperty_ParameterInfo = 4,  /* any r, element = id: AudioUnitParameterInfo */
    kAudioUnitProperty_FastDispatch = 5,   /* G r, element = selector: function pointer */
    kAudioUnitProperty_CPULoad = 6,
    kAudioUnitProperty_StreamFormat = 8,  /* input, output rw: AudioStreamBasicDescription */
    kAudioUnitProperty_ElementCount = 11, /* any r(w): UInt32 */
    kAudioUnitProperty_BusCount = kAudioUnitProperty_ElementCount,
    kAudioUnitProperty_Latency = 12,               /* G r: Float64 seconds */
    kAudioUnitProperty_SupportedNumChannels = 13,  /* G r: AUChannelInfo[] */
    kAudioUnitProperty_MaximumFramesPerSlice = 14, /* G rw: UInt32 */
    kAudioUnitProperty_SetExternalBuffer = 15,
    kAudioUnitProperty_ParameterValueStrings = 16, /* any r, element = id: CFArrayRef; entry i
                                                      names the value min + i */
    kAudioUnitProperty_GetUIComponentList = 18,
    kAudioUnitProperty_AudioChannelLayout = 19,         /* input, output rw: AudioChannelLayout */
    kAudioUnitProperty_TailTime = 20,                   /* G r: Float64 seconds */
    kAudioUnitProperty_BypassEffect = 21,               /* G rw: UInt32 */
    kAudioUnitProperty_LastRenderError = 22,            /* G r: OSStatus, cleared by reading */
    kAudioUnitProperty_SetRenderCallback = 23,          /* input w: AURenderCallbackStruct */
    kAudioUnitProperty_FactoryPresets = 24,             /* G r: CFArrayRef of const AUPreset * */
    kAudioUnitProperty_ContextName = 25,                /* G rw: CFStringRef */
    kAudioUnitProperty_RenderQuality = 26,              /* G rw: UInt32, 0..127 */
    kAudioUnitProperty_HostCallbacks = 27,              /* G w: HostCallbackInfo */
    kAudioUnitProperty_CurrentPreset = 28,              /* older form of PresentPreset */
    kAudioUnitProperty_InPlaceProcessing = 29,          /* G rw: UInt32 */
    kAudioUnitProperty_ElementName = 30,                /* any rw: CFStringRef */
    kAudioUnitProperty_CocoaUI = 31,                    /* G r: AudioUnitCocoaViewInfo */
    kAudioUnitProperty_SupportedChannelLayoutTags = 32, /* input, output r: tags */
    kAudioUnitProperty_ParameterStringFromValue = 33, /* any r: AudioUnitParameterStringFromValue */
    kAudioUnitProperty_ParameterIDName = 34,          /* any r: AudioUnitParameterNameInfo */
    kAudioUnitProperty_ParameterClumpName = 35,       /* any r: AudioUnitParameterNameInfo */
    kAudioUnitProperty_PresentPreset = 36,            /* G rw: AUPreset */
    kAudioUnitProperty_OfflineRender = 37,            /* G rw: UInt32 */
    kAudioUnitProperty_ParameterValueFromString = 38, /* any r: AudioUnitParameterValueFromString */
    kAudioUnitProperty_IconLocation = 39,             /* G r: CFURLRef */
    kAudioUnitProperty_PresentationLatency = 40,      /* input, output w: Float64 seconds */
    kAudioUnitProperty_AllParameterMIDIMappings = 41, /* G rw: AUParameterMIDIMapping[] */
    kAudioUnitProperty_AddParameterMIDIMapping = 42,
    kAudioUnitProperty_RemoveParameterMIDIMapping = 43,
    kAudioUnitProperty_HotMapParameterMIDIMapping = 44,
    kAudioUnitProperty_DependentParameters = 45,    /* any r: AUDependentParameter[] */
    kAudioUnitProperty_AUHostIdentifier = 46,       /* G w: AUHostVersionIdentifier */
    kAudioUnitProperty_MIDIOutputCallbackInfo = 47, /* G r: CFArrayRef of CFStringRef */
    kAudioUnitProperty_MIDIOutputCallback = 48,     /* G w: AUMIDIOutputCallbackStruct */
    kAudioUnitProperty_InputSamplesInOutput = 49,
    kAudioUnitProperty_ClassInfoFromDocument = 50, /* G rw: CFPropertyListRef */
    kAudioUnitProperty_ShouldAllocateBuffer = 51,  /* input, output rw: UInt32, 1 */
    kAudioUnitProperty_FrequencyResponse = 52,     /* G r: AudioUnitFrequencyResponseBin[] */
    kAudioUnitProperty_ParameterHistoryInfo = 53,  /* any r, element = id */
    kAudioUnitProperty_NickName = 54,              /* G rw: CFStringRef, may be NULL */
    kAudioUnitProperty_RequestViewController = 56, /* G w: block that takes a view controller */
    kAudioUnitProperty_ParametersForOverview = 57, /* G r: AudioUnitParameter[] */
    kAudioUnitProperty_SupportsMPE = 58,           /* G r: UInt32 */
    kAudioUnitProperty_RenderContextObserver = 60, /* G r: block */
    kAudioUnitProperty_LastRenderSampleTime = 61,  /* G r: Float64 */
    kAudioUnitProperty_LoadedOutOfProcess = 62,    /* G r: UInt32 */
    kAudioUnitProperty_MIDIOutputEventListCallback = 63,
    kAudioUnitProperty_AudioUnitMIDIProtocol = 64, /* G r: SInt32 */
    kAudioUnitProperty_HostMIDIProtocol = 65,      /* G w: SInt32 */
    kAudioUnitProperty_MIDIOutputBufferSizeHint = 66};

enum {
  kRenderQuality_Max = 127,
  kRenderQuality_High = 96,
  kRenderQuality_Medium = 64,
  kRenderQuality_Low = 32,
  kRenderQuality_Min = 0
};

/* Takes a unit's input from another unit's output; a NULL source ends the connection. */
typedef struct AudioUnitConnection {
  AudioUnit sourceAudioUnit;
  UInt32 sourceOutputNumber;
  UInt32 destInputNumber;
} AudioUnitConnection;

/* Takes a unit's input from a function; NULL ends it. */
typedef struct AURenderCallbackStruct {
  AURenderCallback inputProc;
  void* inputProcRefCon;
} AURenderCallbackStruct;

/* Number 0 and up: a factory preset; negative: the user's own, with a name. */
typedef struct AUPreset {
  SInt32 presetNumber;
  CFStringRef presetName;
} AUPreset;

/* Supported numbers of channels: -1 any, {-1, -1} equal on both sides, {-1, -2} and {-2, -1} any
 * on each, below -2 the total over all buses. */
typedef struct AUChannelInfo {
  SInt16 inChannels;
  SInt16 outChannels;
} AUChannelInfo;

typedef struct AudioUnitExternalBuffer {
  Byte* buffer;
  UInt32 size;
} AudioUnitExternalBuffer;

typedef struct AUNumVersion {
  UInt8 nonRelRev;
  UInt8 stage;
  UInt8 minorAndBugRev;
  UInt8 majorRev;
} AUNumVersion;

typedef struct AUHostIdentifier {
  CFStringRef hostName;
  AUNumVersion hostVersion;
} AUHostIdentifier;

typedef struct AUHostVersionIdentifier {
  CFStringRef hostName;
  UInt32 hostVersion;
} AUHostVersionIdentifier;

/* What a unit may ask its host inside Render. Any result but the first argument may be NULL;
 * kAudioUnitErr_CannotDoInCurrentContext when the host cannot say. Positions in beats (quarter
 * notes) and samples, tempo in beats a minute. */
typedef OSStatus (*HostCallback_GetBeatAndTempo)(void* inHostUserData, Float64* outCurrentBeat,
                                                 Float64* outCurrentTempo);
typedef OSStatus (*HostCallback_GetMusicalTimeLocation)(void* inHostUserData,
                                                        UInt32* outDeltaSampleOffsetToNextBeat,
                                                        Float32* outTimeSig_Numerator,
                                                        UInt32* outTimeSig_Denominator,
                                                        Float64* outCurrentMeasureDownBeat);
typedef OSStatus (*HostCallback_GetTransportState)(void* inHostUserData, Boolean* outIsPlaying,
                                                   Boolean* outTransportStateChanged,
                                                   Float64* outCurrentSampleInTimeLine,
                                                   Boolean* outIsCycling,
                                                   Float64* outCycleStartBeat,
                                                   Float64* outCycleEndBeat);
typedef OSStatus (*HostCallback_GetTransportState2)(
    void* inHostUserData, Boolean* outIsPlaying, Boolean* outIsRecording,
    Boolean* outTransportStateChanged, Float64* outCurrentSampleInTimeLine, Boolean* outIsCycling,
    Float64* outCycleStartBeat, Float64* outCycleEndBeat);

/* Older clients end before transportStateProc2 and give the size 32. */
typedef struct HostCallbackInfo {
  void* hostUserData;
  HostCallback_GetBeatAndTempo beatAndTempoProc;
  HostCallback_GetMusicalTimeLocation musicalTimeLocationProc;
  HostCallback_GetTransportState transportStateProc;
  HostCallback_GetTransportState2 transportStateProc2;
} HostCallbackInfo;

typedef struct AUDependentParameter {
  AudioUnitScope mScope;
  AudioUnitParameterID mParameterID;
} AUDependentParameter;

/* Called inside Render with packets whose times are frame offsets. */
typedef OSStatus (*AUMIDIOutputCallback)(void* userData, const AudioTimeStamp* timeStamp,
                                         UInt32 midiOutNum, const struct MIDIPacketList* pktlist);

typedef struct AUMIDIOutputCallbackStruct {
  AUMIDIOutputCallback midiOutputCallback;
  void* userData;
} AUMIDIOutputCallbackStruct;

/* Where a unit's view factory is: URL and class name are the reader's to release. */
typedef struct AudioUnitCocoaViewInfo {
  CFURLRef mCocoaAUViewBundleLocation;
  CFStringRef mCocoaAUViewClass[1];
} AudioUnitCocoaViewInfo;

/* Unknown numbers count as Generic. */
CA_ENUM(AudioUnitParameterUnit){kAudioUnitParameterUnit_Generic = 0,
                                kAudioUnitParameterUnit_Indexed = 1,
                                kAudioUnitParameterUnit_Boolean = 2,
                                kAudioUnitParameterUnit_Percent = 3,
                                kAudioUnitParameterUnit_Seconds = 4,
                                kAudioUnitParameterUnit_SampleFrames = 5,
                                kAudioUnitParameterUnit_Phase = 6,
                                kAudioUnitParameterUnit_Rate = 7,
                                kAudioUnitParameterUnit_Hertz = 8,
                                kAudioUnitParameterUnit_Cents = 9,
                                kAudioUnitParameterUnit_RelativeSemiTones = 10,
                                kAudioUnitParameterUnit_MIDINoteNumber = 11,
                                kAudioUnitParameterUnit_MIDIController = 12,
                                kAudioUnitParameterUnit_Decibels = 13,
                                kAudioUnitParameterUnit_LinearGain = 14,
                                kAudioUnitParameterUnit_Degrees = 15,
                                kAudioUnitParameterUnit_EqualPowerCrossfade = 16,
                                kAudioUnitParameterUnit_MixerFaderCurve1 = 17,
                                kAudioUnitParameterUnit_Pan = 18,
                                kAudioUnitParameterUnit_Meters = 19,
                                kAudioUnitParameterUnit_AbsoluteCents = 20,
                                kAudioUnitParameterUnit_Octaves = 21,
                                kAudioUnitParameterUnit_BPM = 22,
                                kAudioUnitParameterUnit_Beats = 23,
                                kAudioUnitParameterUnit_Milliseconds = 24,
                                kAudioUnitParameterUnit_Ratio = 25,
                                kAudioUnitParameterUnit_CustomUnit = 26,
                                kAudioUnitParameterUnit_MIDI2Controller = 27};

/* The display curve is a number in the bits of DisplayMask, not a set of flags. */
CA_OPTIONS(AudioUnitParameterOptions){
    kAudioUnitParameterFlag_CFNameRelease = 1u << 4,
    kAudioUnitParameterFlag_OmitFromPresets = 1u << 13,
    kAudioUnitParameterFlag_PlotHistory = 1u << 14,
    kAudioUnitParameterFlag_MeterReadOnly = 1u << 15,

    kAudioUnitParameterFlag_DisplayMask = (7u << 16) | (1u << 22),
    kAudioUnitParameterFlag_DisplaySquareRoot = 1u << 16,
    kAudioUnitParameterFlag_DisplaySquared = 2u << 16,
    kAudioUnitParameterFlag_DisplayCubed = 3u << 16,
    kAudioUnitParameterFlag_DisplayCubeRoot = 4u << 16,
    kAudioUnitParameterFlag_DisplayExponential = 5u << 16,
    kAudioUnitParameterFlag_DisplayLogarithmic = 1u << 22,

    kAudioUnitParameterFlag_HasClump = 1u << 20,
    kAudioUnitParameterFlag_ValuesHaveStrings = 1u << 21,
    kAudioUnitParameterFlag_HasName = kAudioUnitParameterFlag_ValuesHaveStrings,
    kAudioUnitParameterFlag_IsHighResolution = 1u << 23,
    kAudioUnitParameterFlag_NonRealTime = 1u << 24, kAudioUnitParameterFlag_CanRamp = 1u << 25,
    kAudioUnitParameterFlag_ExpertMode = 1u << 26,
    kAudioUnitParameterFlag_HasCFNameString = 1u << 27,
    kAudioUnitParameterFlag_IsGlobalMeta = 1u << 28,
    kAudioUnitParameterFlag_IsElementMeta = 1u << 29, kAudioUnitParameterFlag_IsReadable = 1u << 30,
    kAudioUnitParameterFlag_IsWritable = 1u << 31,

    /* Obsolete, of units older than scopes. */
    kAudioUnitParameterFlag_Global = 1u << 0, kAudioUnitParameterFlag_Input = 1u << 1,
    kAudioUnitParameterFlag_Output = 1u << 2, kAudioUnitParameterFlag_Group = 1u << 3};

CA_VALUES(UInt32){kAudioUnitClumpID_System = 0};

/* `cfNameString` counts only with HasCFNameString, and is then the reader's to release with
 * CFNameRelease (with it, `unitName` as well when the unit is CustomUnit); else `name`, in UTF-8,
 * counts. `unitName` is valid only for CustomUnit, `clumpID` only with HasClump. */
typedef struct AudioUnitParameterInfo {
  char name[52];
  CFStringRef unitName;
  UInt32 clumpID;
  CFStringRef cfNameString;
  AudioUnitParameterUnit unit;
  AudioUnitParameterValue minValue;
  AudioUnitParameterValue maxValue;
  AudioUnitParameterValue defaultValue;
  AudioUnitParameterOptions flags;
} AudioUnitParameterInfo;

static inline AudioUnitParameterOptions GetAudioUnitParameterDisplayType(
    AudioUnitParameterOptions flags) {
  return flags & kAudioUnitParameterFlag_DisplayMask;
}

static inline AudioUnitParameterOptions SetAudioUnitParameterDisplayType(
    AudioUnitParameterOptions flags, AudioUnitParameterOptions displayType) {
  return (flags & ~(AudioUnitParameterOptions)kAudioUnitParameterFlag_DisplayMask) | displayType;
}

static inline Boolean AudioUnitDisplayTypeIsLogarithmic(AudioUnitParameterOptions flags) {
  return GetAudioUnitParameterDisplayType(flags) == kAudioUnitParameterFlag_DisplayLogarithmic;
}
static inline Boolean AudioUnitDisplayTypeIsSquareRoot(AudioUnitParameterOptions flags) {
  return GetAudioUnitParameterDisplayType(flags) == kAudioUnitParameterFlag_DisplaySquareRoot;
}
static inline Boolean AudioUnitDisplayTypeIsSquared(AudioUnitParameterOptions flags) {
  return GetAudioUnitParameterDisplayType(flags) == kAudioUnitParameterFlag_DisplaySquared;
}
static inline Boolean AudioUnitDisplayTypeIsCubed(AudioUnitParameterOptions flags) {
  return GetAudioUnitParameterDisplayType(flags) == kAudioUnitParameterFlag_DisplayCubed;
}
static inline Boolean AudioUnitDisplayTypeIsCubeRoot(AudioUnitParameterOptions flags) {
  return GetAudioUnitParameterDisplayType(flags) == kAudioUnitParameterFlag_DisplayCubeRoot;
}
static inline Boolean AudioUnitDisplayTypeIsExponential(AudioUnitParameterOptions flags) {
  return GetAudioUnitParameterDisplayType(flags) == kAudioUnitParameterFlag_DisplayExponential;
}

enum { kAudioUnitParameterName_Full = -1 };

/* Asks for a name of at most `inDesiredLength` characters, a hint; the name is the reader's. */
typedef struct AudioUnitParameterNameInfo {
  AudioUnitParameterID inID;
  SInt32 inDesiredLength;
  CFStringRef outName;
} AudioUnitParameterNameInfo;
typedef AudioUnitParameterNameInfo AudioUnitParameterIDName;

/* `inValue` NULL asks for the present value's text; `outString` may come back NULL: show the
 * number then. */
typedef struct AudioUnitParameterStringFromValue {
  AudioUnitParameterID inParamID;
  const AudioUnitParameterValue* inValue;
  CFStringRef outString;
} AudioUnitParameterStringFromValue;

typedef struct AudioUnitParameterValueFromString {
  AudioUnitParameterID inParamID;
  CFStringRef inString;
  AudioUnitParameterValue outValue;
} AudioUnitParameterValueFromString;

/* One frequency in Hz and the unit's gain there. The reader fills in the frequencies of at most
 * kNumberOfResponseFrequencies of them; a negative one ends a shorter list. */
typedef struct AudioUnitFrequencyResponseBin {
  Float64 mFrequency;
  Float64 mMagnitude;
} AudioUnitFrequencyResponseBin;

enum { kNumberOfResponseFrequencies = 1024 };

typedef struct AudioUnitParameterHistoryInfo {
  Float32 updatesPerSecond;
  Float32 historyDurationInSeconds;
} AudioUnitParameterHistoryInfo;

CA_OPTIONS(AUParameterMIDIMappingFlags){
    kAUParameterMIDIMapping_AnyChannelFlag = 1u << 0, kAUParameterMIDIMapping_AnyNoteFlag = 1u << 1,
    kAUParameterMIDIMapping_SubRange = 1u << 2,       kAUParameterMIDIMapping_Toggle = 1u << 3,
    kAUParameterMIDIMapping_Bipolar = 1u << 4,        kAUParameterMIDIMapping_Bipolar_On = 1u << 5};

typedef struct AUParameterMIDIMapping {
  AudioUnitScope mScope;
  AudioUnitElement mElement;
  AudioUnitParameterID mParameterID;
  AUParameterMIDIMappingFlags mFlags;
  AudioUnitParameterValue mSubRangeMin;
  AudioUnitParameterValue mSubRangeMax;
  UInt8 mStatus;
  UInt8 mData1;
  UInt8 reserved1;  /* 0 */
  UInt8 reserved2;  /* 0 */
  UInt32 reserved3; /* 0 */
} AUParameterMIDIMapping;

/* Instruments: G. InstrumentCount (UInt32) is 0 for an instrument of one timbre. */
CA_VALUES(AudioUnitPropertyID){kMusicDeviceProperty_InstrumentCount = 1000,
                               kMusicDeviceProperty_InstrumentName = 1001,
                               kMusicDeviceProperty_MIDIXMLNames = 1006,
                               kMusicDeviceProperty_BankName = 1007,
                               kMusicDeviceProperty_PartGroup = 1010,
                               kMusicDeviceProperty_DualSchedulingMode = 1013,
                               kMusicDeviceProperty_SupportsStartStopNote = 1014,
                               kMusicDeviceProperty_SoundBankURL = 1100};

/* The sampler unit aumu samp appl. */
CA_VALUES(AudioUnitPropertyID){
    kAUSamplerProperty_LoadInstrument = 4102 /* G w: AUSamplerInstrumentData */
};

enum { kInstrumentType_SF2Preset = 1, kInstrumentType_EXS24 = 4 };

enum { kAUSampler_DefaultMelodicBankMSB = 0x79, kAUSampler_DefaultBankLSB = 0x00 };

/* Bank and preset (0..127) have a meaning for banks of instruments only. The caller keeps the URL.
 */
typedef struct AUSamplerInstrumentData {
  CFURLRef fileURL;
  UInt8 instrumentType;
  UInt8 bankMSB;
  UInt8 bankLSB;
  UInt8 presetID;
} AUSamplerInstrumentData;

#ifdef __cplusplus
}
#endif
