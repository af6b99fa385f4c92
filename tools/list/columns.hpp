#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vesk::tools {

/// Characters, not bytes: names may hold accents.
std::size_t width(const std::string& text);

/// `text` in exactly `columns` characters, two or more: filled up with blanks, or with an ellipsis
/// in the place of what is too much. The last `kept` characters are not cut: names differ there.
std::string in_columns(const std::string& text, std::size_t columns, std::size_t kept = 0);

/// The lines of a table, without their ends. Rows have as many cells as the first.
std::vector<std::string> table_lines(const std::vector<std::vector<std::string>>& rows);

/// A text that cannot break its line or its column.
std::string one_line(std::string text);

/// Columns of the terminal behind a descriptor; 0 when it is none.
std::size_t terminal_columns(int descriptor);

}  // namespace vesk::tools
