#include "components/unit_support/midi_queue.hpp"

#include <algorithm>

namespace vesk {
namespace {

constexpr std::uint32_t slots = 4096;

/// Bytes of a channel or system message by its status; 0 for what is no short message.
std::uint32_t message_bytes(std::uint32_t status) noexcept VESK_REALTIME {
  if (status < 0x80 || status > 0xff) return 0;
  switch (status & 0xf0) {
    case 0xc0:
    case 0xd0:
      return 2;
    case 0xf0:
      break;
    default:
      return 3;
  }
  switch (status) {
    case 0xf1:
    case 0xf3:
      return 2;
    case 0xf2:
      return 3;
    case 0xf6:
    case 0xf8:
    case 0xfa:
    case 0xfb:
    case 0xfc:
      return 1;
    default:
      return 0;
  }
}

}  // namespace

MidiQueue::MidiQueue() : ring_(slots), events_(std::make_unique<TimedEvent[]>(slots)) {}

bool MidiQueue::push(std::uint32_t offset, std::uint32_t status, std::uint32_t data1,
                     std::uint32_t data2) noexcept VESK_REALTIME {
  const std::uint32_t size = message_bytes(status);
  if (size == 0) return true;
  // Plugins index tables with data bytes.
  const std::uint8_t bytes[3] = {static_cast<std::uint8_t>(status),
                                 static_cast<std::uint8_t>(data1 & 0x7f),
                                 static_cast<std::uint8_t>(data2 & 0x7f)};
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

}  // namespace vesk
