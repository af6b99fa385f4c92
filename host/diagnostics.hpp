#pragma once

#include <string_view>

namespace vesk::host {

/// Writes one line to standard error, in one write so that lines of several hosts on one terminal
/// do not mix. Not for the render thread.
void print_line(std::string_view line);

}  // namespace vesk::host
