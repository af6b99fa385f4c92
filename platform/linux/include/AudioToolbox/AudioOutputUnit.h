#pragma once

/* Output units: those that drive rendering themselves. */

#include <AudioToolbox/AUComponent.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/// Starts, stops the unit's own rendering. Errors as for the calls of AUComponent.h.
OSStatus AudioOutputUnitStart(AudioUnit ci);
OSStatus AudioOutputUnitStop(AudioUnit ci);

enum {
  kAudioOutputUnitRange = 0x0200,
  kAudioOutputUnitStartSelect = 0x0201,
  kAudioOutputUnitStopSelect = 0x0202
};

typedef OSStatus (*AudioOutputUnitStartProc)(void* self);
typedef OSStatus (*AudioOutputUnitStopProc)(void* self);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
