#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <string>
#include <type_traits>

namespace vesk::tests {

struct CFDeleter {
  void operator()(CFTypeRef object) const { CFRelease(object); }
};

/// An object of CoreFoundation's that is released at the end.
template <typename Ref>
using Owned = std::unique_ptr<std::remove_pointer_t<Ref>, CFDeleter>;

template <typename Ref>
Owned<Ref> own(Ref object) {
  return Owned<Ref>(object);
}

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
