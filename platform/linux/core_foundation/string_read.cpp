// Reading texts: characters, bytes, numbers, order.

#include <algorithm>
#include <charconv>
#include <cstring>

#include "platform/linux/core_foundation/string.hpp"

using namespace vesk::platform::cf;

namespace {

bool is_within(CFRange range, CFIndex length) {
  return range.location >= 0 && range.length >= 0 && range.location <= length &&
         range.length <= length - range.location;
}

char16_t fold(char16_t unit) {
  return unit >= 'A' && unit <= 'Z' ? static_cast<char16_t>(unit + ('a' - 'A')) : unit;
}

/// The ASCII start of a text without leading blanks and plus sign, as from_chars wants it.
std::string number_text(CFStringRef ref) {
  const Characters characters(ref);
  std::string text;
  for (std::size_t i = 0; i < characters.size() && characters[i] < 0x80; ++i)
    text += static_cast<char>(characters[i]);
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  text.erase(0, start == std::string::npos ? text.size() : start);
  if (text.starts_with('+')) text.erase(0, 1);
  return text;
}

}  // namespace

CFIndex CFStringGetLength(CFStringRef ref) {
  if (auto* table = foreign(ref)) return table->string_length(ref);
  return static_cast<CFIndex>(Characters(ref).size());
}

UniChar CFStringGetCharacterAtIndex(CFStringRef ref, CFIndex index) {
  UniChar unit = 0;
  CFStringGetCharacters(ref, CFRangeMake(index, 1), &unit);
  return unit;
}

void CFStringGetCharacters(CFStringRef ref, CFRange range, UniChar* units) {
  if (!units || !is_within(range, CFStringGetLength(ref))) return;
  if (auto* table = foreign(ref)) return table->string_get_characters(ref, range, units);
  const Characters characters(ref);
  for (CFIndex i = 0; i < range.length; ++i)
    units[i] = characters[static_cast<std::size_t>(range.location + i)];
}

const char* CFStringGetCStringPtr(CFStringRef ref, CFStringEncoding) {
  // Every encoding that there is has ASCII in it.
  if (foreign(ref)) return nullptr;
  const Characters characters(ref);
  const char* text = characters.ascii();
  return text && !std::memchr(text, 0, characters.size()) ? text : nullptr;
}

Boolean CFStringGetCString(CFStringRef ref, char* buffer, CFIndex size, CFStringEncoding encoding) {
  if (!ref || !buffer || size <= 0) return false;
  const CFIndex length = CFStringGetLength(ref);
  CFIndex used = 0;
  if (CFStringGetBytes(ref, CFRangeMake(0, length), encoding, 0, false,
                       reinterpret_cast<UInt8*>(buffer), size, &used) != length ||
      used >= size) {
    return false;
  }
  buffer[used] = '\0';
  return true;
}

CFIndex CFStringGetBytes(CFStringRef ref, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                         Boolean, UInt8* buffer, CFIndex size, CFIndex* used) {
  const Characters characters(ref);
  CFIndex written = 0;
  if (used) *used = 0;
  if (!is_within(range, static_cast<CFIndex>(characters.size()))) return 0;
  const auto end = static_cast<std::size_t>(range.location + range.length);
  auto i = static_cast<std::size_t>(range.location);
  while (i < end) {
    std::size_t units;
    UInt8 bytes[4];
    auto count = static_cast<CFIndex>(encode(code_point(characters, i, units), encoding, bytes));
    if (count == 0 && lossByte != 0) {
      bytes[0] = lossByte;
      count = 1;
    }
    if (count == 0 || (buffer && size - written < count)) break;
    if (buffer) std::copy_n(bytes, count, buffer + written);
    written += count;
    i += units;
  }
  if (used) *used = written;
  return static_cast<CFIndex>(i) - range.location;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex units, CFStringEncoding encoding) {
  return encoding == kCFStringEncodingUTF8 ? 3 * units : units;
}

SInt32 CFStringGetIntValue(CFStringRef ref) {
  const std::string text = number_text(ref);
  SInt32 value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc::result_out_of_range) return value;
  return text.starts_with('-') ? INT32_MIN : INT32_MAX;
}

double CFStringGetDoubleValue(CFStringRef ref) {
  const std::string text = number_text(ref);
  double value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

CFComparisonResult CFStringCompare(CFStringRef first_ref, CFStringRef second_ref,
                                   CFStringCompareFlags flags) {
  const Characters first(first_ref), second(second_ref);
  const std::size_t count = std::min(first.size(), second.size());
  for (std::size_t i = 0; i < count; ++i) {
    char16_t a = first[i], b = second[i];
    if (flags & kCFCompareCaseInsensitive) {
      a = fold(a);
      b = fold(b);
    }
    if (a != b) return a < b ? kCFCompareLessThan : kCFCompareGreaterThan;
  }
  if (first.size() == second.size()) return kCFCompareEqualTo;
  return first.size() < second.size() ? kCFCompareLessThan : kCFCompareGreaterThan;
}
