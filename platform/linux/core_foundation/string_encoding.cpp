// Between UTF-16 and the encodings that texts come and go in.

#include <cstring>

#include "platform/linux/core_foundation/string.hpp"

namespace vesk::platform::cf {

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

void append(char32_t character, std::u16string& units) {
  if (character < 0x10000) {
    units += static_cast<char16_t>(character);
  } else {
    units += static_cast<char16_t>(0xd7c0 + (character >> 10));
    units += static_cast<char16_t>(0xdc00 + (character & 0x3ff));
  }
}

bool decode_utf16(const UInt8* bytes, std::size_t count, bool is_big, std::u16string& units) {
  if (count % 2 != 0) return false;
  units.reserve(units.size() + count / 2);
  for (std::size_t i = 0; i < count; i += 2) {
    units +=
        static_cast<char16_t>(is_big ? bytes[i] << 8 | bytes[i + 1] : bytes[i + 1] << 8 | bytes[i]);
  }
  return true;
}

bool decode_utf32(const UInt8* bytes, std::size_t count, bool is_big, std::u16string& units) {
  if (count % 4 != 0) return false;
  for (std::size_t i = 0; i < count; i += 4) {
    char32_t character = 0;
    for (std::size_t k = 0; k < 4; ++k)
      character = character << 8 | bytes[i + (is_big ? k : 3 - k)];
    if (character > 0x10ffff || is_surrogate(character)) return false;
    append(character, units);
  }
  return true;
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
    append(character, units);
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
    case kCFStringEncodingWindowsLatin1:
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
    case kCFStringEncodingUTF16:
    case kCFStringEncodingUTF16BE:
    case kCFStringEncodingUTF16LE: {
      std::u16string units;
      append(character, units);
      const bool is_big = encoding == kCFStringEncodingUTF16BE ||
                          (encoding == kCFStringEncodingUTF16 && TARGET_RT_BIG_ENDIAN);
      for (std::size_t i = 0; i < units.size(); ++i) {
        put(2 * i + (is_big ? 0 : 1), static_cast<char32_t>(units[i]) >> 8);
        put(2 * i + (is_big ? 1 : 0), units[i]);
      }
      return 2 * units.size();
    }
    case kCFStringEncodingUTF32:
    case kCFStringEncodingUTF32BE:
    case kCFStringEncodingUTF32LE: {
      if (is_surrogate(character)) return 0;
      const bool is_big = encoding == kCFStringEncodingUTF32BE ||
                          (encoding == kCFStringEncodingUTF32 && TARGET_RT_BIG_ENDIAN);
      for (std::size_t i = 0; i < 4; ++i) put(is_big ? 3 - i : i, character >> (8 * i));
      return 4;
    }
    default:
      return 0;
  }
}

bool decode(const UInt8* bytes, std::size_t count, CFStringEncoding encoding,
            std::u16string& units) {
  const auto starts_with = [bytes, count](std::string_view mark) {
    return count >= mark.size() && std::memcmp(bytes, mark.data(), mark.size()) == 0;
  };
  switch (encoding) {
    case kCFStringEncodingUTF8:
      return append_utf8({reinterpret_cast<const char*>(bytes), count}, units);
    case kCFStringEncodingISOLatin1:
      units.append(bytes, bytes + count);
      return true;
    case kCFStringEncodingASCII:
    case kCFStringEncodingMacRoman:
    case kCFStringEncodingWindowsLatin1:
      for (std::size_t i = 0; i < count; ++i)
        if (bytes[i] >= 0x80) return false;
      units.append(bytes, bytes + count);
      return true;
    case kCFStringEncodingUTF16:
      if (starts_with("\xff\xfe")) return decode_utf16(bytes + 2, count - 2, false, units);
      if (starts_with("\xfe\xff")) return decode_utf16(bytes + 2, count - 2, true, units);
      return decode_utf16(bytes, count, TARGET_RT_BIG_ENDIAN, units);
    case kCFStringEncodingUTF16BE:
      return decode_utf16(bytes, count, true, units);
    case kCFStringEncodingUTF16LE:
      return decode_utf16(bytes, count, false, units);
    case kCFStringEncodingUTF32:
      if (starts_with({"\xff\xfe\0\0", 4})) return decode_utf32(bytes + 4, count - 4, false, units);
      if (starts_with({"\0\0\xfe\xff", 4})) return decode_utf32(bytes + 4, count - 4, true, units);
      return decode_utf32(bytes, count, TARGET_RT_BIG_ENDIAN, units);
    case kCFStringEncodingUTF32BE:
      return decode_utf32(bytes, count, true, units);
    case kCFStringEncodingUTF32LE:
      return decode_utf32(bytes, count, false, units);
    default:
      return false;
  }
}

bool append_utf8(const Characters& string, std::string& bytes) {
  if (string.ascii()) {
    bytes.append(string.ascii(), string.size());
    return true;
  }
  bool is_whole = true;
  for (std::size_t i = 0, units; i < string.size(); i += units) {
    UInt8 encoded[4];
    const std::size_t count = encode(code_point(string, i, units), kCFStringEncodingUTF8, encoded);
    if (count == 0) is_whole = false;
    bytes.append(encoded, encoded + count);
  }
  return is_whole;
}

std::string utf8(CFStringRef string) {
  std::string bytes;
  if (string) append_utf8(Characters(string), bytes);
  return bytes;
}

}  // namespace vesk::platform::cf
