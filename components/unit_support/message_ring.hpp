#pragma once

// Small messages from any threads to one, without a lock.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "platform/realtime.hpp"

namespace vesk {

/// A bounded queue of messages of any length, in the order in which their places were taken.
///
/// Design: `head_` and `tail_` count 8-byte slots and never wrap in practice (64 bits). A producer
/// takes its slots by moving `head_` with a compare-exchange, copies its bytes, and then stores the
/// message's header word (release); the consumer stops at the first slot whose header is still 0
/// (acquire), so it never sees half a message, and a producer that was interrupted in between only
/// delays what comes after it. The consumer clears the headers it has passed, then moves `tail_`
/// (release), which producers read (acquire) before they take slots again: a taken slot is always
/// one with a cleared header and read bytes. A message never wraps: where it would, a filler takes
/// the slots up to the end. Not safe: two consumers.
class MessageRing {
 public:
  struct Message {
    std::uint32_t tag = 0;
    std::uint32_t size = 0;
    const std::byte* data = nullptr;
  };
  using Cursor = std::uint64_t;

  /// `slots` is a power of two; a message of n bytes takes max(1, ceil(n / 8)) of them.
  explicit MessageRing(std::uint32_t slots)
      : mask_(slots - 1),
        headers_(std::make_unique<std::atomic<std::uint64_t>[]>(slots)),
        bytes_(std::make_unique<std::byte[]>(std::size_t{slots} * slot_bytes)) {}

  /// Any thread; real-time safe. False when there is no room.
  bool push(std::uint32_t tag, const void* data, std::uint32_t size) noexcept VESK_REALTIME {
    if (size > maximum_size) return false;
    const std::uint64_t capacity = mask_ + 1;
    const std::uint64_t slots = size == 0 ? 1 : (std::uint64_t{size} + slot_bytes - 1) / slot_bytes;
    std::uint64_t head = head_.load(std::memory_order_relaxed);
    std::uint64_t filler = 0;
    do {
      const std::uint64_t to_end = capacity - (head & mask_);
      filler = slots > to_end ? to_end : 0;
      const std::uint64_t used = head - tail_.load(std::memory_order_acquire);
      if (used + filler + slots > capacity) return false;
    } while (!head_.compare_exchange_weak(head, head + filler + slots, std::memory_order_relaxed));
    if (filler != 0) {
      headers_[head & mask_].store(ready_bit | filler_bit | filler, std::memory_order_release);
      head += filler;
    }
    if (size != 0) std::memcpy(bytes_.get() + (head & mask_) * slot_bytes, data, size);
    headers_[head & mask_].store(ready_bit | std::uint64_t{size} << 32 | tag,
                                 std::memory_order_release);
    return true;
  }

  /// The consumer's thread, like the two below; real-time safe.
  Cursor begin() const noexcept VESK_REALTIME { return tail_.load(std::memory_order_relaxed); }

  /// Reads the message at `cursor` and moves past it; false when none is ready. The bytes stay
  /// valid until `release`.
  bool next(Cursor& cursor, Message& message) const noexcept VESK_REALTIME {
    std::uint64_t header = 0;
    for (;;) {
      if (cursor - tail_.load(std::memory_order_relaxed) > mask_)
        return false;  // once round: the next header is the first one read
      header = headers_[cursor & mask_].load(std::memory_order_acquire);
      if (header == 0) return false;
      if ((header & filler_bit) == 0) break;
      cursor += header & 0xffffffffu;
    }
    message.tag = static_cast<std::uint32_t>(header);
    message.size = static_cast<std::uint32_t>(header >> 32) & maximum_size;
    message.data = bytes_.get() + (cursor & mask_) * slot_bytes;
    cursor += slots_of(header);
    return true;
  }

  /// Gives back everything before `cursor`.
  void release(Cursor cursor) noexcept VESK_REALTIME {
    std::uint64_t at = tail_.load(std::memory_order_relaxed);
    while (at != cursor) {
      std::atomic<std::uint64_t>& header = headers_[at & mask_];
      at += slots_of(header.load(std::memory_order_relaxed));
      header.store(0, std::memory_order_relaxed);
    }
    tail_.store(cursor, std::memory_order_release);
  }

 private:
  static constexpr std::uint64_t slot_bytes = 8;
  static constexpr std::uint64_t ready_bit = 1ull << 63;
  static constexpr std::uint64_t filler_bit = 1ull << 62;
  static constexpr std::uint32_t maximum_size = 0x00ffffffu;

  static std::uint64_t slots_of(std::uint64_t header) noexcept VESK_REALTIME {
    if ((header & filler_bit) != 0) return header & 0xffffffffu;
    const std::uint64_t size = (header >> 32) & maximum_size;
    return size == 0 ? 1 : (size + slot_bytes - 1) / slot_bytes;
  }

  const std::uint64_t mask_;
  std::unique_ptr<std::atomic<std::uint64_t>[]> headers_;
  std::unique_ptr<std::byte[]> bytes_;
  std::atomic<std::uint64_t> head_{0};
  std::atomic<std::uint64_t> tail_{0};
};

}  // namespace vesk
