#pragma once

#include <AudioToolbox/AUComponent.h>

namespace vesk::platform {

/// Ends every registration of a unit that is about to be closed: listeners may outlive it.
void forget_unit(AudioUnit unit);

}  // namespace vesk::platform
