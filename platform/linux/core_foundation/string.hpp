#pragma once

/// Texts: how they are stored, and reading them whoever made them.

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/linux/core_foundation/object.hpp"

namespace vesk::platform::cf {

/// A text that does not change holds ASCII bytes with a NUL, or UTF-16 units, behind its header
/// (constants elsewhere). One that can be changed holds UTF-16 units in a buffer of its own, which
/// its type's `destroy` frees: a destructor would make the constants end with the program.
struct String : Object {
  static constexpr Type type_of = Type::string;

  /// A constant: `text` is ASCII and outlives everything.
  constexpr String(const char* text, std::size_t length_)
      : Object(type_of, constant), ascii(text), length(length_) {}
  String(std::uint16_t flags_, std::size_t length_) : Object(type_of, flags_), length(length_) {}

  const char* ascii = nullptr;  ///< One of these three is set.
  const char16_t* wide = nullptr;
  std::u16string* text = nullptr;
  std::size_t length;                       ///< Of the first two.
  mutable std::atomic<CFHashCode> hash{0};  ///< 0: not taken yet. Never kept for `text`.
};

/// The characters of any text for the length of a call.
class Characters {
 public:
  explicit Characters(CFStringRef string);
  Characters(const Characters&) = delete;
  Characters& operator=(const Characters&) = delete;

  std::size_t size() const { return size_; }
  char16_t operator[](std::size_t i) const {
    return ascii_ ? static_cast<unsigned char>(ascii_[i]) : wide_[i];
  }
  /// Set when the text is stored as ASCII.
  const char* ascii() const { return ascii_; }
  const char16_t* wide() const { return wide_; }

 private:
  const char* ascii_ = nullptr;
  const char16_t* wide_ = u"";
  std::size_t size_ = 0;
  std::u16string copy_;  // of a foreign text
};

/// A text (+1) of UTF-16 units; stored as ASCII when it can be.
CFStringRef make_string(std::u16string_view units, bool is_changeable = false);
/// A text (+1) of bytes below 0x80.
CFStringRef make_ascii_string(std::string_view text);
/// A text (+1) of UTF-8; null when it is not valid.
CFStringRef make_string_from_utf8(std::string_view text, bool is_changeable = false);

/// Appends UTF-8. False, with nothing appended, when it is not valid (overlong forms, surrogates
/// and values above U+10FFFF included).
bool append_utf8(std::string_view bytes, std::u16string& units);
/// Appends `string` as UTF-8. False when it has a surrogate without its other half; that one is
/// left out.
bool append_utf8(const Characters& string, std::string& bytes);
/// The text as UTF-8, lone surrogates left out; empty for null.
std::string utf8(CFStringRef string);

/// Bytes of `encoding` as UTF-16. False when they are not valid or the encoding is unknown.
bool decode(const UInt8* bytes, std::size_t count, CFStringEncoding encoding,
            std::u16string& units);
/// One code point in `encoding`: the bytes and their number, 0 when it cannot be expressed.
std::size_t encode(char32_t character, CFStringEncoding encoding, UInt8 (&bytes)[4]);
/// The code point at `index` and the number of its units (1 or 2); a lone surrogate as itself.
char32_t code_point(const Characters& string, std::size_t index, std::size_t& units);

/// printf with `%@`, see CFStringCreateWithFormat.
std::u16string format_text(CFStringRef format, va_list arguments);

}  // namespace vesk::platform::cf
