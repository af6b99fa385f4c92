#pragma once

/* Output units: those that drive rendering themselves. There is none here to start or stop; unit
 * libraries ask for the methods' numbers. */

#include <AudioToolbox/AUComponent.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  kAudioOutputUnitRange = 0x0200,
  kAudioOutputUnitStartSelect = 0x0201,
  kAudioOutputUnitStopSelect = 0x0202
};

typedef OSStatus (*AudioOutputUnitStartProc)(void* self);
typedef OSStatus (*AudioOutputUnitStopProc)(void* self);

#ifdef __cplusplus
}
#endif
