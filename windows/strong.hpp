#pragma once

#import <Foundation/Foundation.h>

#include <utility>

namespace vesk::host {

/// A counted reference to an Objective-C object, for code that is compiled without automatic
/// reference counting. Empty at first.
template <class Object>
class Strong {
 public:
  Strong() = default;
  /// Takes over the reference that an `alloc` or `copy` gave.
  static Strong adopt(Object* object) {
    Strong strong;
    strong.object_ = object;
    return strong;
  }
  /// Adds a reference of its own.
  static Strong retain(Object* object) { return adopt([object retain]); }

  Strong(const Strong& other) : object_([other.object_ retain]) {}
  Strong(Strong&& other) noexcept : object_(std::exchange(other.object_, nil)) {}
  Strong& operator=(Strong other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Strong() { [object_ release]; }

  Object* get() const { return object_; }
  explicit operator bool() const { return object_ != nil; }

 private:
  Object* object_ = nil;
};

}  // namespace vesk::host
