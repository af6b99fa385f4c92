#pragma once

/* Audio components: finding them, making instances, and what a component's code provides. */

#include <CoreAudioTypes/CoreAudioBaseTypes.h>
#include <CoreFoundation/CoreFoundation.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* A component of the registry. Lives as long as the process; never retained or released. */
typedef struct OpaqueAudioComponent *AudioComponent;
/* One running instance of a component, owned by whoever made it. */
typedef struct ComponentInstanceRecord *AudioComponentInstance;

CA_OPTIONS(AudioComponentFlags){
    /* Found only by a search that gives all three codes. */
    kAudioComponentFlag_Unsearchable = 1, kAudioComponentFlag_SandboxSafe = 2,
    kAudioComponentFlag_IsV3AudioUnit = 4,
    /* Instances come from AudioComponentInstantiate only, after it has returned. */
    kAudioComponentFlag_RequiresAsyncInstantiation = 8, kAudioComponentFlag_CanLoadInProcess = 16};

/* Requests; the default (in this process) may be used instead. */
CA_OPTIONS(AudioComponentInstantiationOptions){
    kAudioComponentInstantiation_LoadOutOfProcess = 1,
    kAudioComponentInstantiation_LoadInProcess = 2,
    kAudioComponentInstantiation_LoadedRemotely = 0x80000000u};

CA_VALUES(OSStatus){kAudioComponentErr_InstanceTimedOut = -66754,
                    kAudioComponentErr_InstanceInvalidated = -66749,
                    kAudioComponentErr_NotPermitted = -66748};

/* In a search, 0 in a code stands for any; flags and mask are 0 unless a flag is wanted. */
typedef struct AudioComponentDescription {
  OSType componentType;
  OSType componentSubType;
  OSType componentManufacturer;
  UInt32 componentFlags;
  UInt32 componentFlagsMask;
} AudioComponentDescription;

/* A method of a component in the general form: cast it to its exact prototype before the call. */
typedef OSStatus (*AudioComponentMethod)(void *self, ...);

/* What a factory returns: three functions, which the plug-in's own data may follow. `self` is the
 * address of this very block. Close frees it; a failed Open must have done so, or keeps it. */
typedef struct AudioComponentPlugInInterface {
  OSStatus (*Open)(void *self, AudioComponentInstance mInstance);
  OSStatus (*Close)(void *self);
  /* The method for a selector (kAudioUnit...Select), or NULL. */
  AudioComponentMethod (*Lookup)(SInt16 selector);
  void *reserved; /* NULL */
} AudioComponentPlugInInterface;

typedef AudioComponentPlugInInterface *(*AudioComponentFactoryFunction)(
    const AudioComponentDescription *inDesc);

/// The next component that matches `inDesc`, from the start when `inComponent` is NULL.
///
/// NULL at the end. The order stays the same for the life of the process: components registered
/// in it, bundles, then plugins of other kinds. Any thread; not real-time safe (the first call
/// reads the component folders).
AudioComponent AudioComponentFindNext(AudioComponent inComponent,
                                      const AudioComponentDescription *inDesc);

/// The component's name, by convention "Maker: Name"; the caller releases it.
/// Errors: kAudio_ParamError for a NULL argument.
OSStatus AudioComponentCopyName(AudioComponent inComponent, CFStringRef *outName);

/// Codes and flags of a component, with the mask 0. Errors: kAudio_ParamError.
OSStatus AudioComponentGetDescription(AudioComponent inComponent,
                                      AudioComponentDescription *outDesc);

/// The component's version, 0xMMMMmmbb. Errors: kAudio_ParamError.
OSStatus AudioComponentGetVersion(AudioComponent inComponent, UInt32 *outVersion);

/// Loads the component's code if need be and opens an instance, before it returns.
///
/// Errors: -1 the factory function is missing, -3000 the code cannot be loaded, kAudio_ParamError,
/// kAudioComponentErr_NotPermitted for a component that wants asynchronous instantiation; else the
/// status of the component's own Open. `*outInstance` is NULL on error. Any thread but the render
/// thread.
OSStatus AudioComponentInstanceNew(AudioComponent inComponent, AudioComponentInstance *outInstance);

#if defined(__BLOCKS__)
/// Opens an instance and hands it to `inCompletionHandler`, NULL with a status when it failed.
///
/// The handler is called before this returns, on the calling thread, except for components
/// flagged RequiresAsyncInstantiation, which open and call it later on a thread of their own.
void AudioComponentInstantiate(AudioComponent inComponent,
                               AudioComponentInstantiationOptions inOptions,
                               void (^inCompletionHandler)(AudioComponentInstance instance,
                                                           OSStatus status));
#endif

/// Closes an instance. Nothing may be using it. Returns the status of the component's Close.
OSStatus AudioComponentInstanceDispose(AudioComponentInstance inInstance);

/// The component of an instance, also inside its Open; NULL for NULL.
AudioComponent AudioComponentInstanceGetComponent(AudioComponentInstance inInstance);

/// Adds a component to this process's registry, ahead of those found on disk.
///
/// NULL when the description or the factory is NULL or a code is 0. `inName` may be NULL.
AudioComponent AudioComponentRegister(const AudioComponentDescription *inDesc, CFStringRef inName,
                                      UInt32 inVersion, AudioComponentFactoryFunction inFactory);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
