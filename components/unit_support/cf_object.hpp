#pragma once

// CoreFoundation objects with an owner, and careful looks into property lists from elsewhere.

#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <string_view>
#include <utility>

#include "components/unit_support/cf_text.hpp"

namespace vesk {

/// Holds one reference and releases it.
template <typename Ref>
class CfObject {
 public:
  explicit CfObject(Ref object = nullptr) : object_(object) {}
  CfObject(CfObject&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  CfObject& operator=(CfObject&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~CfObject() {
    if (object_ != nullptr) CFRelease(object_);
  }
  Ref get() const { return object_; }
  Ref release() { return std::exchange(object_, nullptr); }

 private:
  Ref object_;
};

/// A dictionary under construction.
class CfDictionary {
 public:
  /// Takes over `value`, a +1 reference.
  void set(std::string_view key, CFTypeRef value) {
    const CfObject<CFStringRef> name(copy_cf_string(key));
    CFDictionarySetValue(dictionary_.get(), name.get(), value);
    CFRelease(value);
  }
  void set_number(std::string_view key, SInt32 value) {
    set(key, CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value));
  }
  CfObject<CFDictionaryRef> take() && { return CfObject<CFDictionaryRef>(dictionary_.release()); }

 private:
  CfObject<CFMutableDictionaryRef> dictionary_{CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks)};
};

template <typename Ref>
CFTypeID cf_type();
template <>
inline CFTypeID cf_type<CFDictionaryRef>() {
  return CFDictionaryGetTypeID();
}
template <>
inline CFTypeID cf_type<CFArrayRef>() {
  return CFArrayGetTypeID();
}
template <>
inline CFTypeID cf_type<CFStringRef>() {
  return CFStringGetTypeID();
}
template <>
inline CFTypeID cf_type<CFDataRef>() {
  return CFDataGetTypeID();
}
template <>
inline CFTypeID cf_type<CFNumberRef>() {
  return CFNumberGetTypeID();
}

/// `object` when it is of that type, else null.
template <typename Ref>
Ref cf_cast(CFTypeRef object) {
  return object != nullptr && CFGetTypeID(object) == cf_type<Ref>() ? static_cast<Ref>(object)
                                                                    : nullptr;
}

/// The value under `key` when it is there and of that type, else null. Get rule.
template <typename Ref>
Ref cf_value(CFDictionaryRef dictionary, std::string_view key) {
  const CfObject<CFStringRef> name(copy_cf_string(key));
  return cf_cast<Ref>(static_cast<CFTypeRef>(CFDictionaryGetValue(dictionary, name.get())));
}

inline std::optional<double> cf_number(CFDictionaryRef dictionary, std::string_view key) {
  const CFNumberRef number = cf_value<CFNumberRef>(dictionary, key);
  double value = 0;
  if (number == nullptr) return std::nullopt;
  CFNumberGetValue(number, kCFNumberFloat64Type, &value);
  return value;
}

}  // namespace vesk
