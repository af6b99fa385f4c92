#pragma once

/* Audio Units: type codes, statuses, callbacks and the calls on an instance.
 *
 * An AudioUnit* call is the method of the same name in the instance's component: arguments and
 * results mean what the component makes of them. Every call returns kAudio_ParamError for a NULL
 * instance and kAudio_UnimplementedError where the component has no such method. Those marked
 * CA_REALTIME_API may be called from the render thread and add neither lock nor allocation of
 * their own; all others are for one thread at a time that is not the render thread. */

#include <AudioToolbox/AudioComponent.h>
#include <CoreAudioTypes/CoreAudioBaseTypes.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

typedef AudioComponentInstance AudioUnit;

CA_VALUES(UInt32){
    kAudioUnitType_Output = 0x61756f75,           /* 'auou' */
    kAudioUnitType_MusicDevice = 0x61756d75,      /* 'aumu' */
    kAudioUnitType_MusicEffect = 0x61756d66,      /* 'aumf' */
    kAudioUnitType_FormatConverter = 0x61756663,  /* 'aufc' */
    kAudioUnitType_Effect = 0x61756678,           /* 'aufx' */
    kAudioUnitType_Mixer = 0x61756d78,            /* 'aumx' */
    kAudioUnitType_Panner = 0x6175706e,           /* 'aupn' */
    kAudioUnitType_Generator = 0x6175676e,        /* 'augn' */
    kAudioUnitType_OfflineEffect = 0x61756f6c,    /* 'auol' */
    kAudioUnitType_MIDIProcessor = 0x61756d69,    /* 'aumi' */
    kAudioUnitType_SpeechSynthesizer = 0x61757370 /* 'ausp' */
};

CA_VALUES(UInt32){kAudioUnitManufacturer_Apple = 0x6170706c /* 'appl' */};

CA_VALUES(UInt32){
    kAudioUnitSubType_Sampler = 0x73616d70, /* 'samp' */
    /* Of output units; none is installed. */
    kAudioUnitSubType_GenericOutput = 0x67656e72, /* 'genr' */
    kAudioUnitSubType_HALOutput = 0x6168616c,     /* 'ahal' */
    kAudioUnitSubType_DefaultOutput = 0x64656620, /* 'def ' */
    kAudioUnitSubType_SystemOutput = 0x73797320   /* 'sys ' */
};

CA_OPTIONS(AudioUnitRenderActionFlags){kAudioUnitRenderAction_PreRender = 1u << 2,
                                       kAudioUnitRenderAction_PostRender = 1u << 3,
                                       /* A hint: the buffers hold zeros as well. */
                                       kAudioUnitRenderAction_OutputIsSilence = 1u << 4,
                                       kAudioOfflineUnitRenderAction_Preflight = 1u << 5,
                                       kAudioOfflineUnitRenderAction_Render = 1u << 6,
                                       kAudioOfflineUnitRenderAction_Complete = 1u << 7,
                                       kAudioUnitRenderAction_PostRenderError = 1u << 8,
                                       kAudioUnitRenderAction_DoNotCheckRenderArgs = 1u << 9};

CA_VALUES(OSStatus){kAudioUnitErr_InvalidProperty = -10879,
                    kAudioUnitErr_InvalidParameter = -10878,
                    kAudioUnitErr_InvalidElement = -10877,
                    kAudioUnitErr_NoConnection = -10876,
                    kAudioUnitErr_FailedInitialization = -10875,
                    kAudioUnitErr_TooManyFramesToProcess = -10874,
                    kAudioUnitErr_IllegalInstrument = -10873,
                    kAudioUnitErr_InstrumentTypeNotFound = -10872,
                    kAudioUnitErr_InvalidFile = -10871,
                    kAudioUnitErr_UnknownFileType = -10870,
                    kAudioUnitErr_FileNotSpecified = -10869,
                    kAudioUnitErr_FormatNotSupported = -10868,
                    kAudioUnitErr_Uninitialized = -10867,
                    kAudioUnitErr_InvalidScope = -10866,
                    kAudioUnitErr_PropertyNotWritable = -10865,
                    kAudioUnitErr_CannotDoInCurrentContext = -10863,
                    kAudioUnitErr_InvalidPropertyValue = -10851,
                    kAudioUnitErr_PropertyNotInUse = -10850,
                    kAudioUnitErr_Initialized = -10849,
                    kAudioUnitErr_InvalidOfflineRender = -10848,
                    kAudioUnitErr_Unauthorized = -10847,
                    kAudioUnitErr_MIDIOutputBufferFull = -66753,
                    kAudioUnitErr_RenderTimeout = -66745,
                    kAudioUnitErr_ExtensionNotFound = -66744,
                    kAudioUnitErr_InvalidParameterValue = -66743,
                    kAudioUnitErr_InvalidFilePath = -66742,
                    kAudioUnitErr_MissingKey = -66741};

typedef UInt32 AudioUnitPropertyID;
typedef UInt32 AudioUnitScope;
typedef UInt32 AudioUnitElement;
typedef UInt32 AudioUnitParameterID;
typedef Float32 AudioUnitParameterValue;

CA_ENUM(AUParameterEventType){kParameterEvent_Immediate = 1, kParameterEvent_Ramped = 2};

/* A parameter change within the next render: at once at `bufferOffset`, or along a line. Offsets
 * and durations in frames. */
typedef struct AudioUnitParameterEvent {
  AudioUnitScope scope;
  AudioUnitElement element;
  AudioUnitParameterID parameter;
  AUParameterEventType eventType;
  union {
    struct {
      SInt32 startBufferOffset; /* 0 or less in the buffers that continue a ramp */
      UInt32 durationInFrames;
      AudioUnitParameterValue startValue;
      AudioUnitParameterValue endValue;
    } ramp;
    struct {
      UInt32 bufferOffset;
      AudioUnitParameterValue value;
    } immediate;
  } eventValues;
} AudioUnitParameterEvent;

typedef struct AudioUnitParameter {
  AudioUnit mAudioUnit;
  AudioUnitParameterID mParameterID;
  AudioUnitScope mScope;
  AudioUnitElement mElement;
} AudioUnitParameter;

typedef struct AudioUnitProperty {
  AudioUnit mAudioUnit;
  AudioUnitPropertyID mPropertyID;
  AudioUnitScope mScope;
  AudioUnitElement mElement;
} AudioUnitProperty;

/* Supplies a unit's input, or observes its rendering. `inNumberFrames` frames of `ioData`, which
 * the callee fills or points at buffers of its own. Called on the render thread. */
typedef OSStatus (*AURenderCallback)(void* inRefCon, AudioUnitRenderActionFlags* ioActionFlags,
                                     const AudioTimeStamp* inTimeStamp, UInt32 inBusNumber,
                                     UInt32 inNumberFrames,
                                     AudioBufferList* ioData) CA_REALTIME_API;

/* Called by the unit itself, on the thread of the change. Adds or removes no listener. */
typedef void (*AudioUnitPropertyListenerProc)(void* inRefCon, AudioUnit inUnit,
                                              AudioUnitPropertyID inID, AudioUnitScope inScope,
                                              AudioUnitElement inElement);

/// Allocates what rendering needs; the formats are settled now. Twice is allowed.
OSStatus AudioUnitInitialize(AudioUnit inUnit);

/// Gives back what AudioUnitInitialize took; formats may change again.
OSStatus AudioUnitUninitialize(AudioUnit inUnit);

/// Size in bytes and writability of a property; both results may be NULL.
OSStatus AudioUnitGetPropertyInfo(AudioUnit inUnit, AudioUnitPropertyID inID,
                                  AudioUnitScope inScope, AudioUnitElement inElement,
                                  UInt32* outDataSize, Boolean* outWritable);

/// Reads a property. `*ioDataSize` holds the buffer's bytes, then those written. A CoreFoundation
/// value comes with a reference that the caller releases.
OSStatus AudioUnitGetProperty(AudioUnit inUnit, AudioUnitPropertyID inID, AudioUnitScope inScope,
                              AudioUnitElement inElement, void* outData, UInt32* ioDataSize);

/// Writes a property. The caller keeps its reference of a CoreFoundation value.
OSStatus AudioUnitSetProperty(AudioUnit inUnit, AudioUnitPropertyID inID, AudioUnitScope inScope,
                              AudioUnitElement inElement, const void* inData, UInt32 inDataSize);

/// Calls `inProc` whenever the property changes, in any scope and element.
OSStatus AudioUnitAddPropertyListener(AudioUnit inUnit, AudioUnitPropertyID inID,
                                      AudioUnitPropertyListenerProc inProc, void* inProcUserData);

/// Ends the registration of `inProc` with `inProcUserData` for the property.
OSStatus AudioUnitRemovePropertyListenerWithUserData(AudioUnit inUnit, AudioUnitPropertyID inID,
                                                     AudioUnitPropertyListenerProc inProc,
                                                     void* inProcUserData);

/// Calls `inProc` on the render thread before and after each render.
OSStatus AudioUnitAddRenderNotify(AudioUnit inUnit, AURenderCallback inProc, void* inProcUserData);

OSStatus AudioUnitRemoveRenderNotify(AudioUnit inUnit, AURenderCallback inProc,
                                     void* inProcUserData);

/// The present value of a parameter. Any thread.
OSStatus AudioUnitGetParameter(AudioUnit inUnit, AudioUnitParameterID inID, AudioUnitScope inScope,
                               AudioUnitElement inElement,
                               AudioUnitParameterValue* outValue) CA_REALTIME_API;

/// Sets a parameter. Any thread; tells no listener (AUParameterSet does).
OSStatus AudioUnitSetParameter(AudioUnit inUnit, AudioUnitParameterID inID, AudioUnitScope inScope,
                               AudioUnitElement inElement, AudioUnitParameterValue inValue,
                               UInt32 inBufferOffsetInFrames) CA_REALTIME_API;

/// Schedules changes for the render that is about to start. Render thread.
OSStatus AudioUnitScheduleParameters(AudioUnit inUnit,
                                     const AudioUnitParameterEvent* inParameterEvent,
                                     UInt32 inNumParamEvents) CA_REALTIME_API;

/// Renders `inNumberFrames` frames of one output bus, at most the unit's maximum.
///
/// Where `ioData->mBuffers[0].mData` is NULL the unit supplies buffers, valid until the next
/// render; else it fills those given. `ioActionFlags` may be NULL. Render thread.
OSStatus AudioUnitRender(AudioUnit inUnit, AudioUnitRenderActionFlags* ioActionFlags,
                         const AudioTimeStamp* inTimeStamp, UInt32 inOutputBusNumber,
                         UInt32 inNumberFrames, AudioBufferList* ioData) CA_REALTIME_API;

/// Forgets what was played (delay lines, voices), keeps parameters and properties.
OSStatus AudioUnitReset(AudioUnit inUnit, AudioUnitScope inScope, AudioUnitElement inElement);

/* The methods' numbers for Lookup. Units answer more of them than have a call above. */
enum {
  kAudioUnitRange = 0x0000,
  kAudioUnitInitializeSelect = 0x0001,
  kAudioUnitUninitializeSelect = 0x0002,
  kAudioUnitGetPropertyInfoSelect = 0x0003,
  kAudioUnitGetPropertySelect = 0x0004,
  kAudioUnitSetPropertySelect = 0x0005,
  kAudioUnitGetParameterSelect = 0x0006,
  kAudioUnitSetParameterSelect = 0x0007,
  kAudioUnitResetSelect = 0x0009,
  kAudioUnitAddPropertyListenerSelect = 0x000A,
  kAudioUnitRemovePropertyListenerSelect = 0x000B,
  kAudioUnitRenderSelect = 0x000E,
  kAudioUnitAddRenderNotifySelect = 0x000F,
  kAudioUnitRemoveRenderNotifySelect = 0x0010,
  kAudioUnitScheduleParametersSelect = 0x0011,
  kAudioUnitRemovePropertyListenerWithUserDataSelect = 0x0012,
  kAudioUnitComplexRenderSelect = 0x0013,
  kAudioUnitProcessSelect = 0x0014,
  kAudioUnitProcessMultipleSelect = 0x0015
};

/* The methods' prototypes, `self` being the interface block that the factory returned. */
typedef OSStatus (*AudioUnitInitializeProc)(void* self);
typedef OSStatus (*AudioUnitUninitializeProc)(void* self);
typedef OSStatus (*AudioUnitGetPropertyInfoProc)(void* self, AudioUnitPropertyID prop,
                                                 AudioUnitScope scope, AudioUnitElement elem,
                                                 UInt32* outDataSize, Boolean* outWritable);
typedef OSStatus (*AudioUnitGetPropertyProc)(void* self, AudioUnitPropertyID inID,
                                             AudioUnitScope inScope, AudioUnitElement inElement,
                                             void* outData, UInt32* ioDataSize);
typedef OSStatus (*AudioUnitSetPropertyProc)(void* self, AudioUnitPropertyID inID,
                                             AudioUnitScope inScope, AudioUnitElement inElement,
                                             const void* inData, UInt32 inDataSize);
typedef OSStatus (*AudioUnitAddPropertyListenerProc)(void* self, AudioUnitPropertyID prop,
                                                     AudioUnitPropertyListenerProc proc,
                                                     void* userData);
typedef OSStatus (*AudioUnitRemovePropertyListenerProc)(void* self, AudioUnitPropertyID prop,
                                                        AudioUnitPropertyListenerProc proc);
typedef OSStatus (*AudioUnitRemovePropertyListenerWithUserDataProc)(
    void* self, AudioUnitPropertyID prop, AudioUnitPropertyListenerProc proc, void* userData);
typedef OSStatus (*AudioUnitAddRenderNotifyProc)(void* self, AURenderCallback proc, void* userData);
typedef OSStatus (*AudioUnitRemoveRenderNotifyProc)(void* self, AURenderCallback proc,
                                                    void* userData);
typedef OSStatus (*AudioUnitScheduleParametersProc)(void* self,
                                                    const AudioUnitParameterEvent* events,
                                                    UInt32 numEvents) CA_REALTIME_API;
typedef OSStatus (*AudioUnitResetProc)(void* self, AudioUnitScope inScope,
                                       AudioUnitElement inElement);
typedef OSStatus (*AudioUnitGetParameterProc)(void* inComponentStorage, AudioUnitParameterID inID,
                                              AudioUnitScope inScope, AudioUnitElement inElement,
                                              AudioUnitParameterValue* outValue) CA_REALTIME_API;
typedef OSStatus (*AudioUnitSetParameterProc)(void* inComponentStorage, AudioUnitParameterID inID,
                                              AudioUnitScope inScope, AudioUnitElement inElement,
                                              AudioUnitParameterValue inValue,
                                              UInt32 inBufferOffsetInFrames) CA_REALTIME_API;
typedef OSStatus (*AudioUnitRenderProc)(void* inComponentStorage,
                                        AudioUnitRenderActionFlags* ioActionFlags,
                                        const AudioTimeStamp* inTimeStamp, UInt32 inOutputBusNumber,
                                        UInt32 inNumberFrames,
                                        AudioBufferList* ioData) CA_REALTIME_API;
typedef OSStatus (*AudioUnitComplexRenderProc)(
    void* self, AudioUnitRenderActionFlags* ioActionFlags, const AudioTimeStamp* inTimeStamp,
    UInt32 inOutputBusNumber, UInt32 inNumberOfPackets, UInt32* outNumberOfPackets,
    AudioStreamPacketDescription* outPacketDescriptions, AudioBufferList* ioData, void* outMetadata,
    UInt32* outMetadataByteSize) CA_REALTIME_API;
typedef OSStatus (*AudioUnitProcessProc)(void* inComponentStorage,
                                         AudioUnitRenderActionFlags* ioActionFlags,
                                         const AudioTimeStamp* inTimeStamp, UInt32 inNumberFrames,
                                         AudioBufferList* ioData) CA_REALTIME_API;
typedef OSStatus (*AudioUnitProcessMultipleProc)(
    void* inComponentStorage, AudioUnitRenderActionFlags* ioActionFlags,
    const AudioTimeStamp* inTimeStamp, UInt32 inNumberFrames, UInt32 inNumberInputBufferLists,
    const AudioBufferList** inInputBufferLists, UInt32 inNumberOutputBufferLists,
    AudioBufferList** ioOutputBufferLists) CA_REALTIME_API;

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
