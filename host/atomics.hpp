#pragma once

#include <atomic>
#include <cstdint>

namespace vesk::host {

// The one place that makes a word of shared memory atomic. Each function names its order; what a
// store pairs with is said where the word is declared. All are lock-free and real-time safe.

static_assert(std::atomic_ref<std::uint32_t>::is_always_lock_free,
              "the words of the block are shared between processes");

/// Reads a word that the other side publishes: all that it wrote before storing it is visible.
inline std::uint32_t load_acquire(const std::uint32_t& word) noexcept {
  return std::atomic_ref<std::uint32_t>(const_cast<std::uint32_t&>(word))
      .load(std::memory_order_acquire);
}

/// Reads a word once, as it stands: a counter that this side alone writes, or what another word
/// has published.
inline std::uint32_t load_relaxed(const std::uint32_t& word) noexcept {
  return std::atomic_ref<std::uint32_t>(const_cast<std::uint32_t&>(word))
      .load(std::memory_order_relaxed);
}

/// Publishes a word: everything this thread wrote before is visible to whoever acquires it.
inline void store_release(std::uint32_t& word, std::uint32_t value) noexcept {
  std::atomic_ref<std::uint32_t>(word).store(value, std::memory_order_release);
}

// For the words of a shared workgroup record, which are 64 bits wide and publish nothing else.

inline std::uint64_t load_relaxed(const std::uint64_t& word) noexcept {
  return std::atomic_ref<std::uint64_t>(const_cast<std::uint64_t&>(word))
      .load(std::memory_order_relaxed);
}

inline void store_relaxed(std::uint64_t& word, std::uint64_t value) noexcept {
  std::atomic_ref<std::uint64_t>(word).store(value, std::memory_order_relaxed);
}

}  // namespace vesk::host
