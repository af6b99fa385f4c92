#include "windows/title_text.hpp"

#include <cstddef>

namespace vesk::host {
namespace {

/// The length of the well-formed character at the head of `bytes`, 0 when there is none.
std::size_t character_length(std::string_view bytes) {
  const auto byte = [&](std::size_t index) {
    return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0u;
  };
  const auto continues = [&](std::size_t index) { return (byte(index) & 0xC0u) == 0x80u; };
  const unsigned lead = byte(0);
  const unsigned second = byte(1);
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return continues(1) ? 2 : 0;
  if (lead >= 0xE0 && lead <= 0xEF) {
    // Neither longer than needed nor one half of a UTF-16 pair.
    const bool in_range = (lead != 0xE0 || second >= 0xA0) && (lead != 0xED || second <= 0x9F);
    return in_range && continues(1) && continues(2) ? 3 : 0;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    const bool in_range = (lead != 0xF0 || second >= 0x90) && (lead != 0xF4 || second <= 0x8F);
    return in_range && continues(1) && continues(2) && continues(3) ? 4 : 0;
  }
  return 0;
}

}  // namespace

std::string readable_utf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const std::size_t length = character_length(bytes);
    if (length == 0)
      text += "\xEF\xBF\xBD";
    else
      text += bytes.substr(0, length);
    bytes.remove_prefix(length == 0 ? 1 : length);
  }
  return text;
}

}  // namespace vesk::host
