// Between UTF-16 and the encodings that texts come and go in.

#include "platform/linux/core_foundation/string.hpp"
#include "platform/linux/core_foundation/text_of.hpp"

namespace vesk::platform {

namespace cf {

namespace {

constexpr bool is_high(char32_t unit) {
  return unit >= 0xd800 && unit < 0xdc00;
}
constexpr bool is_low(char32_t unit) {
  return unit >= 0xdc00 && unit < 0xe000;
}
constexpr bool is_surrogate(char32_t unit) {
  return unit >= 0xd800 && unit < 0xe000;
}

}  // namespace

bool append_utf8(std::string_view bytes, std::u16string& units) {
  const std::size_t start = units.size();
  units.reserve(start + bytes.size());
  for (std::size_t i = 0; i < bytes.size();) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    if (lead < 0x80) {
      units += lead;
      ++i;
      continue;
    }
    const std::size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    bool is_valid = lead >= 0xc2 && lead <= 0xf4 && bytes.size() - i >= length;
    char32_t character = lead & (0xffu >> (length + 1));
    for (std::size_t k = 1; is_valid && k < length; ++k) {
      const auto next = static_cast<unsigned char>(bytes[i + k]);
      is_valid = (next & 0xc0) == 0x80;
      character = character << 6 | (next & 0x3f);
    }
    // Three bytes could spell what two can, four what three can: those are forgeries.
    if (!is_valid || is_surrogate(character) || character > 0x10ffff ||
        (length == 3 && character < 0x800) || (length == 4 && character < 0x10000)) {
      units.resize(start);
      return false;
    }
    if (character < 0x10000) {
      units += static_cast<char16_t>(character);
    } else {
      units += static_cast<char16_t>(0xd7c0 + (character >> 10));
      units += static_cast<char16_t>(0xdc00 + (character & 0x3ff));
    }
    i += length;
  }
  return true;
}

char32_t code_point(const Characters& string, std::size_t index, std::size_t& units) {
  const char32_t first = string[index];
  units = 1;
  if (is_high(first) && index + 1 < string.size() && is_low(string[index + 1])) {
    units = 2;
    return 0x10000 + ((first - 0xd800) << 10) + (static_cast<char32_t>(string[index + 1]) - 0xdc00);
  }
  return first;
}

std::size_t encode(char32_t character, CFStringEncoding encoding, UInt8 (&bytes)[4]) {
  const auto put = [&bytes](std::size_t i, char32_t value) {
    bytes[i] = static_cast<UInt8>(value & 0xff);
  };
  switch (encoding) {
    case kCFStringEncodingASCII:
    case kCFStringEncodingMacRoman:
    case kCFStringEncodingISOLatin1:
      if (character >= (encoding == kCFStringEncodingISOLatin1 ? 0x100u : 0x80u)) return 0;
      put(0, character);
      return 1;
    case kCFStringEncodingUTF8:
      if (character < 0x80) {
        put(0, character);
        return 1;
      }
      if (character < 0x800) {
        put(0, 0xc0 | character >> 6);
        put(1, 0x80 | (character & 0x3f));
        return 2;
      }
      if (is_surrogate(character)) return 0;
      if (character < 0x10000) {
        put(0, 0xe0 | character >> 12);
        put(1, 0x80 | (character >> 6 & 0x3f));
        put(2, 0x80 | (character & 0x3f));
        return 3;
      }
      put(0, 0xf0 | character >> 18);
      put(1, 0x80 | (character >> 12 & 0x3f));
      put(2, 0x80 | (character >> 6 & 0x3f));
      put(3, 0x80 | (character & 0x3f));
      return 4;
    default:
      return 0;
  }
}

}  // namespace cf

std::string text_of(CFStringRef string) {
  const cf::Characters characters(string);
  if (characters.ascii()) return {characters.ascii(), characters.size()};
  std::string text;
  for (std::size_t i = 0, units; i < characters.size(); i += units) {
    UInt8 bytes[4];
    text.append(bytes, bytes + cf::encode(cf::code_point(characters, i, units),
                                          kCFStringEncodingUTF8, bytes));
  }
  return text;
}

}  // namespace vesk::platform
