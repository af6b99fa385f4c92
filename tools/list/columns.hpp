#pragma once

#include <string>
#include <vector>

namespace vesk::tools {

/// A name that cannot break its line.
std::string one_line(std::string text);

/// The lines of a table, without their ends. Rows have as many cells as the first.
std::vector<std::string> in_columns(const std::vector<std::vector<std::string>>& rows);

}  // namespace vesk::tools
