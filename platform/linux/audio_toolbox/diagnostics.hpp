#pragma once

#include <string>

namespace vesk::platform {

/// Writes "plugin host: ", `message` and a newline to standard error in one write. Any thread but
/// the render thread.
void print_line(const std::string& message);

}  // namespace vesk::platform
