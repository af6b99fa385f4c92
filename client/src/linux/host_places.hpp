#pragma once

#include <vesk/parent_record.h>
#include <vesk/workgroup_record.h>

namespace vesk::client {

/// What a host finds as its descriptors from 3 on; it gets no others of ours.
inline constexpr int last_place = VESK_BELL_DESCRIPTOR;
static_assert(VESK_WORKGROUP_DESCRIPTOR < last_place && VESK_PARENT_DESCRIPTOR < last_place);

/// `descriptor`, or in its stead a copy above those places, so that putting one there never
/// overwrites another. -1 with `errno`, also for -1.
int above_places(int descriptor) noexcept;

}  // namespace vesk::client
