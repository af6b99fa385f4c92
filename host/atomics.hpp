#pragma once

#include <cstdint>

namespace vesk::host {

// The one place that makes a word of shared memory atomic. Each function names its order; what a
// store pairs with is said where the word is declared. All are lock-free and real-time safe. They
// are the compiler's own, since a parent's standard library may lack std::atomic_ref.

static_assert(__atomic_always_lock_free(sizeof(std::uint32_t), nullptr) &&
                  __atomic_always_lock_free(sizeof(std::uint64_t), nullptr),
              "words of shared memory are shared between processes");

/// Reads a word that the other side publishes: all that it wrote before storing it is visible.
inline std::uint32_t load_acquire(const std::uint32_t& word) noexcept {
  return __atomic_load_n(&word, __ATOMIC_ACQUIRE);
}

/// Reads a word once, as it stands: a counter that this side alone writes, or what another word
/// has published.
inline std::uint32_t load_relaxed(const std::uint32_t& word) noexcept {
  return __atomic_load_n(&word, __ATOMIC_RELAXED);
}

/// Publishes a word: everything this thread wrote before is visible to whoever acquires it.
inline void store_release(std::uint32_t& word, std::uint32_t value) noexcept {
  __atomic_store_n(&word, value, __ATOMIC_RELEASE);
}

// For the words of a shared workgroup record, which are 64 bits wide and publish nothing else.

inline std::uint64_t load_relaxed(const std::uint64_t& word) noexcept {
  return __atomic_load_n(&word, __ATOMIC_RELAXED);
}

inline void store_relaxed(std::uint64_t& word, std::uint64_t value) noexcept {
  __atomic_store_n(&word, value, __ATOMIC_RELAXED);
}

}  // namespace vesk::host
