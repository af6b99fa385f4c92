#pragma once

#include "platform/linux/core_foundation/object.hpp"

namespace vesk::platform {

/// Makes CoreFoundation's objects and Foundation's one world: those that exist and those to come
/// can be cast to the other side and used there, whichever made them. Once, on the main thread.
void join_foundation();

/// What CoreFoundation's calls do with an object of Foundation's.
extern const CFForeignObjects foundation_objects;

}  // namespace vesk::platform
