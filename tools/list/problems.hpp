#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vesk::tools {

/// Something that is installed and that no listing shows.
struct Problem {
  std::string what;    ///< a plugin's URI or codes, or a bundle's path; empty: the reason has it
  std::string name;    ///< of a plugin; empty for none
  std::string reason;  ///< why not
};

/// Asks the scanner of LV2 plugins and the platform, which may read everything that is installed
/// and opens every library of LV2 plugins. Empty with a sentence in `error` when the scanner gave
/// no answer.
std::optional<std::vector<Problem>> find_problems(std::string& error);

/// Has the scanner forget what it knows of LV2 plugins and read everything anew. On a terminal it
/// shows how far it is. False with a sentence in `error`.
bool rescan(std::string& error);

/// By reason, the most frequent first: how many have it, then a line each. And as a JSON array of
/// objects: what, name, reason.
std::string problems_text(const std::vector<Problem>& problems);
std::string problems_json(const std::vector<Problem>& problems);

}  // namespace vesk::tools
