#pragma once

/// The plain values: bytes, numbers, booleans, dates.

#include <cstdint>
#include <string>

#include "platform/linux/core_foundation/object.hpp"

namespace vesk::platform::cf {

struct Data : Object {
  static constexpr Type type_of = Type::data;
  explicit Data(std::uint16_t flags_) : Object(type_of, flags_) {}
  ~Data();

  UInt8* bytes = nullptr;
  std::size_t length = 0;
  std::size_t capacity = 0;
  bool frees_bytes = false;  ///< Bytes of free()'s kind that end with the object.
};

/// A number as it was made: an integer of 64 bits (with its sign or without), or a real.
struct Number : Object {
  static constexpr Type type_of = Type::number;
  enum class Kind : std::uint8_t { integer, unsigned_integer, real };

  constexpr Number(std::int64_t value, CFNumberType made_as_)
      : Object(type_of, plain), kind(Kind::integer), made_as(made_as_), integer(value) {}
  constexpr explicit Number(std::uint64_t value)
      : Object(type_of, plain),
        kind(Kind::unsigned_integer),
        made_as(kCFNumberSInt64Type),
        unsigned_integer(value) {}
  constexpr Number(double value, CFNumberType made_as_)
      : Object(type_of, plain), kind(Kind::real), made_as(made_as_), real(value) {}
  /// A constant.
  constexpr explicit Number(double value)
      : Object(type_of, constant), kind(Kind::real), made_as(kCFNumberFloat64Type), real(value) {}

  const Kind kind;  ///< `unsigned_integer` only above INT64_MAX.
  const CFNumberType made_as;
  union {
    std::int64_t integer;
    std::uint64_t unsigned_integer;
    double real;  ///< Holds a float exactly.
  };
};

/// The value of any number, foreign ones included; false when `number` is none.
struct NumberValue {
  Number::Kind kind = Number::Kind::integer;
  bool is_single = false;  ///< A real that was made from a float.
  std::int64_t integer = 0;
  std::uint64_t unsigned_integer = 0;
  double real = 0;
};
bool read_number(CFNumberRef number, NumberValue& value);

/// The shortest digits that read back as this very value: a real's as a double.
std::string digits_of(const NumberValue& value);

/// A number for any unsigned value (+1), which no CFNumberType names.
CFNumberRef make_unsigned_number(std::uint64_t value);

struct BooleanObject : Object {
  static constexpr Type type_of = Type::boolean;
  constexpr explicit BooleanObject(bool value_) : Object(type_of, constant), value(value_) {}
  const bool value;
};

struct Date : Object {
  static constexpr Type type_of = Type::date;
  explicit Date(double seconds_) : Object(type_of, plain), seconds(seconds_) {}
  const double seconds;
};

}  // namespace vesk::platform::cf
