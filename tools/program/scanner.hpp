#pragma once

#include <optional>
#include <string>

namespace vesk::tools {

/// Runs the scanner of LV2 plugins with one option and gives what it prints. Its progress goes to
/// this process's standard error. Empty with a sentence in `error` when it does not end well.
std::optional<std::string> ask_scanner(const std::string& question, std::string& error);

}  // namespace vesk::tools
