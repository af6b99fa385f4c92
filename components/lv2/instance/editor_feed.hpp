#pragma once

// Atoms between the render thread and the view of a plugin's own interface.

#include <lv2/atom/atom.h>

#include <atomic>
#include <cstdint>
#include <span>
#include <vector>

#include "components/lv2/catalogue/description.hpp"
#include "components/lv2/instance/event_buffers.hpp"
#include "components/lv2/instance/port_table.hpp"
#include "components/unit_support/message_ring.hpp"
#include "platform/realtime.hpp"

namespace vesk::lv2 {

/// Two rings, and buffers for the outputs that nobody but an interface wants.
///
/// Design: made when the first view of a unit opens and kept until the unit ends, so that the
/// render thread may hold on to it for as long as it likes; whether a view is there is told by the
/// pointer that each period gets (`Period::editor`). The render thread owns the buffers and the
/// reading end of `to_plugin_`; the control thread has the reading end of `to_view_`. One view may
/// follow another within a period, so every message carries the number of the view that it is from
/// or for (the upper half of its tag, above the port), which the render thread reads once a period;
/// each side passes over what is not of the present view.
class EditorFeed {
 public:
  EditorFeed(const Description& plugin, const PortTable& ports);

  // Control thread.

  /// From here on messages are those of another view.
  void begin_view() { view_.fetch_add(1, std::memory_order_relaxed); }
  /// False when the ring is full or the atom is too large for it.
  bool send(std::uint32_t port, const LV2_Atom& atom);
  /// Calls `visit(port, atom)` for each atom that has come.
  template <typename Visit>
  void receive(Visit visit) {
    MessageRing::Cursor cursor = to_view_.begin();
    MessageRing::Message message;
    while (to_view_.next(cursor, message)) {
      if (message.tag >> port_bits == view_of(view_.load(std::memory_order_relaxed)))
        visit(message.tag & port_mask, reinterpret_cast<const LV2_Atom*>(message.data));
      to_view_.release(cursor);
    }
  }

  // Render thread, real-time safe.

  /// A period for the view that is there now.
  void begin_period() noexcept VESK_REALTIME;
  /// Buffers for the optional atom outputs.
  std::span<AtomBuffer> outputs() noexcept VESK_REALTIME { return outputs_; }
  /// Adds what the view has sent to the inputs, at frame 0.
  void deliver(std::span<AtomBuffer> inputs) noexcept VESK_REALTIME;
  /// Keeps the events of an output for the view; what finds no room is lost.
  void collect(const AtomBuffer& output) noexcept VESK_REALTIME;

 private:
  static constexpr std::uint32_t port_bits = 16;
  static constexpr std::uint32_t port_mask = (1u << port_bits) - 1;

  static constexpr std::uint32_t view_of(std::uint32_t count) noexcept VESK_REALTIME {
    return count & port_mask;
  }
  static constexpr std::uint32_t tag_of(std::uint32_t view,
                                        std::uint32_t port) noexcept VESK_REALTIME {
    return view << port_bits | (port & port_mask);
  }

  std::vector<AtomBuffer> outputs_;
  std::atomic<std::uint32_t> view_{0};
  std::uint32_t period_view_ = 0;  ///< the render thread's
  MessageRing to_plugin_;
  MessageRing to_view_;
};

}  // namespace vesk::lv2
