#pragma once

#include <AudioToolbox/AudioUnitProperties.h>

namespace vesk::platform {

/// A property of units around LV2 plugins alone (manufacturer `LV2_`; another unit may have one of
/// its own under this number). Global scope, the element is a parameter, read only: a CFStringRef,
/// +1, the symbol by which the plugin's data calls the parameter, unique within the plugin.
inline constexpr AudioUnitPropertyID parameter_symbol_property = 64'103;

}  // namespace vesk::platform
