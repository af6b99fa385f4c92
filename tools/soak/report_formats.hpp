#pragma once

#include <string>
#include <vector>

#include "tools/soak/result.hpp"

namespace vesk::tools {

/// A table for people: a row a component, below it what was remarked, and the totals.
std::string soak_text(const std::vector<SoakResult>& results, bool is_strict);

/// An object with `passed` (whether all have), `totals` and `components`.
std::string soak_json(const std::vector<SoakResult>& results, bool is_strict);

/// A JUnit file: a test case a component; the remarks of those that pass are its output.
std::string soak_junit(const std::vector<SoakResult>& results, bool is_strict);

/// Markdown: the totals, a table with a row a component, and what was remarked.
std::string soak_markdown(const std::vector<SoakResult>& results, bool is_strict);

}  // namespace vesk::tools
