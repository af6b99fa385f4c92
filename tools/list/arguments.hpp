#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vesk::tools {

/// What a command line of vesk-list asks for.
struct ListArguments {
  std::vector<std::string> words;     ///< that a plugin must hold
  std::uint32_t type = 0;             ///< that it must have; 0: any
  std::string parameters_of;          ///< the plugin to describe; empty: none
  std::string presets_of;             ///< the plugin whose presets to show; empty: none
  std::string instrument;             ///< path of a sampler instrument; empty: none
  std::string resolved;               ///< the chain to put into specification texts; empty: none
  std::vector<std::string> settings;  ///< of that chain
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
