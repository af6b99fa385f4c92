#pragma once

#include "tools/soak/life.hpp"

namespace vesk::tools {

/// Sets the parameters to values between their limits, saves the state to a preset file, restores
/// it in another process and compares parameters and bytes; then a host plays from the file and is
/// killed, which must leave the file as it was. False when that has ended the life.
bool keep_state(Life& life);

}  // namespace vesk::tools
