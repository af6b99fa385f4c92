#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vesk::tools {

/// What a command line of vesk-list asks for.
struct ListArguments {
  std::string parameters_of;  ///< specification text; empty: list the components
  std::string instrument;     ///< path of a sampler instrument; empty: none
  bool shows_problems = false;
  bool rescans = false;
  bool as_json = false;
};

/// Reads the arguments after the program's name; empty with a sentence in `error`.
std::optional<ListArguments> parse_list_arguments(const std::vector<std::string>& words,
                                                  std::string& error);

/// The text of `vesk-list --help`.
extern const char* const list_help;

}  // namespace vesk::tools
