#pragma once

// Plain binary records: a writer that grows and a reader that cannot be led beyond its bytes.
// Numbers stand in the machine's own order; whoever stores such bytes marks the order.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace vesk::lv2 {

using Bytes = std::vector<std::byte>;

class ByteWriter {
 public:
  template <typename T>
  void number(T value) {
    static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>);
    const auto* begin = reinterpret_cast<const std::byte*>(&value);
    bytes_.insert(bytes_.end(), begin, begin + sizeof value);
  }
  void raw(std::span<const std::byte> bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  }
  void blob(std::span<const std::byte> bytes) {
    number(static_cast<std::uint32_t>(bytes.size()));
    raw(bytes);
  }
  void text(std::string_view text) { blob(std::as_bytes(std::span(text))); }
  template <typename Items, typename Put>
  void list(const Items& items, Put&& put) {
    number(static_cast<std::uint32_t>(items.size()));
    for (const auto& item : items) put(item);
  }

  const Bytes& bytes() const { return bytes_; }
  Bytes take() { return std::move(bytes_); }

 private:
  Bytes bytes_;
};

/// After the first read beyond the end (or a call of `fail`) every read gives zero or nothing and
/// `ok()` is false.
class ByteReader {
 public:
  explicit ByteReader(std::span<const std::byte> bytes) : rest_(bytes) {}

  template <typename T>
  T number() {
    static_assert(std::is_arithmetic_v<T>);
    T value{};
    const auto from = raw(sizeof value);
    if (ok_) std::memcpy(&value, from.data(), sizeof value);
    return value;
  }
  /// An enumerator no greater than `last`.
  template <typename T>
  T enumerator(T last) {
    const auto value = number<std::underlying_type_t<T>>();
    if (value > static_cast<std::underlying_type_t<T>>(last)) fail();
    return ok_ ? static_cast<T>(value) : T{};
  }
  bool boolean() {
    const auto value = number<std::uint8_t>();
    if (value > 1) fail();
    return value == 1;
  }
  std::span<const std::byte> raw(std::size_t size) {
    if (!ok_ || size > rest_.size()) {
      fail();
      return {};
    }
    const auto front = rest_.first(size);
    rest_ = rest_.subspan(size);
    return front;
  }
  std::span<const std::byte> blob() { return raw(number<std::uint32_t>()); }
  std::string text() {
    const auto from = blob();
    return {reinterpret_cast<const char*>(from.data()), from.size()};
  }
  template <typename Get>
  auto list(Get&& get) {
    std::vector<std::decay_t<decltype(get())>> items;
    const auto count = number<std::uint32_t>();
    // No item is empty, so a count beyond the bytes left is damage: never reserve by it.
    if (count > rest_.size()) fail();
    for (std::uint32_t i = 0; ok_ && i < count; ++i) items.push_back(get());
    return items;
  }

  void fail() {
    ok_ = false;
    rest_ = {};
  }
  bool ok() const { return ok_; }
  bool at_end() const { return rest_.empty(); }

 private:
  std::span<const std::byte> rest_;
  bool ok_ = true;
};

/// A check value over words of eight bytes: each step is a bijection, so a change within one word
/// is always seen, any other all but surely. Not for use against malice.
inline std::uint64_t check_value(std::span<const std::byte> bytes) {
  std::uint64_t hash = 0xcbf29ce484222325u ^ bytes.size();
  const auto mix = [&hash](std::uint64_t word) {
    hash = (hash ^ word) * 0x100000001b3u;
    hash ^= hash >> 29;
  };
  while (bytes.size() >= sizeof(std::uint64_t)) {
    std::uint64_t word;
    std::memcpy(&word, bytes.data(), sizeof word);
    mix(word);
    bytes = bytes.subspan(sizeof word);
  }
  std::uint64_t tail = 0;
  if (!bytes.empty()) std::memcpy(&tail, bytes.data(), bytes.size());
  mix(tail);
  return hash;
}

}  // namespace vesk::lv2
