// printf's conversions for CoreFoundation texts.

#include <clocale>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "platform/linux/core_foundation/string.hpp"

namespace vesk::platform::cf {

namespace {

/// One conversion: `%[position$][flags][width][.precision][length]conversion`.
struct Conversion {
  std::size_t value = 0;  ///< Index of its argument.
  bool has_width_argument = false, has_precision_argument = false;
  std::size_t width_argument = 0, precision_argument = 0;
  std::string flags, width, precision;  ///< As text; `precision` with its point.
  std::string length;
  char16_t conversion = 0;
};

struct Piece {
  std::u16string text;  ///< Goes before the conversion.
  bool has_conversion = false;
  Conversion conversion;
};

enum class Kind : std::uint8_t {
  none,
  int_,
  long_,
  long_long,
  size,
  double_,
  long_double,
  pointer
};

union Argument {
  int int_;
  long long_;
  long long long_long;
  std::size_t size;
  double double_;
  long double long_double;
  void* pointer;
};

Kind kind_of(const Conversion& conversion) {
  switch (conversion.conversion) {
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
    case 'o':
      if (conversion.length == "l") return Kind::long_;
      if (conversion.length == "ll" || conversion.length == "q" || conversion.length == "j")
        return Kind::long_long;
      return conversion.length == "z" || conversion.length == "t" ? Kind::size : Kind::int_;
    case 'c':
    case 'C':
      return Kind::int_;
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
      return conversion.length == "L" ? Kind::long_double : Kind::double_;
    default:
      return Kind::pointer;
  }
}

class FormatReader {
 public:
  explicit FormatReader(CFStringRef format) : format_(format) {}

  std::vector<Piece> read() {
    std::vector<Piece> pieces(1);
    while (at_ < format_.size()) {
      if (format_[at_] != '%') {
        pieces.back().text += format_[at_++];
        continue;
      }
      const std::size_t start = at_++;
      if (at_ < format_.size() && format_[at_] == '%') {
        pieces.back().text += format_[at_++];
        continue;
      }
      Conversion conversion;
      if (read_conversion(conversion)) {
        pieces.back().conversion = std::move(conversion);
        pieces.back().has_conversion = true;
        pieces.emplace_back();
      } else {
        // What is no conversion is text; its arguments cannot be known.
        at_ = start;
        pieces.back().text += format_[at_++];
      }
    }
    return pieces;
  }

 private:
  bool is_one_of(const char* set) const {
    return at_ < format_.size() && format_[at_] != 0 && format_[at_] < 0x80 &&
           std::strchr(set, static_cast<char>(format_[at_]));
  }
  std::string take(const char* set, std::size_t most) {
    std::string taken;
    while (taken.size() < most && is_one_of(set)) taken += static_cast<char>(format_[at_++]);
    return taken;
  }
  /// "N$" behind the percent sign or a star.
  bool take_position(std::size_t& index) {
    const std::size_t start = at_;
    const std::string digits = take("0123456789", 3);
    if (!digits.empty() && is_one_of("$") && digits != "0") {
      ++at_;
      index = static_cast<std::size_t>(std::stoul(digits)) - 1;
      return true;
    }
    at_ = start;
    return false;
  }
  std::size_t take_argument() {
    std::size_t index;
    return take_position(index) ? index : next_argument_++;
  }

  bool read_conversion(Conversion& conversion) {
    const bool has_position = take_position(conversion.value);
    conversion.flags = take("-+ #0'", 8);
    if (is_one_of("*")) {
      ++at_;
      conversion.has_width_argument = true;
      conversion.width_argument = take_argument();
    } else {
      conversion.width = take("0123456789", 4);
    }
    if (is_one_of(".")) {
      ++at_;
      conversion.precision = ".";
      if (is_one_of("*")) {
        ++at_;
        conversion.has_precision_argument = true;
        conversion.precision_argument = take_argument();
      } else {
        conversion.precision += take("0123456789", 4);
      }
    }
    conversion.length = take("hlLqjzt", 2);
    if (!is_one_of("diuxXoeEfFgGaAcCsSp@")) return false;
    conversion.conversion = format_[at_++];
    if (!has_position) conversion.value = next_argument_++;
    return true;
  }

  Characters format_;
  std::size_t at_ = 0;
  std::size_t next_argument_ = 0;
};

/// Fetches all arguments in their order, as va_arg needs it.
std::vector<Argument> fetch(const std::vector<Piece>& pieces, va_list list) {
  std::vector<Kind> kinds;
  const auto note = [&kinds](std::size_t index, Kind kind) {
    if (kinds.size() <= index) kinds.resize(index + 1, Kind::none);
    kinds[index] = kind;
  };
  for (const Piece& piece : pieces) {
    if (!piece.has_conversion) continue;
    const Conversion& conversion = piece.conversion;
    if (conversion.has_width_argument) note(conversion.width_argument, Kind::int_);
    if (conversion.has_precision_argument) note(conversion.precision_argument, Kind::int_);
    note(conversion.value, kind_of(conversion));
  }
  std::vector<Argument> arguments(kinds.size());
  va_list rest;
  va_copy(rest, list);
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    Argument& argument = arguments[i];
    switch (kinds[i]) {
      case Kind::none:  // a gap between positions; an int is what printf would assume
      case Kind::int_:
        argument.int_ = va_arg(rest, int);
        break;
      case Kind::long_:
        argument.long_ = va_arg(rest, long);
        break;
      case Kind::long_long:
        argument.long_long = va_arg(rest, long long);
        break;
      case Kind::size:
        argument.size = va_arg(rest, std::size_t);
        break;
      case Kind::double_:
        argument.double_ = va_arg(rest, double);
        break;
      case Kind::long_double:
        argument.long_double = va_arg(rest, long double);
        break;
      case Kind::pointer:
        argument.pointer = va_arg(rest, void*);
        break;
    }
  }
  va_end(rest);
  return arguments;
}

template <class Value>
std::string print(const std::string& specification, Value value) {
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wformat-nonliteral"
  const int size = std::snprintf(nullptr, 0, specification.c_str(), value);
  if (size <= 0) return {};
  std::string text(static_cast<std::size_t>(size) + 1, '\0');
  std::snprintf(text.data(), text.size(), specification.c_str(), value);
#pragma clang diagnostic pop
  text.pop_back();
  return text;
}

/// Width and precision for texts, in UTF-16 units.
std::u16string pad(std::u16string text, const std::string& flags, const std::string& width,
                   const std::string& precision) {
  if (!precision.empty()) {
    const std::size_t most = precision.size() > 1 ? std::stoul(precision.substr(1)) : 0;
    if (text.size() > most) text.resize(most);
  }
  const std::size_t least = width.empty() ? 0 : std::stoul(width);
  if (text.size() >= least) return text;
  const std::u16string blanks(least - text.size(), u' ');
  return flags.find('-') != std::string::npos ? text + blanks : blanks + text;
}

std::u16string render(const Conversion& conversion, const std::vector<Argument>& arguments) {
  std::string flags = conversion.flags, width = conversion.width, precision = conversion.precision;
  const auto bounded = [](int number) { return number > 9999 ? 9999 : number; };
  if (conversion.has_width_argument) {
    int number = bounded(arguments[conversion.width_argument].int_);
    if (number < 0) {
      flags += '-';
      number = number < -9999 ? 9999 : -number;
    }
    width = std::to_string(number);
  }
  if (conversion.has_precision_argument) {
    const int number = bounded(arguments[conversion.precision_argument].int_);
    precision = number < 0 ? "" : "." + std::to_string(number);
  }
  const Argument& argument = arguments[conversion.value];
  std::u16string text;
  switch (conversion.conversion) {
    case '@': {
      Owner<CFStringRef> description(CFCopyDescription(argument.pointer));
      append_utf8(utf8(description.get()), text);
      return pad(std::move(text), flags, width, precision);
    }
    case 's': {
      const char* bytes = argument.pointer ? static_cast<const char*>(argument.pointer) : "(null)";
      const std::size_t most = precision.empty()      ? SIZE_MAX
                               : precision.size() > 1 ? std::stoul(precision.substr(1))
                                                      : 0;
      const std::string_view part(bytes,
                                  most == SIZE_MAX ? std::strlen(bytes) : ::strnlen(bytes, most));
      if (!append_utf8(part, text)) text.assign(part.begin(), part.end());
      return pad(std::move(text), flags, width, {});
    }
    case 'S':
      if (argument.pointer) text = static_cast<const char16_t*>(argument.pointer);
      return pad(std::move(text), flags, width, precision);
    case 'C':
      return pad(std::u16string(1, static_cast<char16_t>(argument.int_)), flags, width, {});
    default:
      break;
  }
  std::string specification = "%" + flags + width + precision;
  const auto conversion_character = static_cast<char>(conversion.conversion);
  std::string printed;
  switch (kind_of(conversion)) {
    case Kind::long_:
      printed = print(specification + "l" + conversion_character, argument.long_);
      break;
    case Kind::long_long:
      printed = print(specification + "ll" + conversion_character, argument.long_long);
      break;
    case Kind::size:
      printed = print(specification + "z" + conversion_character, argument.size);
      break;
    case Kind::double_:
      printed = print(specification + conversion_character, argument.double_);
      break;
    case Kind::long_double:
      printed = print(specification + "L" + conversion_character, argument.long_double);
      break;
    case Kind::pointer:
      printed = print(specification + conversion_character, argument.pointer);
      break;
    default:
      if (conversion_character != 'c') specification += conversion.length;
      printed = print(specification + conversion_character, argument.int_);
      break;
  }
  text.assign(reinterpret_cast<const unsigned char*>(printed.data()),
              reinterpret_cast<const unsigned char*>(printed.data() + printed.size()));
  return text;
}

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

}  // namespace

std::u16string format_text(CFStringRef format, va_list list) {
  const std::vector<Piece> pieces = FormatReader(format).read();
  const std::vector<Argument> arguments = fetch(pieces, list);
  const PlainLocale locale;
  std::u16string text;
  for (const Piece& piece : pieces) {
    text += piece.text;
    if (piece.has_conversion) text += render(piece.conversion, arguments);
  }
  return text;
}

}  // namespace vesk::platform::cf
