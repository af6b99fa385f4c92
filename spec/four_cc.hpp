#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vesk {

/// Packs a four-character code, the first byte most significant. `text` holds exactly four bytes,
/// taken as they stand.
constexpr std::uint32_t pack_four_cc(std::string_view text) {
  std::uint32_t code = 0;
  for (const char byte : text) code = code << 8 | static_cast<unsigned char>(byte);
  return code;
}

/// Prints a four-character code as its four bytes, zero and non-printable ones included: the
/// inverse of `pack_four_cc`. The result always has length 4.
std::string four_cc(std::uint32_t code);

}  // namespace vesk
