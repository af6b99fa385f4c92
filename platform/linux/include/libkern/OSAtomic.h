#pragma once

/* Atomic operations of the time before C and C++ had their own. Each orders all memory around it,
 * by either of its names. Any thread; real-time safe. */

#include <stdbool.h>
#include <stdint.h>

static inline void OSMemoryBarrier(void) {
  __atomic_thread_fence(__ATOMIC_SEQ_CST);
}

/* These return the new value. */

static inline int32_t OSAtomicAdd32Barrier(int32_t amount, volatile int32_t* value) {
  return __atomic_add_fetch(value, amount, __ATOMIC_SEQ_CST);
}
static inline int32_t OSAtomicIncrement32Barrier(volatile int32_t* value) {
  return OSAtomicAdd32Barrier(1, value);
}
static inline int32_t OSAtomicDecrement32Barrier(volatile int32_t* value) {
  return OSAtomicAdd32Barrier(-1, value);
}
static inline int32_t OSAtomicOr32Barrier(uint32_t mask, volatile uint32_t* value) {
  return (int32_t)__atomic_or_fetch(value, mask, __ATOMIC_SEQ_CST);
}
static inline int32_t OSAtomicAnd32Barrier(uint32_t mask, volatile uint32_t* value) {
  return (int32_t)__atomic_and_fetch(value, mask, __ATOMIC_SEQ_CST);
}

/* These return whether `*value` was `expected` and has been replaced. */

static inline bool OSAtomicCompareAndSwap32Barrier(int32_t expected, int32_t wanted,
                                                   volatile int32_t* value) {
  return __atomic_compare_exchange_n(value, &expected, wanted, false, __ATOMIC_SEQ_CST,
                                     __ATOMIC_SEQ_CST);
}
static inline bool OSAtomicCompareAndSwapPtrBarrier(void* expected, void* wanted,
                                                    void* volatile* value) {
  return __atomic_compare_exchange_n(value, &expected, wanted, false, __ATOMIC_SEQ_CST,
                                     __ATOMIC_SEQ_CST);
}

/* These return what the bit was. Bits count from the highest of the first byte. */

static inline bool OSAtomicTestAndSetBarrier(uint32_t bit, volatile void* bytes) {
  const uint8_t mask = (uint8_t)(0x80u >> (bit & 7));
  return __atomic_fetch_or((volatile uint8_t*)bytes + (bit >> 3), mask, __ATOMIC_SEQ_CST) & mask;
}
static inline bool OSAtomicTestAndClearBarrier(uint32_t bit, volatile void* bytes) {
  const uint8_t mask = (uint8_t)(0x80u >> (bit & 7));
  return __atomic_fetch_and((volatile uint8_t*)bytes + (bit >> 3), (uint8_t)~mask,
                            __ATOMIC_SEQ_CST) &
         mask;
}

#define OSAtomicAdd32 OSAtomicAdd32Barrier
#define OSAtomicIncrement32 OSAtomicIncrement32Barrier
#define OSAtomicDecrement32 OSAtomicDecrement32Barrier
#define OSAtomicCompareAndSwap32 OSAtomicCompareAndSwap32Barrier
#define OSAtomicCompareAndSwapPtr OSAtomicCompareAndSwapPtrBarrier
