#pragma once

#include <cstdint>

namespace vesk::platform {

/// How long one wait for the parent may last: `looking_ns`, after which the waiter looks by itself;
/// a second where the parent has promised to ring whenever it asks for something or wants the host
/// to end. A pump that may last so long comes back when it has rung. Any thread.
std::uint64_t longest_wait_ns(std::uint64_t looking_ns);

}  // namespace vesk::platform
