#pragma once

#include <cstddef>
#include <string>

namespace vesk::tests {

/// A state of a few bytes to some hundred kilobytes, all of which follows from its number, so that
/// a mixture of two shows.
inline std::string numbered_state(unsigned number) {
  const std::string word = std::to_string(number) + " ";
  const std::size_t size = number * std::size_t{7919} % 400'000;
  std::string state = word;
  while (state.size() < size) state += word;
  return state;
}

}  // namespace vesk::tests
