#pragma once

#include "tools/soak/life.hpp"

namespace vesk::tools {

/// Opens the component's editor (its own or the panel), plays for a moment and closes it. False
/// when that has ended the life.
bool open_editor(Life& life);

}  // namespace vesk::tools
