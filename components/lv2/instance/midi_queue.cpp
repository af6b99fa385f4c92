#include "components/lv2/instance/midi_queue.hpp"

#include <algorithm>

namespace vesk::lv2 {
namespace {

constexpr std::uint32_t slots = 4096;

}  // namespace

MidiQueue::MidiQueue() : ring_(slots), events_(std::make_unique<TimedEvent[]>(slots)) {}

bool MidiQueue::push(std::uint32_t offset, const void* bytes,
                     std::uint32_t size) noexcept VESK_REALTIME {
  return ring_.push(offset, bytes, size);
}

std::span<const TimedEvent> MidiQueue::collect(std::uint32_t frames) noexcept VESK_REALTIME {
  MessageRing::Message message;
  std::uint32_t count = 0;
  cursor_ = ring_.begin();
  while (count < slots && ring_.next(cursor_, message)) {
    TimedEvent event{std::min(message.tag, frames - 1), message.size, message.data};
    // Insertion from the back: events come in order but for the rare exception.
    std::uint32_t at = count++;
    for (; at > 0 && events_[at - 1].frame > event.frame; --at) events_[at] = events_[at - 1];
    events_[at] = event;
  }
  return {events_.get(), count};
}

void MidiQueue::release() noexcept VESK_REALTIME {
  ring_.release(cursor_);
}

void MidiQueue::clear() noexcept VESK_REALTIME {
  MessageRing::Message message;
  cursor_ = ring_.begin();
  while (ring_.next(cursor_, message)) {
  }
  release();
}

}  // namespace vesk::lv2
