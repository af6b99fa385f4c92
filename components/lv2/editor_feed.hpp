#pragma once

// Atoms between the render thread and the view of a plugin's own interface.

#include <lv2/atom/atom.h>

#include <cstdint>
#include <span>
#include <vector>

#include "components/lv2/description.hpp"
#include "components/lv2/event_buffers.hpp"
#include "components/lv2/message_ring.hpp"
#include "components/lv2/port_table.hpp"
#include "platform/realtime.hpp"

namespace vesk::lv2 {

/// Two rings, and buffers for the outputs that nobody but an interface wants.
///
/// Design: made when the first view of a unit opens and kept until the unit ends, so that the
/// render thread may hold on to it for as long as it likes; whether a view is there is told by the
/// pointer that each period gets (`Period::editor`). The render thread owns the buffers and the
/// reading end of `to_plugin_`; the control thread has the reading end of `to_view_`.
class EditorFeed {
 public:
  EditorFeed(const Description& plugin, const PortTable& ports);

  // Control thread.

  /// False when the ring is full or the atom is too large for it.
  bool send(std::uint32_t port, const LV2_Atom& atom);
  /// Calls `visit(port, atom)` for each atom that has come.
  template <typename Visit>
  void receive(Visit visit) {
    MessageRing::Cursor cursor = to_view_.begin();
    MessageRing::Message message;
    while (to_view_.next(cursor, message)) {
      visit(message.tag, reinterpret_cast<const LV2_Atom*>(message.data));
      to_view_.release(cursor);
    }
  }

  // Render thread, real-time safe.

  /// Buffers for the optional atom outputs.
  std::span<AtomBuffer> outputs() noexcept VESK_REALTIME { return outputs_; }
  /// Forgets what an earlier view has sent.
  void forget_messages() noexcept VESK_REALTIME;
  /// Adds what the view has sent to the inputs, at frame 0.
  void deliver(std::span<AtomBuffer> inputs) noexcept VESK_REALTIME;
  /// Keeps the events of an output for the view; what finds no room is lost.
  void collect(const AtomBuffer& output) noexcept VESK_REALTIME;

 private:
  std::vector<AtomBuffer> outputs_;
  MessageRing to_plugin_;
  MessageRing to_view_;
};

}  // namespace vesk::lv2
