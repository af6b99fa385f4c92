#pragma once

// What a caller of a unit has in hands: its open, close, and methods by number.

#include <AudioToolbox/AudioComponent.h>

namespace vesk::sampler {

/// The codes of the one component that plays instrument files.
AudioComponentDescription sampler_codes();

/// Makes the interface block of a unit, ready for Open; its Close frees it. Null with `*status` set
/// when there is no memory. Any thread that is not real-time.
AudioComponentPlugInInterface* make_unit(OSStatus* status);

}  // namespace vesk::sampler
