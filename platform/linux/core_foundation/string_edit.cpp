// Comparing and searching texts, and texts that change.

#include <algorithm>

#include "platform/linux/core_foundation/string.hpp"

using namespace vesk::platform::cf;

namespace {

char16_t fold(char16_t unit) {
  return unit >= 'A' && unit <= 'Z' ? static_cast<char16_t>(unit + ('a' - 'A')) : unit;
}

bool is_digit(char16_t unit) {
  return unit >= '0' && unit <= '9';
}

/// The run of digits at `i` without leading zeros; moves `i` behind it.
std::pair<std::size_t, std::size_t> digits_at(const Characters& string, std::size_t& i) {
  while (i < string.size() && string[i] == '0') ++i;
  const std::size_t start = i;
  while (i < string.size() && is_digit(string[i])) ++i;
  return {start, i - start};
}

int compare(const Characters& first, const Characters& second, CFStringCompareFlags flags) {
  std::size_t i = 0, k = 0;
  while (i < first.size() && k < second.size()) {
    if ((flags & kCFCompareNumerically) && is_digit(first[i]) && is_digit(second[k])) {
      const auto [a, a_count] = digits_at(first, i);
      const auto [b, b_count] = digits_at(second, k);
      if (a_count != b_count) return a_count < b_count ? -1 : 1;
      for (std::size_t d = 0; d < a_count; ++d)
        if (first[a + d] != second[b + d]) return first[a + d] < second[b + d] ? -1 : 1;
      continue;
    }
    char16_t a = first[i++], b = second[k++];
    if (flags & kCFCompareCaseInsensitive) {
      a = fold(a);
      b = fold(b);
    }
    if (a != b) return a < b ? -1 : 1;
  }
  const bool first_ended = i == first.size(), second_ended = k == second.size();
  return first_ended == second_ended ? 0 : first_ended ? -1 : 1;
}

bool matches_at(const Characters& string, const Characters& wanted, std::size_t at,
                CFStringCompareFlags flags) {
  if (at > string.size() || wanted.size() > string.size() - at) return false;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    char16_t a = string[at + i], b = wanted[i];
    if (flags & kCFCompareCaseInsensitive) {
      a = fold(a);
      b = fold(b);
    }
    if (a != b) return false;
  }
  return true;
}

/// The one operation that all changes come down to.
void replace(CFMutableStringRef ref, CFRange range, std::u16string_view units) {
  const CFIndex size = CFStringGetLength(ref);
  if (!ref || range.location < 0 || range.length < 0 || range.location > size ||
      range.length > size - range.location) {
    return;
  }
  if (auto* table = foreign(ref)) {
    return table->string_replace(ref, range, reinterpret_cast<const UniChar*>(units.data()),
                                 static_cast<CFIndex>(units.size()));
  }
  if (String* string = own_changeable<String>(ref)) {
    string->text->replace(static_cast<std::size_t>(range.location),
                          static_cast<std::size_t>(range.length), units);
  }
}

std::u16string units_of(CFStringRef ref) {
  const Characters characters(ref);
  std::u16string units(characters.size(), u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) units[i] = characters[i];
  return units;
}

void append(CFMutableStringRef ref, std::u16string_view units) {
  replace(ref, CFRangeMake(CFStringGetLength(ref), 0), units);
}

}  // namespace

CFComparisonResult CFStringCompare(CFStringRef first, CFStringRef second,
                                   CFStringCompareFlags flags) {
  return static_cast<CFComparisonResult>(compare(Characters(first), Characters(second), flags));
}

Boolean CFStringHasPrefix(CFStringRef string, CFStringRef prefix) {
  return matches_at(Characters(string), Characters(prefix), 0, CFStringCompareFlags{});
}

Boolean CFStringHasSuffix(CFStringRef string, CFStringRef suffix) {
  const Characters whole(string), end(suffix);
  return end.size() <= whole.size() &&
         matches_at(whole, end, whole.size() - end.size(), CFStringCompareFlags{});
}

CFRange CFStringFind(CFStringRef string, CFStringRef wanted, CFStringCompareFlags flags) {
  const Characters whole(string), part(wanted);
  const CFRange nothing = CFRangeMake(kCFNotFound, 0);
  if (part.size() == 0 || part.size() > whole.size()) return nothing;
  const std::size_t last = whole.size() - part.size();
  const bool is_backwards = (flags & kCFCompareBackwards) != 0;
  const std::size_t tries = (flags & kCFCompareAnchored) ? 1 : last + 1;
  for (std::size_t i = 0; i < tries; ++i) {
    const std::size_t at = is_backwards ? last - i : i;
    if (matches_at(whole, part, at, flags))
      return CFRangeMake(static_cast<CFIndex>(at), static_cast<CFIndex>(part.size()));
  }
  return nothing;
}

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef, CFIndex) {
  return const_cast<CFMutableStringRef>(make_string({}, true));
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex, CFStringRef ref) {
  return ref ? const_cast<CFMutableStringRef>(make_string(units_of(ref), true)) : nullptr;
}

void CFStringAppend(CFMutableStringRef ref, CFStringRef text) {
  append(ref, units_of(text));
}

void CFStringAppendCString(CFMutableStringRef ref, const char* text, CFStringEncoding encoding) {
  Owner<CFStringRef> string(CFStringCreateWithCString(nullptr, text, encoding));
  if (string) CFStringAppend(ref, string.get());
}

void CFStringAppendCharacters(CFMutableStringRef ref, const UniChar* units, CFIndex count) {
  if (units && count > 0) {
    append(ref, std::u16string(reinterpret_cast<const char16_t*>(units),
                               static_cast<std::size_t>(count)));
  }
}

void CFStringAppendFormat(CFMutableStringRef ref, CFDictionaryRef, CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  append(ref, format_text(format, arguments));
  va_end(arguments);
}

void CFStringInsert(CFMutableStringRef ref, CFIndex index, CFStringRef text) {
  replace(ref, CFRangeMake(index, 0), units_of(text));
}

void CFStringDelete(CFMutableStringRef ref, CFRange range) {
  replace(ref, range, {});
}

void CFStringReplace(CFMutableStringRef ref, CFRange range, CFStringRef text) {
  replace(ref, range, units_of(text));
}

void CFStringReplaceAll(CFMutableStringRef ref, CFStringRef text) {
  replace(ref, CFRangeMake(0, CFStringGetLength(ref)), units_of(text));
}

CFStringRef CFStringCreateWithFormat(CFAllocatorRef, CFDictionaryRef, CFStringRef format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::u16string text = format_text(format, arguments);
  va_end(arguments);
  return make_string(text);
}

CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef, CFDictionaryRef,
                                                 CFStringRef format, va_list arguments) {
  return make_string(format_text(format, arguments));
}

CFStringRef CFStringCreateByCombiningStrings(CFAllocatorRef, CFArrayRef strings,
                                             CFStringRef separator) {
  std::u16string text;
  for (CFIndex i = 0; i < CFArrayGetCount(strings); ++i) {
    if (i > 0) text += units_of(separator);
    text += units_of(static_cast<CFStringRef>(CFArrayGetValueAtIndex(strings, i)));
  }
  return make_string(text);
}

CFArrayRef CFStringCreateArrayBySeparatingStrings(CFAllocatorRef, CFStringRef string,
                                                  CFStringRef separator) {
  const std::u16string text = units_of(string), mark = units_of(separator);
  CFMutableArrayRef parts = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  std::size_t start = 0;
  while (true) {
    const std::size_t end = mark.empty() ? std::u16string::npos : text.find(mark, start);
    Owner<CFStringRef> part(make_string(std::u16string_view(text).substr(
        start, end == std::u16string::npos ? std::u16string::npos : end - start)));
    CFArrayAppendValue(parts, part.get());
    if (end == std::u16string::npos) return parts;
    start = end + mark.size();
  }
}
