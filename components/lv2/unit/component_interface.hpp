#pragma once

// What a caller of a unit has in hands: its open, close, and methods by number.

#include <AudioToolbox/AudioComponent.h>

#include <memory>

#include "components/lv2/catalogue/description.hpp"

namespace vesk::lv2 {

/// Makes the interface block of a unit that will run the plugin of `description`, ready for Open;
/// its Close frees it. Null with `*status` set when it cannot be had. Opens no library yet.
/// Any thread that is not real-time.
AudioComponentPlugInInterface* make_unit(std::shared_ptr<const Description> description,
                                         OSStatus* status);

}  // namespace vesk::lv2
