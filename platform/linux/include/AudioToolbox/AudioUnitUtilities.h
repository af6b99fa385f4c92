#pragma once

/* Telling others of parameter changes, and turning parameter values into slider positions and
 * text.
 *
 * One registry serves the whole process: a view and a host that know nothing of each other meet
 * in it. Only changes made by AUParameterSet or announced by the two Notify calls reach it; a bare
 * AudioUnitSetParameter tells nobody. Nothing here is for the render thread. */

#include <AudioToolbox/AUComponent.h>
#include <AudioToolbox/AudioUnitProperties.h>
#include <dispatch/dispatch.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

typedef struct AUListenerBase *AUParameterListenerRef;
typedef struct AUListenerBase *AUEventListenerRef;

/* For sending only: every listener of the unit is called with each parameter's present value. */
CA_VALUES(AudioUnitParameterID){kAUParameterListener_AnyParameter = 0xFFFFFFFFu};

CA_ENUM(AudioUnitEventType){
    kAudioUnitEvent_ParameterValueChange = 0, kAudioUnitEvent_BeginParameterChangeGesture = 1,
    kAudioUnitEvent_EndParameterChangeGesture = 2, kAudioUnitEvent_PropertyChange = 3};

typedef struct AudioUnitEvent {
  AudioUnitEventType mEventType;
  union {
    AudioUnitParameter mParameter;
    AudioUnitProperty mProperty;
  } mArgument;
} AudioUnitEvent;

typedef void (*AUParameterListenerProc)(void *inUserData, void *inObject,
                                        const AudioUnitParameter *inParameter,
                                        AudioUnitParameterValue inValue);
/* `inEventHostTime` in mach_absolute_time ticks. */
typedef void (*AUEventListenerProc)(void *inUserData, void *inObject, const AudioUnitEvent *inEvent,
                                    UInt64 inEventHostTime,
                                    AudioUnitParameterValue inParameterValue);
#if defined(__BLOCKS__)
typedef void (^AUEventListenerBlock)(void *inObject, const AudioUnitEvent *inEvent,
                                     UInt64 inEventHostTime,
                                     AudioUnitParameterValue inParameterValue);
#endif

/// Makes a listener for parameter values.
///
/// `inNotificationInterval`, in seconds, is the least time between two calls: changes in between
/// collapse to the last one of each parameter, delivered on the run loop (NULL: the current
/// thread's) in the mode (NULL: the default mode). 0: called at once, on the changing thread.
/// Errors: kAudio_ParamError.
OSStatus AUListenerCreate(AUParameterListenerProc inProc, void *inUserData, CFRunLoopRef inRunLoop,
                          CFStringRef inRunLoopMode, Float32 inNotificationInterval,
                          AUParameterListenerRef *outListener);

/// The same for events: values, gestures and property changes. Value changes closer than
/// `inValueChangeGranularity` seconds to the previous one collapse into it.
OSStatus AUEventListenerCreate(AUEventListenerProc inProc, void *inUserData, CFRunLoopRef inRunLoop,
                               CFStringRef inRunLoopMode, Float32 inNotificationInterval,
                               Float32 inValueChangeGranularity, AUEventListenerRef *outListener);

#if defined(__BLOCKS__)
/// The same with a block, called on a dispatch queue.
OSStatus AUEventListenerCreateWithDispatchQueue(AUEventListenerRef *outListener,
                                                Float32 inNotificationInterval,
                                                Float32 inValueChangeGranularity,
                                                dispatch_queue_t inDispatchQueue,
                                                AUEventListenerBlock inBlock);
#endif

/// Ends a listener, both kinds. No call of it begins afterwards on the disposing thread; one in
/// progress on another thread ends first.
OSStatus AUListenerDispose(AUParameterListenerRef inListener);

/// Begins and ends listening to one parameter on behalf of `inObject`, which comes back in the
/// calls.
OSStatus AUListenerAddParameter(AUParameterListenerRef inListener, void *inObject,
                                const AudioUnitParameter *inParameter);
OSStatus AUListenerRemoveParameter(AUParameterListenerRef inListener, void *inObject,
                                   const AudioUnitParameter *inParameter);

/// The same for one event. For kAudioUnitEvent_PropertyChange a property listener is added to the
/// unit.
OSStatus AUEventListenerAddEventType(AUEventListenerRef inListener, void *inObject,
                                     const AudioUnitEvent *inEvent);
OSStatus AUEventListenerRemoveEventType(AUEventListenerRef inListener, void *inObject,
                                        const AudioUnitEvent *inEvent);

/// Sets a parameter and tells all but the sender: `inSendingListener` together with
/// `inSendingObject`, or with NULL all objects of that listener. Both may be NULL.
OSStatus AUParameterSet(AUParameterListenerRef inSendingListener, void *inSendingObject,
                        const AudioUnitParameter *inParameter, AudioUnitParameterValue inValue,
                        UInt32 inBufferOffsetInFrames);

/// Tells all but the sender that a parameter has changed; its value is read from the unit.
OSStatus AUParameterListenerNotify(AUParameterListenerRef inSendingListener, void *inSendingObject,
                                   const AudioUnitParameter *inParameter);

/// Tells all but the sender of a value change or a gesture. Property changes come from the unit
/// alone: kAudio_ParamError for them.
OSStatus AUEventListenerNotify(AUEventListenerRef inSendingListener, void *inSendingObject,
                               const AudioUnitEvent *inEvent);

/// The parameter's value at a slider position in 0..1, and the position of a value, along the
/// parameter's display curve. 0 when the unit does not describe the parameter.
AudioUnitParameterValue AUParameterValueFromLinear(Float32 inLinearValue,
                                                   const AudioUnitParameter *inParameter);
Float32 AUParameterValueToLinear(AudioUnitParameterValue inParameterValue,
                                 const AudioUnitParameter *inParameter);

/// Writes a value as text of about `inDigits` significant digits into `inTextBuffer`, at least 32
/// bytes, and returns it.
char *AUParameterFormatValue(Float64 inParameterValue, const AudioUnitParameter *inParameter,
                             char *inTextBuffer, UInt32 inDigits);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
