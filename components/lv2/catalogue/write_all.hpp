#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <span>

namespace vesk::lv2 {

/// Writes all of `bytes`, whatever signals come meanwhile. False with `errno` when it cannot.
inline bool write_all(int descriptor, std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t done = ::write(descriptor, bytes.data(), bytes.size());
    if (done < 0 && errno == EINTR) continue;
    if (done <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(done));
  }
  return true;
}

}  // namespace vesk::lv2
