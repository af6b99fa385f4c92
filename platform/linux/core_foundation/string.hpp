#pragma once

/// Texts: how they are stored, and reading them whoever made them.

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/linux/core_foundation/object.hpp"

namespace vesk::platform::cf {

/// The characters of any text for the length of a call: a literal's, ours, a foreign one's.
class Characters {
 public:
  explicit Characters(CFStringRef string);
  Characters(const Characters&) = delete;
  Characters& operator=(const Characters&) = delete;

  std::size_t size() const { return size_; }
  char16_t operator[](std::size_t i) const {
    return ascii_ ? static_cast<unsigned char>(ascii_[i]) : wide_[i];
  }
  /// Set, with a NUL at its end, when the text is stored as ASCII.
  const char* ascii() const { return ascii_; }
  std::u16string units() const;

 private:
  const char* ascii_ = nullptr;
  const char16_t* wide_ = u"";
  std::size_t size_ = 0;
  std::u16string copy_;  // of a foreign text
};

/// A text (+1) of UTF-16 units; stored as ASCII when it can be.
CFStringRef make_string(std::u16string_view units);
/// One that can be changed.
CFMutableStringRef make_changeable_string(std::u16string_view units);
/// A text (+1) of bytes below 0x80.
CFStringRef make_ascii_string(std::string_view text);
/// A text (+1) of UTF-8; null when it is not valid.
CFStringRef make_string_from_utf8(std::string_view text);

/// Replaces a part of a text that can be changed, foreign ones too; nothing happens when `range`
/// lies outside of it.
void replace_units(CFMutableStringRef string, CFRange range, std::u16string_view units);

/// Appends UTF-8. False, with nothing appended, when it is not valid (overlong forms, surrogates
/// and values above U+10FFFF included).
bool append_utf8(std::string_view bytes, std::u16string& units);
/// The code point at `index` and the number of its units (1 or 2); a lone surrogate as itself.
char32_t code_point(const Characters& string, std::size_t index, std::size_t& units);
/// One code point in `encoding`: the bytes and their number, 0 when it cannot be expressed.
std::size_t encode(char32_t character, CFStringEncoding encoding, UInt8 (&bytes)[4]);

}  // namespace vesk::platform::cf
