#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>

/// CoreFoundation strings as a test compares them.
namespace vesk::tests {

/// The text of a string; in brackets why there is none.
inline std::string text(CFStringRef string) {
  char buffer[512] = "(does not fit)";
  if (!string) return "(null)";
  return CFStringGetCString(string, buffer, sizeof buffer, kCFStringEncodingUTF8) ? buffer
                                                                                  : "(no UTF-8)";
}

/// The text of a string that the caller owns, which is released.
inline std::string taken(CFStringRef string) {
  std::string result = text(string);
  if (string) CFRelease(string);
  return result;
}

/// A string that the caller owns; null for bytes that are no UTF-8.
inline CFStringRef make(const char* utf8) {
  return CFStringCreateWithCString(nullptr, utf8, kCFStringEncodingUTF8);
}

}  // namespace vesk::tests
