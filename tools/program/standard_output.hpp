#pragma once

#include <string>

namespace vesk::tools {

/// Writes all of `text` to a standard descriptor. False with a sentence in `error` when that could
/// not be done: a full disk behind a redirection. Bypasses the C library's buffer.
bool print(int descriptor, const std::string& text, std::string& error);

}  // namespace vesk::tools
