#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>

namespace vesk::platform {

/// The text in UTF-8, with '?' for half a surrogate pair; empty for null. Any thread.
inline std::string text_of(CFStringRef string) {
  if (string == nullptr) return {};
  const CFRange all = CFRangeMake(0, CFStringGetLength(string));
  CFIndex bytes = 0;
  CFStringGetBytes(string, all, kCFStringEncodingUTF8, '?', false, nullptr, 0, &bytes);
  std::string text(static_cast<std::size_t>(bytes), '\0');
  CFStringGetBytes(string, all, kCFStringEncodingUTF8, '?', false,
                   reinterpret_cast<UInt8*>(text.data()), bytes, &bytes);
  return text;
}

}  // namespace vesk::platform
