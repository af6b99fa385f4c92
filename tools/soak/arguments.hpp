#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/soak/life.hpp"

namespace vesk::tools {

struct SoakArguments {
  SoakSettings settings;
  std::vector<std::string> wanted;  ///< specifications, or words of names
  std::string junit_path;
  int jobs = 2;
  bool all = false;
  bool no_editors = false;
  bool is_strict = false;
  bool as_json = false;
  bool as_markdown = false;
  bool quiet = false;
};

/// What `vesk-soak --help` prints.
std::string soak_help();

/// Empty with a sentence in `error`.
std::optional<SoakArguments> parse_soak_arguments(const std::vector<std::string>& words,
                                                  std::string& error);

}  // namespace vesk::tools
