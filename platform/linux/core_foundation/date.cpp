#include <chrono>
#include <functional>

#include "platform/linux/core_foundation/object.hpp"

namespace vesk::platform::cf {

namespace {

struct Date : Object {
  static constexpr Type type_of = Type::date;
  explicit Date(double seconds_) : Object(type_of, plain), seconds(seconds_) {}
  const double seconds;
};

bool equal_dates(const Object* object, CFTypeRef other) {
  return static_cast<const Date*>(object)->seconds ==
         CFDateGetAbsoluteTime(static_cast<CFDateRef>(other));
}

CFHashCode hash_date(const Object* object) {
  return std::hash<double>()(CFDateGetAbsoluteTime(as_ref<CFDateRef>(object)));
}

}  // namespace

const TypeOperations date_operations{"CFDate", destroy<Date>, equal_dates, hash_date, nullptr};

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

CFAbsoluteTime CFAbsoluteTimeGetCurrent(void) {
  constexpr double from_1970_to_2001 = 978307200;
  const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration<double>(since_1970).count() - from_1970_to_2001;
}

CFTypeID CFDateGetTypeID(void) {
  return static_cast<CFTypeID>(Type::date);
}

CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime seconds) {
  return as_ref<CFDateRef>(make<Date>(0, seconds));
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef ref) {
  if (auto* table = foreign(ref)) return table->date_time(ref);
  const Date* date = own<Date>(ref);
  return date ? date->seconds : 0;
}
