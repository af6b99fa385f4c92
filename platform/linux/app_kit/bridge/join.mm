#import "platform/linux/app_kit/bridge/bridge.hpp"
#import "platform/linux/app_kit/bridge/classes.h"

#include <iterator>

namespace vesk::platform {
namespace {

/// Sending a class its first message prepares it; an object that is merely given one never would.
const void* prepared(Class the_class) { return [the_class class]; }

}  // namespace

void join_foundation() {
  const void* number = prepared([VeskCFNumber class]);
  const void* date = prepared([VeskCFDate class]);
  const void* null = prepared([VeskCFNull class]);
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
      {CFNullGetTypeID(), null, null},
      {CFURLGetTypeID(), url, url},
      {CFErrorGetTypeID(), error, error},
  };
  vesk_cf_join_objective_c(&foundation_objects, classes, std::size(classes));
}

}  // namespace vesk::platform
