#pragma once

// MIDI on its way to the next period.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "components/unit_support/message_ring.hpp"
#include "platform/realtime.hpp"

namespace vesk {

/// One event of a period.
struct TimedEvent {
  std::uint32_t frame = 0;
  std::uint32_t size = 0;
  const std::byte* data = nullptr;
};

/// Messages from any threads to the render thread, handed out sorted by frame; messages of one
/// frame keep the order in which they came.
class MidiQueue {
 public:
  MidiQueue();

  /// Any thread; real-time safe. A channel or system message, with seven bits in each data byte;
  /// what is no short message is dropped. `offset` is the frame within the next period. False when
  /// the queue is full (4,096 messages between two periods).
  bool push(std::uint32_t offset, std::uint32_t status, std::uint32_t data1,
            std::uint32_t data2) noexcept VESK_REALTIME;

  // Render thread, real-time safe.

  /// The messages for a period of `frames` > 0 frames; offsets beyond it are moved to its last
  /// frame. Valid until `release`.
  std::span<const TimedEvent> collect(std::uint32_t frames) noexcept VESK_REALTIME;
  /// Forgets what `collect` returned.
  void release() noexcept VESK_REALTIME;
  /// Forgets everything. Also on a control thread while nobody renders.
  void clear() noexcept VESK_REALTIME;

 private:
  MessageRing ring_;
  MessageRing::Cursor cursor_ = 0;
  std::unique_ptr<TimedEvent[]> events_;
};

}  // namespace vesk
