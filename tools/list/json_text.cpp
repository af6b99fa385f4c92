#include "tools/list/json_text.hpp"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace vesk::tools {
namespace {

/// Length of the UTF-8 character at the start of `text`, or 0 when there is none.
std::size_t character_length(std::string_view text) {
  const auto byte = [text](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  const std::uint8_t first = byte(0);
  const std::size_t length = first < 0x80   ? 1
                             : first < 0xC2 ? 0
                             : first < 0xE0 ? 2
                             : first < 0xF0 ? 3
                             : first < 0xF5 ? 4
                                            : 0;
  if (length == 0 || length > text.size()) return 0;
  for (std::size_t i = 1; i < length; ++i)
    if ((byte(i) & 0xC0) != 0x80) return 0;
  // Overlong forms, surrogates and what lies beyond U+10FFFF.
  if (length > 2) {
    const std::uint8_t second = byte(1);
    if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second >= 0xA0) ||
        (first == 0xF0 && second < 0x90) || (first == 0xF4 && second >= 0x90)) {
      return 0;
    }
  }
  return length;
}

}  // namespace

std::string json_string(std::string_view text) {
  std::string out = "\"";
  while (!text.empty()) {
    const std::size_t length = character_length(text);
    const char first = text.front();
    if (length == 0) {
      out += "\uFFFD";
    } else if (first == '"' || first == '\\') {
      out += '\\';
      out += first;
    } else if (static_cast<unsigned char>(first) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(first));
      out += escape;
    } else {
      out += text.substr(0, length);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return out + '"';
}

std::string json_number(float value) {
  if (!std::isfinite(value)) return "null";
  char digits[32];
  const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  return {digits, end};
}

}  // namespace vesk::tools
