#include "tools/list/columns.hpp"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace vesk::tools {
namespace {

bool begins_character(char c) {
  return (c & 0xC0) != 0x80;
}

}  // namespace

std::size_t width(const std::string& text) {
  return static_cast<std::size_t>(std::ranges::count_if(text, begins_character));
}

std::string in_columns(const std::string& text, std::size_t columns, std::size_t kept) {
  const std::size_t has = width(text);
  if (has <= columns) return text + std::string(columns - has, ' ');
  const std::size_t end = std::min(kept, columns - 1), start = columns - 1 - end;
  std::string result;
  std::size_t begun = 0;
  for (const char c : text) {
    if (begins_character(c) && ++begun == start + 1) result += "\u2026";
    if (begun <= start || begun > has - end) result += c;
  }
  return result;
}

std::vector<std::string> table_lines(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths(rows.empty() ? 0 : rows.front().size());
  for (const auto& row : rows)
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], width(row[i]));
  std::vector<std::string> lines;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i)
      line += row[i] + std::string(widths[i] - width(row[i]) + 2, ' ');
    line.erase(line.find_last_not_of(' ') + 1);
    lines.push_back(std::move(line));
  }
  return lines;
}

std::string one_line(std::string text) {
  std::ranges::replace_if(text, [](unsigned char c) { return c < 0x20 || c == 0x7F; }, ' ');
  return text;
}

std::size_t terminal_columns(int descriptor) {
  if (isatty(descriptor) == 0) return 0;
  constexpr std::size_t usual = 80;
  winsize size{};
  return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual;
}

}  // namespace vesk::tools
