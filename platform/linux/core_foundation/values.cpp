#include "platform/linux/core_foundation/values.hpp"

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "platform/linux/core_foundation/string.hpp"

namespace vesk::platform::cf {

namespace {

using Limits = std::numeric_limits<std::int64_t>;
constexpr double two_to_63 = 9223372036854775808.0;
constexpr double two_to_64 = 18446744073709551616.0;

std::string digits(auto number) {
  char text[40];
  const auto end = std::to_chars(text, std::end(text), number);
  return {text, end.ptr};
}

CFStringRef describe_number(const Object* object) {
  NumberValue value;
  read_number(as_ref<CFNumberRef>(object), value);
  const bool is_float = value.kind == Number::Kind::real && value.is_single;
  return make_ascii_string(is_float ? digits(static_cast<float>(value.real)) : digits_of(value));
}

/// Whether a real is a whole number that 64 bits hold, as which it equals an integer.
bool as_integer(const NumberValue& value, std::int64_t& integer) {
  if (value.kind == Number::Kind::integer) {
    integer = value.integer;
    return true;
  }
  if (value.kind != Number::Kind::real || !(value.real >= -two_to_63 && value.real < two_to_63) ||
      value.real != std::trunc(value.real)) {
    return false;
  }
  integer = static_cast<std::int64_t>(value.real);
  return true;
}

int compare(const NumberValue& first, const NumberValue& second) {
  std::int64_t a, b;
  if (as_integer(first, a) && as_integer(second, b)) return a < b ? -1 : a > b;
  if (first.kind == Number::Kind::unsigned_integer &&
      second.kind == Number::Kind::unsigned_integer) {
    return first.unsigned_integer < second.unsigned_integer
               ? -1
               : first.unsigned_integer > second.unsigned_integer;
  }
  const auto real = [](const NumberValue& value) {
    switch (value.kind) {
      case Number::Kind::integer:
        return static_cast<double>(value.integer);
      case Number::Kind::unsigned_integer:
        return static_cast<double>(value.unsigned_integer);
      case Number::Kind::real:
        break;
    }
    return value.real;
  };
  const double x = real(first), y = real(second);
  if (std::isnan(x) || std::isnan(y)) return std::isnan(x) ? (std::isnan(y) ? 0 : -1) : 1;
  if (x != y) return x < y ? -1 : 1;
  // An integer that a double cannot hold is not the double it rounds to.
  const auto rank = [](const NumberValue& value) { return value.kind == Number::Kind::real; };
  return static_cast<int>(rank(first)) - static_cast<int>(rank(second));
}

bool equal_numbers(const Object* object, CFTypeRef other) {
  NumberValue first, second;
  return read_number(as_ref<CFNumberRef>(object), first) &&
         read_number(static_cast<CFNumberRef>(other), second) && compare(first, second) == 0;
}

CFHashCode hash_number(const Object* object) {
  NumberValue value;
  read_number(as_ref<CFNumberRef>(object), value);
  std::int64_t integer;
  std::uint64_t bits;
  if (as_integer(value, integer))
    bits = static_cast<std::uint64_t>(integer);
  else if (value.kind == Number::Kind::unsigned_integer)
    bits = value.unsigned_integer;
  else if (std::isnan(value.real))
    bits = 1;  // all of them are equal
  else
    std::memcpy(&bits, &value.real, sizeof bits);
  return bits * 0x9e3779b97f4a7c15u;
}

template <class Target>
bool store_integer(const NumberValue& value, void* out) {
  using TargetLimits = std::numeric_limits<Target>;
  Target result;
  bool is_exact;
  if (value.kind == Number::Kind::real) {
    // Cut off at the ends: the conversion of a larger value is undefined.
    const double real = value.real;
    if (std::isnan(real))
      result = 0;
    else if (real >= static_cast<double>(TargetLimits::max()))
      result = TargetLimits::max();
    else if (real <= static_cast<double>(TargetLimits::min()))
      result = TargetLimits::min();
    else
      result = static_cast<Target>(real);
    is_exact = static_cast<double>(result) == real && !(real >= two_to_63);
  } else if (value.kind == Number::Kind::unsigned_integer) {
    result = static_cast<Target>(value.unsigned_integer);
    is_exact = false;
  } else {
    result = static_cast<Target>(value.integer);
    is_exact = static_cast<std::int64_t>(result) == value.integer;
  }
  std::memcpy(out, &result, sizeof result);
  return is_exact;
}

template <class Target>
bool store_real(const NumberValue& value, void* out) {
  Target result;
  bool is_exact;
  switch (value.kind) {
    case Number::Kind::integer:
      result = static_cast<Target>(value.integer);
      is_exact = static_cast<double>(result) < two_to_63 &&
                 static_cast<std::int64_t>(result) == value.integer;
      break;
    case Number::Kind::unsigned_integer:
      result = static_cast<Target>(value.unsigned_integer);
      is_exact = static_cast<double>(result) < two_to_64 &&
                 static_cast<std::uint64_t>(result) == value.unsigned_integer;
      break;
    default:
      result = static_cast<Target>(value.real);
      is_exact = std::isnan(value.real) || static_cast<double>(result) == value.real;
      break;
  }
  std::memcpy(out, &result, sizeof result);
  return is_exact;
}

CFNumberType canonical(CFNumberType type) {
  switch (type) {
    case kCFNumberCharType:
      return kCFNumberSInt8Type;
    case kCFNumberShortType:
      return kCFNumberSInt16Type;
    case kCFNumberIntType:
      return kCFNumberSInt32Type;
    case kCFNumberLongType:
    case kCFNumberLongLongType:
    case kCFNumberCFIndexType:
    case kCFNumberNSIntegerType:
      return kCFNumberSInt64Type;
    case kCFNumberFloatType:
      return kCFNumberFloat32Type;
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType:
      return kCFNumberFloat64Type;
    default:
      return type;
  }
}

template <class Value>
Value load(const void* from) {
  Value value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

// A boolean of ours is one of two constants; a foreign one is another object with the same value.
bool equal_booleans(const Object* object, CFTypeRef other) {
  return static_cast<const BooleanObject*>(object)->value ==
         (CFBooleanGetValue(static_cast<CFBooleanRef>(other)) != 0);
}
CFHashCode hash_boolean(const Object* object) {
  return CFBooleanGetValue(as_ref<CFBooleanRef>(object));
}
CFStringRef describe_boolean(const Object* object) {
  return static_cast<const BooleanObject*>(object)->value ? CFSTR("true") : CFSTR("false");
}

bool equal_dates(const Object* object, CFTypeRef other) {
  return static_cast<const Date*>(object)->seconds ==
         CFDateGetAbsoluteTime(static_cast<CFDateRef>(other));
}
CFHashCode hash_date(const Object* object) {
  const double seconds = CFDateGetAbsoluteTime(as_ref<CFDateRef>(object)) + 0.0;  // -0 as 0
  return load<std::uint64_t>(&seconds) * 0x9e3779b97f4a7c15u;
}
CFStringRef describe_date(const Object* object) {
  char text[40];
  const auto end = std::to_chars(text, std::end(text), static_cast<const Date*>(object)->seconds);
  return make_ascii_string({text, static_cast<std::size_t>(end.ptr - text)});
}

}  // namespace

const TypeOperations number_operations{"CFNumber", destroy<Number>, equal_numbers, hash_number,
                                       describe_number};
const TypeOperations boolean_operations{"CFBoolean", nullptr, equal_booleans, hash_boolean,
                                        describe_boolean};
const TypeOperations date_operations{"CFDate", destroy<Date>, equal_dates, hash_date,
                                     describe_date};

bool read_number(CFNumberRef ref, NumberValue& value) {
  if (auto* table = foreign(ref)) {
    const CFNumberType type = table->number_type(ref);
    if (type == kCFNumberFloat32Type || type == kCFNumberFloat64Type) {
      value.kind = Number::Kind::real;
      value.is_single = type == kCFNumberFloat32Type;
      table->number_get(ref, kCFNumberFloat64Type, &value.real);
      return true;
    }
    table->number_get(ref, kCFNumberSInt64Type, &value.integer);
    if (table->number_is_unsigned(ref)) {
      value.kind = Number::Kind::unsigned_integer;
      value.unsigned_integer = static_cast<std::uint64_t>(value.integer);
    } else {
      value.kind = Number::Kind::integer;
    }
    return true;
  }
  const Number* number = own<Number>(ref);
  if (!number) return false;
  value.kind = number->kind;
  value.is_single = number->made_as == kCFNumberFloat32Type;
  switch (number->kind) {
    case Number::Kind::integer:
      value.integer = number->integer;
      break;
    case Number::Kind::unsigned_integer:
      value.unsigned_integer = number->unsigned_integer;
      break;
    case Number::Kind::real:
      value.real = number->real;
      break;
  }
  return true;
}

std::string digits_of(const NumberValue& value) {
  switch (value.kind) {
    case Number::Kind::integer:
      return digits(value.integer);
    case Number::Kind::unsigned_integer:
      return digits(value.unsigned_integer);
    case Number::Kind::real:
      return digits(value.real);
  }
  return {};
}

CFNumberRef make_unsigned_number(std::uint64_t value) {
  if (value <= static_cast<std::uint64_t>(Limits::max())) {
    return as_ref<CFNumberRef>(
        make<Number>(0, static_cast<std::int64_t>(value), kCFNumberSInt64Type));
  }
  return as_ref<CFNumberRef>(make<Number>(0, value));
}

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

CFTypeID CFNumberGetTypeID(void) {
  return static_cast<CFTypeID>(Type::number);
}
CFTypeID CFBooleanGetTypeID(void) {
  return static_cast<CFTypeID>(Type::boolean);
}
CFTypeID CFDateGetTypeID(void) {
  return static_cast<CFTypeID>(Type::date);
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value) {
  if (!value) return nullptr;
  const CFNumberType kept = canonical(type);
  const auto integer = [kept](std::int64_t number) {
    return as_ref<CFNumberRef>(make<Number>(0, number, kept));
  };
  switch (kept) {
    case kCFNumberSInt8Type:
      return integer(load<std::int8_t>(value));
    case kCFNumberSInt16Type:
      return integer(load<std::int16_t>(value));
    case kCFNumberSInt32Type:
      return integer(load<std::int32_t>(value));
    case kCFNumberSInt64Type:
      return integer(load<std::int64_t>(value));
    case kCFNumberFloat32Type:
      return as_ref<CFNumberRef>(make<Number>(0, static_cast<double>(load<float>(value)), kept));
    case kCFNumberFloat64Type:
      return as_ref<CFNumberRef>(make<Number>(0, load<double>(value), kept));
    default:
      return nullptr;
  }
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
  NumberValue read;
  if (!value || !read_number(number, read)) return false;
  switch (canonical(type)) {
    case kCFNumberSInt8Type:
      return store_integer<std::int8_t>(read, value);
    case kCFNumberSInt16Type:
      return store_integer<std::int16_t>(read, value);
    case kCFNumberSInt32Type:
      return store_integer<std::int32_t>(read, value);
    case kCFNumberSInt64Type:
      return store_integer<std::int64_t>(read, value);
    case kCFNumberFloat32Type:
      return store_real<float>(read, value);
    case kCFNumberFloat64Type:
      return store_real<double>(read, value);
    default:
      return false;
  }
}

CFNumberType CFNumberGetType(CFNumberRef ref) {
  if (auto* table = foreign(ref)) return table->number_type(ref);
  const Number* number = own<Number>(ref);
  return number ? number->made_as : kCFNumberSInt64Type;
}

CFIndex CFNumberGetByteSize(CFNumberRef number) {
  switch (CFNumberGetType(number)) {
    case kCFNumberSInt8Type:
      return 1;
    case kCFNumberSInt16Type:
      return 2;
    case kCFNumberSInt32Type:
    case kCFNumberFloat32Type:
      return 4;
    default:
      return 8;
  }
}

Boolean CFNumberIsFloatType(CFNumberRef number) {
  const CFNumberType type = CFNumberGetType(number);
  return type == kCFNumberFloat32Type || type == kCFNumberFloat64Type;
}

CFComparisonResult CFNumberCompare(CFNumberRef first, CFNumberRef second, void*) {
  NumberValue a, b;
  if (!read_number(first, a) || !read_number(second, b)) return kCFCompareEqualTo;
  return static_cast<CFComparisonResult>(compare(a, b));
}

Boolean CFBooleanGetValue(CFBooleanRef ref) {
  if (auto* table = foreign(ref)) return table->boolean_value(ref);
  if (const auto* boolean = own<BooleanObject>(ref)) return boolean->value;
  NumberValue number;
  return read_number(reinterpret_cast<CFNumberRef>(ref), number) &&
         (number.integer != 0 || number.unsigned_integer != 0 || number.real != 0);
}

CFAbsoluteTime CFAbsoluteTimeGetCurrent(void) {
  const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration<double>(since_1970).count() - kCFAbsoluteTimeIntervalSince1970;
}

CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime seconds) {
  return as_ref<CFDateRef>(make<Date>(0, seconds));
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef ref) {
  if (auto* table = foreign(ref)) return table->date_time(ref);
  const Date* date = own<Date>(ref);
  return date ? date->seconds : 0;
}

CFTimeInterval CFDateGetTimeIntervalSinceDate(CFDateRef date, CFDateRef earlier) {
  return CFDateGetAbsoluteTime(date) - CFDateGetAbsoluteTime(earlier);
}

CFComparisonResult CFDateCompare(CFDateRef first, CFDateRef second, void*) {
  const CFAbsoluteTime a = CFDateGetAbsoluteTime(first), b = CFDateGetAbsoluteTime(second);
  return a < b ? kCFCompareLessThan : a > b ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

// From the vendor's epoch (2001) to those of POSIX and of older file systems.
const CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = 978307200.0;
const CFTimeInterval kCFAbsoluteTimeIntervalSince1904 = 3061152000.0;
