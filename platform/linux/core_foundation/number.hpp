#pragma once

/// The value of any number, whoever made it.

#include <cstdint>
#include <string>

#include "platform/linux/core_foundation/object.hpp"

namespace vesk::platform::cf {

struct NumberValue {
  enum class Kind : std::uint8_t { integer, unsigned_integer, real };
  Kind kind = Kind::integer;  ///< `unsigned_integer` only above INT64_MAX.
  std::int64_t integer = 0;
  std::uint64_t unsigned_integer = 0;
  double real = 0;  ///< Holds a float exactly.
};

/// False when `number` is none.
bool read_number(CFNumberRef number, NumberValue& value);

/// The shortest digits that read back as this very value: a real's as a double.
std::string digits_of(const NumberValue& value);

/// A number for any unsigned value (+1), which no CFNumberType names.
CFNumberRef make_unsigned_number(std::uint64_t value);

}  // namespace vesk::platform::cf
