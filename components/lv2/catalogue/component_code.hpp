#pragma once

// From plugin URIs to four-character subtypes.
//
// Each URI has a primary code and an alternate, both functions of the URI alone, so that a text
// saved on one machine names the same plugin on another. Where two installed plugins share a
// primary code, the one with the smaller URI shows it and the other shows its alternate; a look-up
// tries primaries first. Nothing depends on the order of installation.

#include <cstdint>
#include <string>
#include <string_view>

namespace vesk::lv2 {

/// FNV-1a, 32 bits, of the UTF-8 bytes (offset 0x811c9dc5, prime 0x01000193).
std::uint32_t fnv1a_32(std::string_view text);

/// Four digits of base 62 (0-9A-Za-z) of the hash, least significant digit first, packed with the
/// first character in the most significant byte.
std::uint32_t primary_code(std::string_view uri);
std::uint32_t alternate_code(std::string_view uri);

/// False for codes that no plugin can have.
bool is_component_code(std::uint32_t code);

/// The code's four characters.
std::string code_text(std::uint32_t code);

/// The code of a text of four digits of base 62; 0 for anything else.
std::uint32_t code_from_text(std::string_view text);

}  // namespace vesk::lv2
