#include "components/lv2/catalogue/component_code.hpp"

namespace vesk::lv2 {
namespace {

constexpr std::string_view digits =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
static_assert(digits.size() == 62);

// Must never change: specification texts hold the codes that come of it.
constexpr std::string_view alternate_suffix = "#2";

std::uint32_t code_of_hash(std::uint32_t hash) {
  std::uint32_t code = 0;
  for (int i = 0; i < 4; ++i) {
    code = code << 8 | static_cast<unsigned char>(digits[hash % digits.size()]);
    hash /= static_cast<std::uint32_t>(digits.size());
  }
  return code;
}

}  // namespace

std::uint32_t fnv1a_32(std::string_view text) {
  std::uint32_t hash = 0x811c9dc5u;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x01000193u;
  return hash;
}

std::uint32_t primary_code(std::string_view uri) {
  return code_of_hash(fnv1a_32(uri));
}

std::uint32_t alternate_code(std::string_view uri) {
  return code_of_hash(fnv1a_32(std::string(uri).append(alternate_suffix)));
}

bool is_component_code(std::uint32_t code) {
  return code_from_text(code_text(code)) != 0;
}

std::string code_text(std::uint32_t code) {
  return {static_cast<char>(code >> 24), static_cast<char>(code >> 16),
          static_cast<char>(code >> 8), static_cast<char>(code)};
}

std::uint32_t code_from_text(std::string_view text) {
  if (text.size() != 4) return 0;
  std::uint32_t code = 0;
  for (const char c : text) {
    if (digits.find(c) == std::string_view::npos) return 0;
    code = code << 8 | static_cast<unsigned char>(c);
  }
  return code;
}

}  // namespace vesk::lv2
