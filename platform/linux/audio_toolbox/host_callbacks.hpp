#pragma once

#include <AudioToolbox/AUComponent.h>

namespace vesk::platform {

/// Tells a unit that was just opened what the parent tells its host: that rendering is offline,
/// and functions that answer where each period stands in the song. Does nothing without a record
/// of the parent's (vesk/parent_record.h). A unit that refuses is as well without.
void introduce_parent(AudioUnit unit);

}  // namespace vesk::platform
