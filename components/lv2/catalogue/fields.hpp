#pragma once

// Records as bytes, field by field.
//
// What a record consists of is said once, by a function `fields(stream, record)` in this namespace
// that calls `stream` with the fields in their order. It serves both ways: a FieldWriter takes
// them, a FieldReader sets them.

#include <cmath>
#include <concepts>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "components/lv2/catalogue/byte_stream.hpp"

namespace vesk::lv2 {

/// `T` is `Record`, constant where it is written.
template <typename T, typename Record>
concept RecordOf = std::same_as<std::remove_const_t<T>, Record>;

class FieldWriter {
 public:
  explicit FieldWriter(ByteWriter& to) : to_(to) {}

  template <typename... Fields>
  void operator()(const Fields&... each) {
    (put(each), ...);
  }
  /// A field that is one of several, up to `last`.
  template <typename T>
  void enumerator(T value, T /*last*/) {
    to_.number(value);
  }

 private:
  void put(const std::string& text) { to_.text(text); }
  void put(const Bytes& bytes) { to_.blob(bytes); }
  void put(bool value) { to_.number(static_cast<std::uint8_t>(value)); }
  void put(const std::optional<float>& number) {
    put(number.has_value());
    if (number) put(*number);
  }
  template <typename T>
  void put(const std::vector<T>& items) {
    to_.list(items, [&](const T& item) { put(item); });
  }
  template <typename T>
  void put(const T& value) {
    if constexpr (std::is_arithmetic_v<T>)
      to_.number(value);
    else
      fields(*this, value);
  }

  ByteWriter& to_;
};

/// `from` fails on anything that a FieldWriter cannot have written.
class FieldReader {
 public:
  explicit FieldReader(ByteReader& from) : from_(from) {}

  template <typename... Fields>
  void operator()(Fields&... each) {
    (get(each), ...);
  }
  template <typename T>
  void enumerator(T& value, T last) {
    value = from_.enumerator(last);
  }

 private:
  void get(std::string& text) { text = from_.text(); }
  void get(Bytes& bytes) {
    const auto blob = from_.blob();
    bytes.assign(blob.begin(), blob.end());
  }
  void get(bool& value) { value = from_.boolean(); }
  /// Nobody states a number that is none.
  void get(std::optional<float>& number) {
    number.reset();
    if (!from_.boolean()) return;
    number = from_.number<float>();
    if (!std::isfinite(*number)) from_.fail();
  }
  template <typename T>
  void get(std::vector<T>& items) {
    items = from_.list([&] {
      T item{};
      get(item);
      return item;
    });
  }
  template <typename T>
  void get(T& value) {
    if constexpr (std::is_arithmetic_v<T>)
      value = from_.number<T>();
    else
      fields(*this, value);
  }

  ByteReader& from_;
};

}  // namespace vesk::lv2
