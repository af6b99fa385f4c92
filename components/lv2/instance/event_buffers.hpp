#pragma once

// The buffers behind atom and event ports, written without allocation.

#include <lv2/atom/atom.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "components/lv2/instance/transport.hpp"
#include "components/lv2/instance/urid_map.hpp"
#include "platform/realtime.hpp"

namespace vesk::lv2 {

/// What an event port's buffer holds unless the port asks for more.
constexpr std::uint32_t event_bytes = 64 * 1024;

/// An atom port's buffer.
class AtomBuffer {
 public:
  AtomBuffer(std::uint32_t port, std::uint32_t bytes);

  std::uint32_t port() const { return port_; }
  void* data() const { return words_.get(); }

  // Render thread, all of them real-time safe.

  /// Makes the buffer what an output port finds before a run: all capacity, no content.
  void offer() noexcept VESK_REALTIME;
  /// Makes it a sequence without events.
  void clear() noexcept VESK_REALTIME;
  /// Adds an event; frames may not decrease. False, and nothing added, when there is no room.
  bool append(std::uint32_t frame, std::uint32_t type,
              std::span<const std::byte> body) noexcept VESK_REALTIME;
  /// Adds a time:Position at frame 0.
  bool append(const Position& position, const Urids& ids) noexcept VESK_REALTIME;
  /// Calls `visit(atom)` for each event that the plugin left here; stops at one that does not end
  /// within the buffer.
  template <typename Visit>
  void for_each_event(Visit visit) const noexcept VESK_REALTIME {
    const LV2_Atom_Sequence& events = sequence();
    if (events.atom.type != sequence_type_ || events.atom.size > bytes_ - sizeof(LV2_Atom)) return;
    const auto* bytes = reinterpret_cast<const std::byte*>(words_.get());
    const std::size_t end = sizeof(LV2_Atom) + events.atom.size;
    std::size_t at = sizeof(LV2_Atom_Sequence);
    while (at + sizeof(LV2_Atom_Event) <= end) {
      const auto& event = *reinterpret_cast<const LV2_Atom_Event*>(bytes + at);
      if (event.body.size > end - at - sizeof(LV2_Atom_Event)) return;
      visit(event.body);
      at += sizeof(LV2_Atom_Event) + ((std::size_t{event.body.size} + 7) & ~std::size_t{7});
    }
  }

 private:
  LV2_Atom_Sequence& sequence() const noexcept VESK_REALTIME {
    return *reinterpret_cast<LV2_Atom_Sequence*>(words_.get());
  }

  std::uint32_t port_;
  std::uint32_t bytes_;
  std::unique_ptr<std::uint64_t[]> words_;
  std::uint32_t sequence_type_, chunk_type_;
};

/// The buffer of a port of the event extension that came before atoms.
class OldEventBuffer {
 public:
  OldEventBuffer(std::uint32_t port, std::uint32_t bytes);
  ~OldEventBuffer();
  OldEventBuffer(OldEventBuffer&&) noexcept;

  std::uint32_t port() const { return port_; }
  void* data() const;

  // Render thread, real-time safe.
  void clear() noexcept VESK_REALTIME;
  bool append(std::uint32_t frame, std::uint32_t type,
              std::span<const std::byte> body) noexcept VESK_REALTIME;

 private:
  struct Storage;
  std::uint32_t port_;
  std::unique_ptr<Storage> storage_;
};

}  // namespace vesk::lv2
