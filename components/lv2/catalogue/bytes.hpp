#pragma once

// Records as bytes, field by field, in the machine's own order.
//
// What a record consists of is said once, by a function `fields(stream, record)` in this namespace
// that calls `stream` with the fields in their order. It serves both ways: a ByteWriter takes
// them, a ByteReader sets them.

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace vesk::lv2 {

using Bytes = std::vector<std::byte>;

/// `T` is `Record`, or `const Record` where it is written.
template <typename T, typename Record>
concept RecordOf = std::same_as<std::remove_const_t<T>, Record>;

/// A value that is stored as it lies in memory.
template <typename T>
concept PlainValue = std::is_arithmetic_v<T> || std::is_enum_v<T> || std::same_as<T, std::byte>;

class ByteWriter {
 public:
  template <typename... Fields>
  void operator()(const Fields&... each) {
    (put(each), ...);
  }
  Bytes take() { return std::move(bytes_); }

 private:
  void put(const PlainValue auto& value) { put_raw(std::as_bytes(std::span(&value, 1))); }
  void put(const std::string& text) {
    put(static_cast<std::uint32_t>(text.size()));
    put_raw(std::as_bytes(std::span(text)));
  }
  template <typename T>
  void put(const std::vector<T>& items) {
    put(static_cast<std::uint32_t>(items.size()));
    if constexpr (std::same_as<T, std::byte>)
      put_raw(items);
    else
      for (const T& item : items) put(item);
  }
  template <typename T>
  void put(const std::optional<T>& value) {
    put(value.has_value());
    if (value) put(*value);
  }
  template <typename T>
  void put(const T& record) {
    fields(*this, record);
  }
  void put_raw(std::span<const std::byte> bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  }

  Bytes bytes_;
};

/// Cannot be led beyond its bytes: after the first read that wants more than there is, every read
/// gives zero or nothing and `ok()` is false.
class ByteReader {
 public:
  explicit ByteReader(std::span<const std::byte> bytes) : rest_(bytes) {}

  template <typename... Fields>
  void operator()(Fields&... each) {
    (get(each), ...);
  }
  bool ok() const { return ok_; }
  bool at_end() const { return rest_.empty(); }

 private:
  template <PlainValue T>
  void get(T& value) {
    value = T{};
    const auto from = raw(sizeof value);
    if (from.empty()) return;
    if constexpr (std::same_as<T, bool>)
      value = from[0] != std::byte{};
    else
      std::memcpy(&value, from.data(), sizeof value);
  }
  void get(std::string& text) {
    const auto from = raw(count());
    text.assign(reinterpret_cast<const char*>(from.data()), from.size());
  }
  void get(Bytes& bytes) {
    const auto from = raw(count());
    bytes.assign(from.begin(), from.end());
  }
  template <typename T>
  void get(std::vector<T>& items) {
    items.clear();
    // Grows item by item: a count that is wrong must not reserve memory.
    for (std::uint32_t left = count(); ok_ && left > 0; --left) get(items.emplace_back());
  }
  template <typename T>
  void get(std::optional<T>& value) {
    bool is_there = false;
    get(is_there);
    value.reset();
    if (is_there) get(value.emplace());
  }
  template <typename T>
  void get(T& record) {
    fields(*this, record);
  }

  std::uint32_t count() {
    std::uint32_t value = 0;
    get(value);
    return value;
  }
  std::span<const std::byte> raw(std::size_t size) {
    ok_ = ok_ && size <= rest_.size();
    if (!ok_) return {};
    const auto front = rest_.first(size);
    rest_ = rest_.subspan(size);
    return front;
  }

  std::span<const std::byte> rest_;
  bool ok_ = true;
};

}  // namespace vesk::lv2
