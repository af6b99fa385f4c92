#include <objc/runtime.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>

#import "platform/linux/app_kit/bridge/bridge.hpp"
#import "platform/linux/app_kit/bridge/classes.h"

namespace vesk::platform {
namespace {

/// Sending a class its first message prepares it; an object that is merely given one never would.
const void* prepared(Class the_class) { return [the_class class]; }

/// What CFSTR names in every library, loaded and to be loaded, says that its class lies at an
/// address in the program. A subclass of our strings' is put there before the runtime learns of it.
void place_class_of_literals() {
  Class made = objc_allocateClassPair([VeskCFString class], "VeskCFLiteral", 0);
  // What the runtime's struct objc_class measures; its memory is the runtime's own allocation.
  constexpr std::size_t class_words = 13;
  static_assert(class_words <= std::size(__CFConstantStringClassReference));
  std::copy_n(reinterpret_cast<void**>(made), class_words, __CFConstantStringClassReference);
  std::free(made);
  Class placed = reinterpret_cast<Class>(__CFConstantStringClassReference);
  objc_registerClassPair(placed);
  prepared(placed);
}

}  // namespace

void join_foundation() {
  place_class_of_literals();
  const void* number = prepared([VeskCFNumber class]);
  const void* date = prepared([VeskCFDate class]);
  const void* url = prepared([VeskCFURL class]);
  const void* error = prepared([VeskCFError class]);
  const CFObjectClasses classes[] = {
      {CFStringGetTypeID(), prepared([VeskCFString class]), prepared([VeskCFMutableString class])},
      {CFDataGetTypeID(), prepared([VeskCFData class]), prepared([VeskCFMutableData class])},
      {CFArrayGetTypeID(), prepared([VeskCFArray class]), prepared([VeskCFMutableArray class])},
      {CFDictionaryGetTypeID(), prepared([VeskCFDictionary class]),
       prepared([VeskCFMutableDictionary class])},
      {CFNumberGetTypeID(), number, number},
      {CFBooleanGetTypeID(), number, number},
      {CFDateGetTypeID(), date, date},
      {CFURLGetTypeID(), url, url},
      {CFErrorGetTypeID(), error, error},
  };
  vesk_cf_join_objective_c(&foundation_objects, classes, std::size(classes));
}

}  // namespace vesk::platform
