#pragma once

#include <exception>
#include <string>
#include <type_traits>

namespace vesk::client {

/// Runs what may throw (memory that cannot be had) on behalf of a caller who must not see it.
template <typename Call>
auto guarded(std::string& error, Call&& call) noexcept -> decltype(call()) {
  try {
    return call();
  } catch (const std::exception& failure) {
    try {
      error = failure.what();
    } catch (...) {
      error.clear();
    }
    return {};
  }
}

template <typename Call>
auto guarded(Call&& call) noexcept -> decltype(call()) {
  try {
    return call();
  } catch (const std::exception&) {
    if constexpr (std::is_void_v<decltype(call())>)
      return;
    else
      return {};
  }
}

}  // namespace vesk::client
