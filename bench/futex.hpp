#pragma once

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <ctime>

#include "host/atomics.hpp"

/// What bare processes and threads wake one another with.
namespace vesk::bench {

/// Sleeps until the word holds another value; `limited`: with a time-out each time, as a host does.
inline void wait_while(const std::uint32_t& word, std::uint32_t value, bool limited) {
  const timespec limit{1, 0};
  while (host::load_acquire(word) == value)
    syscall(SYS_futex, &word, FUTEX_WAIT, value, limited ? &limit : nullptr, nullptr, 0);
}

inline void wake(const std::uint32_t& word, int most) {
  syscall(SYS_futex, &word, FUTEX_WAKE, most, nullptr, nullptr, 0);
}

/// Stores a new value, and wakes one who waits for it.
inline void publish(std::uint32_t& word, std::uint32_t value) {
  host::store_release(word, value);
  wake(word, 1);
}

}  // namespace vesk::bench
