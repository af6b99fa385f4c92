#include "components/lv2/instance/event_buffers.hpp"

#include <array>
#include <cstring>

#include "components/lv2/instance/urid_map.hpp"

#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
#include <lv2/event/event.h>

namespace vesk::lv2 {
namespace {

constexpr std::uint32_t padded(std::uint32_t size) noexcept {
  return (size + 7u) & ~7u;
}

// One property of an object atom with a body of at most 8 bytes: the layout that
// lv2_atom_forge_key and the call after it write.
struct ObjectProperty {
  std::uint32_t key;
  std::uint32_t context;
  std::uint32_t size;
  std::uint32_t type;
  std::uint64_t body;
};
static_assert(sizeof(ObjectProperty) == 24);

struct PositionBody {
  LV2_Atom_Object_Body head;
  std::array<ObjectProperty, 7> properties;
};
static_assert(sizeof(PositionBody) == 8 + 7 * 24);

template <typename T>
ObjectProperty property(std::uint32_t key, std::uint32_t type, T value) noexcept VESK_REALTIME {
  ObjectProperty made{key, 0, sizeof value, type, 0};
  std::memcpy(&made.body, &value, sizeof value);
  return made;
}

}  // namespace

AtomBuffer::AtomBuffer(std::uint32_t port, std::uint32_t bytes)
    : port_(port),
      bytes_(padded(bytes)),
      // Not cleared: the buffers of some meters take 50 MB, of which a few pages are used.
      words_(new std::uint64_t[bytes_ / 8]),
      sequence_type_(urids().atom_sequence),
      chunk_type_(urids().atom_chunk) {
  clear();
}

void AtomBuffer::offer() noexcept VESK_REALTIME {
  sequence().atom = {bytes_ - static_cast<std::uint32_t>(sizeof(LV2_Atom)), chunk_type_};
}

void AtomBuffer::clear() noexcept VESK_REALTIME {
  sequence() = {{sizeof(LV2_Atom_Sequence_Body), sequence_type_}, {0, 0}};
}

bool AtomBuffer::append(std::uint32_t frame, std::uint32_t type,
                        std::span<const std::byte> body) noexcept VESK_REALTIME {
  const auto size = static_cast<std::uint32_t>(body.size());
  const std::uint32_t used = static_cast<std::uint32_t>(sizeof(LV2_Atom)) + sequence().atom.size;
  const std::uint32_t needed = static_cast<std::uint32_t>(sizeof(LV2_Atom_Event)) + padded(size);
  if (size > bytes_ || used + needed > bytes_) return false;
  auto* at = reinterpret_cast<std::byte*>(words_.get()) + used;
  auto* event = reinterpret_cast<LV2_Atom_Event*>(at);
  event->time.frames = frame;
  event->body = {size, type};
  std::memset(at + needed - 8, 0, padded(size) != 0 ? 8 : 0);
  std::memcpy(event + 1, body.data(), size);
  sequence().atom.size += needed;
  return true;
}

bool AtomBuffer::append(const Position& position, const Urids& ids) noexcept VESK_REALTIME {
  PositionBody body{{0, ids.time_position}, {}};
  std::size_t count = 0;
  body.properties[count++] = property(ids.time_frame, ids.atom_long, position.frame);
  body.properties[count++] = property(ids.time_speed, ids.atom_float, position.speed);
  if (position.has_tempo) {
    body.properties[count++] =
        property(ids.time_beats_per_minute, ids.atom_float, position.beats_per_minute);
  }
  if (position.has_meter) {
    body.properties[count++] = property(ids.time_bar, ids.atom_long, position.bar);
    body.properties[count++] = property(ids.time_bar_beat, ids.atom_float, position.bar_beat);
    body.properties[count++] = property(ids.time_beat_unit, ids.atom_int, position.beat_unit);
    body.properties[count++] =
        property(ids.time_beats_per_bar, ids.atom_float, position.beats_per_bar);
  }
  const std::size_t size = sizeof body.head + count * sizeof(ObjectProperty);
  return append(0, ids.atom_object, {reinterpret_cast<const std::byte*>(&body), size});
}

struct OldEventBuffer::Storage {
  LV2_Event_Buffer header{};
  std::unique_ptr<std::uint64_t[]> words;
};

OldEventBuffer::OldEventBuffer(std::uint32_t port, std::uint32_t bytes)
    : port_(port), storage_(std::make_unique<Storage>()) {
  storage_->words.reset(new std::uint64_t[padded(bytes) / 8]);
  storage_->header.data = reinterpret_cast<std::uint8_t*>(storage_->words.get());
  storage_->header.header_size = sizeof(LV2_Event_Buffer);
  storage_->header.stamp_type = LV2_EVENT_AUDIO_STAMP;
  storage_->header.capacity = padded(bytes);
}

OldEventBuffer::~OldEventBuffer() = default;
OldEventBuffer::OldEventBuffer(OldEventBuffer&&) noexcept = default;

void* OldEventBuffer::data() const {
  return &storage_->header;
}

void OldEventBuffer::clear() noexcept VESK_REALTIME {
  storage_->header.event_count = 0;
  storage_->header.size = 0;
}

bool OldEventBuffer::append(std::uint32_t frame, std::uint32_t type,
                            std::span<const std::byte> body) noexcept VESK_REALTIME {
  LV2_Event_Buffer& header = storage_->header;
  const auto size = static_cast<std::uint32_t>(body.size());
  const std::uint32_t needed = padded(static_cast<std::uint32_t>(sizeof(LV2_Event)) + size);
  if (size > 0xffff || header.size + needed > header.capacity) return false;
  auto* event = reinterpret_cast<LV2_Event*>(header.data + header.size);
  *event = {frame, 0, static_cast<std::uint16_t>(type), static_cast<std::uint16_t>(size)};
  std::memcpy(event + 1, body.data(), size);
  header.size += needed;
  ++header.event_count;
  return true;
}

}  // namespace vesk::lv2

#pragma clang diagnostic pop
