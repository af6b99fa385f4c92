#pragma once

#include "platform/linux/audio_toolbox/component_instance.hpp"

namespace vesk::platform {

/// Whether the unit, which has just been opened, says that it knows one channel only. Units of that
/// kind refuse the stereo that every chain is.
bool is_mono(const ComponentInstanceRecord& unit);

/// Puts a stereo unit in the place of the mono one in `unit`: an effect runs twice, once for each
/// channel, an instrument's one channel sounds on both. When the second cannot be had the first is
/// closed as well. Not real-time.
OSStatus make_stereo(ComponentInstanceRecord& unit);

}  // namespace vesk::platform
