// Numbers and booleans.

#include "platform/linux/core_foundation/number.hpp"

#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>

#include "platform/linux/core_foundation/string.hpp"

namespace vesk::platform::cf {

namespace {

using Kind = NumberValue::Kind;
constexpr double two_to_63 = 9223372036854775808.0;
constexpr double two_to_64 = 18446744073709551616.0;

struct Number : Object {
  static constexpr Type type_of = Type::number;
  Number(const NumberValue& value_, CFNumberType made_as_)
      : Object(type_of, plain), value(value_), made_as(made_as_) {}
  const NumberValue value;
  const CFNumberType made_as;
};

struct BooleanObject : Object {
  static constexpr Type type_of = Type::boolean;
  constexpr explicit BooleanObject(bool value_) : Object(type_of, constant), value(value_) {}
  const bool value;
};

template <class Value>
Value load(const void* from) {
  Value value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

CFNumberRef make_integer(std::int64_t integer, CFNumberType made_as) {
  NumberValue value;
  value.integer = integer;
  return as_ref<CFNumberRef>(make<Number>(0, value, made_as));
}

CFNumberRef make_real(double real, CFNumberType made_as) {
  NumberValue value;
  value.kind = Kind::real;
  value.real = real;
  return as_ref<CFNumberRef>(make<Number>(0, value, made_as));
}

std::string digits(auto number) {
  char text[40];
  const auto end = std::to_chars(text, std::end(text), number);
  return {text, end.ptr};
}

CFStringRef describe_number(const Object* object) {
  const auto* number = static_cast<const Number*>(object);
  const bool is_float = number->made_as == kCFNumberFloat32Type;
  return make_ascii_string(is_float ? digits(static_cast<float>(number->value.real))
                                    : digits_of(number->value));
}

/// Whether a real is a whole number that 64 bits hold, as which it equals an integer.
bool as_integer(const NumberValue& value, std::int64_t& integer) {
  if (value.kind == Kind::integer) {
    integer = value.integer;
    return true;
  }
  if (value.kind != Kind::real || !(value.real >= -two_to_63 && value.real < two_to_63) ||
      value.real != std::trunc(value.real)) {
    return false;
  }
  integer = static_cast<std::int64_t>(value.real);
  return true;
}

bool equal_numbers(const Object* object, CFTypeRef other) {
  NumberValue first, second;
  std::int64_t integer, other_integer;
  if (!read_number(as_ref<CFNumberRef>(object), first) ||
      !read_number(static_cast<CFNumberRef>(other), second)) {
    return false;
  }
  if (as_integer(first, integer))
    return as_integer(second, other_integer) && integer == other_integer;
  // An integer that a double cannot hold is not the double it rounds to.
  if (first.kind != second.kind) return false;
  if (first.kind == Kind::unsigned_integer)
    return first.unsigned_integer == second.unsigned_integer;
  return first.real == second.real || (std::isnan(first.real) && std::isnan(second.real));
}

CFHashCode hash_number(const Object* object) {
  NumberValue value;
  read_number(as_ref<CFNumberRef>(object), value);
  std::int64_t integer;
  std::uint64_t bits;
  if (as_integer(value, integer))
    bits = static_cast<std::uint64_t>(integer);
  else if (value.kind == Kind::unsigned_integer)
    bits = value.unsigned_integer;
  else if (std::isnan(value.real))
    bits = 1;  // all of them are equal
  else
    bits = load<std::uint64_t>(&value.real);
  return bits * 0x9e3779b97f4a7c15u;
}

template <class Target>
bool store_integer(const NumberValue& value, void* out) {
  using TargetLimits = std::numeric_limits<Target>;
  Target result;
  bool is_exact;
  if (value.kind == Kind::real) {
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
  } else if (value.kind == Kind::unsigned_integer) {
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
    case Kind::integer:
      result = static_cast<Target>(value.integer);
      is_exact = static_cast<double>(result) < two_to_63 &&
                 static_cast<std::int64_t>(result) == value.integer;
      break;
    case Kind::unsigned_integer:
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

}  // namespace

const TypeOperations number_operations{"CFNumber", destroy<Number>, equal_numbers, hash_number,
                                       describe_number};
const TypeOperations boolean_operations{"CFBoolean", nullptr, equal_booleans, hash_boolean,
                                        describe_boolean};

bool read_number(CFNumberRef ref, NumberValue& value) {
  if (auto* table = foreign(ref)) {
    if (CFNumberIsFloatType(ref)) {
      value.kind = Kind::real;
      table->number_get(ref, kCFNumberFloat64Type, &value.real);
      return true;
    }
    value.kind = table->number_is_unsigned(ref) ? Kind::unsigned_integer : Kind::integer;
    table->number_get(ref, kCFNumberSInt64Type, &value.integer);
    value.unsigned_integer = static_cast<std::uint64_t>(value.integer);
    return true;
  }
  const Number* number = own<Number>(ref);
  if (number) value = number->value;
  return number != nullptr;
}

std::string digits_of(const NumberValue& value) {
  switch (value.kind) {
    case Kind::integer:
      return digits(value.integer);
    case Kind::unsigned_integer:
      return digits(value.unsigned_integer);
    case Kind::real:
      break;
  }
  return digits(value.real);
}

CFNumberRef make_unsigned_number(std::uint64_t value) {
  if (value <= INT64_MAX)
    return make_integer(static_cast<std::int64_t>(value), kCFNumberSInt64Type);
  NumberValue large;
  large.kind = Kind::unsigned_integer;
  large.unsigned_integer = value;
  return as_ref<CFNumberRef>(make<Number>(0, large, kCFNumberSInt64Type));
}

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

// The structure that the public header only names, so that the variables below are set by the
// compiler: a cast of the address would be done at start, maybe after someone's table needed it.
struct __CFBoolean : BooleanObject {
  using BooleanObject::BooleanObject;
};

namespace {
constinit __CFBoolean true_object{true}, false_object{false};
}

constinit const CFBooleanRef kCFBooleanTrue = &true_object;
constinit const CFBooleanRef kCFBooleanFalse = &false_object;

void vesk::platform::cf::visit_booleans(void (*visit)(Object*)) {
  visit(&true_object);
  visit(&false_object);
}

CFTypeID CFNumberGetTypeID(void) {
  return static_cast<CFTypeID>(Type::number);
}
CFTypeID CFBooleanGetTypeID(void) {
  return static_cast<CFTypeID>(Type::boolean);
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value) {
  if (!value) return nullptr;
  const CFNumberType kept = canonical(type);
  switch (kept) {
    case kCFNumberSInt8Type:
      return make_integer(load<std::int8_t>(value), kept);
    case kCFNumberSInt16Type:
      return make_integer(load<std::int16_t>(value), kept);
    case kCFNumberSInt32Type:
      return make_integer(load<std::int32_t>(value), kept);
    case kCFNumberSInt64Type:
      return make_integer(load<std::int64_t>(value), kept);
    case kCFNumberFloat32Type:
      return make_real(static_cast<double>(load<float>(value)), kept);
    case kCFNumberFloat64Type:
      return make_real(load<double>(value), kept);
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

Boolean CFNumberIsFloatType(CFNumberRef number) {
  const CFNumberType type = CFNumberGetType(number);
  return type == kCFNumberFloat32Type || type == kCFNumberFloat64Type;
}

Boolean CFBooleanGetValue(CFBooleanRef ref) {
  if (auto* table = foreign(ref)) return table->boolean_value(ref);
  if (const auto* boolean = own<BooleanObject>(ref)) return boolean->value;
  NumberValue number;
  return read_number(reinterpret_cast<CFNumberRef>(ref), number) &&
         (number.integer != 0 || number.unsigned_integer != 0 || number.real != 0);
}
