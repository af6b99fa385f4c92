#pragma once

// MIDI on its way to the next period.

#include <cstdint>
#include <memory>
#include <span>

#include "components/lv2/instance/event_buffers.hpp"
#include "components/lv2/instance/message_ring.hpp"
#include "platform/realtime.hpp"

namespace vesk::lv2 {

/// Messages from any threads to the render thread, handed out sorted by frame; messages of one
/// frame keep the order in which they came.
class MidiQueue {
 public:
  MidiQueue();

  /// Any thread; real-time safe. `offset` is the frame within the next period. False when the
  /// queue is full (4,096 short messages between two periods).
  bool push(std::uint32_t offset, const void* bytes, std::uint32_t size) noexcept VESK_REALTIME;

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

}  // namespace vesk::lv2
