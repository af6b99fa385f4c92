#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>

namespace vesk::platform {

/// The text in UTF-8, any half of a surrogate pair left out; empty for null.
__attribute__((visibility("default"))) std::string text_of(CFStringRef string);

/// The same, and releases the string.
inline std::string take_text(CFStringRef string) {
  std::string text = text_of(string);
  if (string) CFRelease(string);
  return text;
}

}  // namespace vesk::platform
