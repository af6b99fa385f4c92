#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstring>
#include <string>

namespace vesk::platform {

/// The text in UTF-8; empty for null.
inline std::string text_of(CFStringRef string) {
  if (!string) return {};
  const CFIndex capacity =
      CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
  std::string text(static_cast<std::size_t>(capacity), '\0');
  if (!CFStringGetCString(string, text.data(), capacity, kCFStringEncodingUTF8)) return {};
  text.resize(std::strlen(text.c_str()));
  return text;
}

/// The same, and releases the string.
inline std::string take_text(CFStringRef string) {
  std::string text = text_of(string);
  if (string) CFRelease(string);
  return text;
}

}  // namespace vesk::platform
