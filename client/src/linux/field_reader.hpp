#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <system_error>

namespace vesk::client {

/// Reads numbers and signs from the front of a text, as far as it has the expected form. The text
/// must outlive the reader.
class FieldReader {
 public:
  explicit FieldReader(std::string_view text)
      : next_(text.data()), end_(text.data() + text.size()) {}

  template <typename Number>
  bool number(Number& value, int base = 10) {
    const auto [stop, failure] = std::from_chars(next_, end_, value, base);
    if (failure != std::errc{}) return false;
    next_ = stop;
    return true;
  }

  bool literal(std::string_view expected) {
    if (static_cast<std::size_t>(end_ - next_) < expected.size() ||
        !std::equal(expected.begin(), expected.end(), next_))
      return false;
    next_ += expected.size();
    return true;
  }

 private:
  const char* next_;
  const char* end_;
};

}  // namespace vesk::client
