// printf's conversions for CoreFoundation texts.

#include <algorithm>
#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/linux/core_foundation/string.hpp"

namespace vesk::platform::cf {

namespace {

/// One conversion: `%[flags][width][.precision][length]conversion`.
struct Conversion {
  std::string flags;
  int width = 0;
  int precision = -1;  ///< -1 when there is none.
  std::string length;
  char kind = 0;
};

constexpr int widest = 9999;

class Formatter {
 public:
  Formatter(CFStringRef format, va_list arguments) : format_(format) {
    va_copy(arguments_, arguments);
  }
  Formatter(const Formatter&) = delete;
  Formatter& operator=(const Formatter&) = delete;
  ~Formatter() { va_end(arguments_); }

  std::u16string write() {
    while (at_ < format_.size()) {
      const std::size_t start = at_++;
      if (format_[start] == '%') {
        Conversion conversion;
        if (take("%", 1) == "%") {
          text_ += u'%';
          continue;
        }
        if (read(conversion)) {
          convert(conversion);
          continue;
        }
        // What is no conversion is text.
        at_ = start + 1;
      }
      text_ += format_[start];
    }
    return std::move(text_);
  }

 private:
  /// The characters of `set` that stand next, `most` of them at most.
  std::string take(std::string_view set, std::size_t most) {
    std::string taken;
    while (taken.size() < most && at_ < format_.size() && format_[at_] < 0x80 &&
           set.find(static_cast<char>(format_[at_])) != set.npos) {
      taken += static_cast<char>(format_[at_++]);
    }
    return taken;
  }

  /// A number in the format, or the next argument in place of a star.
  int take_number() {
    if (!take("*", 1).empty()) return std::clamp(va_arg(arguments_, int), -widest, widest);
    const std::string digits = take("0123456789", 4);
    return digits.empty() ? 0 : std::stoi(digits);
  }

  bool read(Conversion& conversion) {
    conversion.flags = take("-+ #0'", 8);
    conversion.width = take_number();
    if (conversion.width < 0) {
      conversion.flags += '-';
      conversion.width = -conversion.width;
    }
    if (!take(".", 1).empty()) conversion.precision = std::max(take_number(), -1);
    conversion.length = take("hlLqjzt", 2);
    const std::string kind = take("diuxXoeEfFgGaAcCsp@", 1);
    if (!kind.empty()) conversion.kind = kind[0];
    return !kind.empty();
  }

  void convert(const Conversion& conversion) {
    const std::string& length = conversion.length;
    switch (conversion.kind) {
      case '@': {
        const Owner<CFStringRef> description(copy_description(va_arg(arguments_, void*)));
        std::u16string text = Characters(description.get()).units();
        if (conversion.precision >= 0)
          text.resize(std::min(text.size(), static_cast<std::size_t>(conversion.precision)));
        return pad(text, conversion);
      }
      case 's': {
        const char* bytes = va_arg(arguments_, const char*);
        if (!bytes) bytes = "(null)";
        const std::string_view part(
            bytes, conversion.precision < 0
                       ? std::strlen(bytes)
                       : ::strnlen(bytes, static_cast<std::size_t>(conversion.precision)));
        std::u16string text;
        if (!append_utf8(part, text)) text.assign(part.begin(), part.end());
        return pad(text, conversion);
      }
      case 'C':
        return pad(std::u16string(1, static_cast<char16_t>(va_arg(arguments_, int))), conversion);
      case 'p':
        return print(conversion, "", va_arg(arguments_, void*));
      case 'c':
        return print(conversion, "", va_arg(arguments_, int));
      case 'd':
      case 'i':
      case 'u':
      case 'x':
      case 'X':
      case 'o':
        // Of the lengths, all but int's own are 64 bits.
        if (!length.empty() && length[0] != 'h')
          return print(conversion, "ll", va_arg(arguments_, long long));
        return print(conversion, length, va_arg(arguments_, int));
      default:
        if (length == "L") return print(conversion, length, va_arg(arguments_, long double));
        return print(conversion, "", va_arg(arguments_, double));
    }
  }

  template <class Value>
  void print(const Conversion& conversion, const std::string& length, Value value) {
    std::string specification = "%" + conversion.flags;
    if (conversion.width > 0) specification += std::to_string(conversion.width);
    if (conversion.precision >= 0) specification += "." + std::to_string(conversion.precision);
    specification += length + conversion.kind;
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wformat-nonliteral"
    const int size = std::snprintf(nullptr, 0, specification.c_str(), value);
    if (size <= 0) return;
    std::string printed(static_cast<std::size_t>(size) + 1, '\0');
    std::snprintf(printed.data(), printed.size(), specification.c_str(), value);
#pragma clang diagnostic pop
    printed.pop_back();
    for (const char c : printed) text_ += static_cast<unsigned char>(c);
  }

  /// Width for texts, in UTF-16 units.
  void pad(const std::u16string& text, const Conversion& conversion) {
    const auto least = static_cast<std::size_t>(conversion.width);
    const std::u16string blanks(least > text.size() ? least - text.size() : 0, u' ');
    const bool is_left = conversion.flags.find('-') != std::string::npos;
    text_ += is_left ? text + blanks : blanks + text;
  }

  const Characters format_;
  va_list arguments_;
  std::size_t at_ = 0;
  std::u16string text_;
};

/// Holds the calling thread to the C locale, in which the decimal sign is a point.
class PlainLocale {
 public:
  PlainLocale() : previous_(uselocale(plain())) {}
  ~PlainLocale() { uselocale(previous_); }

 private:
  static locale_t plain() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
  }
  locale_t previous_;
};

std::u16string format_text(CFStringRef format, va_list arguments) {
  const PlainLocale locale;
  return Formatter(format, arguments).write();
}

}  // namespace

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

CFStringRef CFStringCreateWithFormat(CFAllocatorRef, CFDictionaryRef, CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::u16string text = format_text(format, arguments);
  va_end(arguments);
  return make_string(text);
}

void CFStringAppendFormat(CFMutableStringRef ref, CFDictionaryRef, CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::u16string text = format_text(format, arguments);
  va_end(arguments);
  replace_units(ref, CFRangeMake(CFStringGetLength(ref), 0), text);
}
