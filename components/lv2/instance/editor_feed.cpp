#include "components/lv2/instance/editor_feed.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

namespace vesk::lv2 {
namespace {

constexpr std::uint32_t slot_bytes = 8;
constexpr std::uint32_t to_plugin_slots = 64 * 1024 / slot_bytes;
// Room for two periods of the largest output, but for no more than a graph or two of the plugins
// that announce 50 MB.
constexpr std::uint32_t most_to_view_bytes = 2 * 1024 * 1024;

std::uint32_t output_bytes(const Description& plugin, std::uint32_t port) {
  return std::max(plugin.ports[port].minimum_size, event_bytes);
}

std::uint32_t to_view_slots(const Description& plugin, const PortTable& ports) {
  std::uint32_t largest = event_bytes;
  for (const std::uint32_t port : ports.atom_outputs)
    largest = std::max(largest, std::min(output_bytes(plugin, port), most_to_view_bytes / 2));
  return std::bit_ceil(2 * largest) / slot_bytes;
}

}  // namespace

EditorFeed::EditorFeed(const Description& plugin, const PortTable& ports)
    : to_plugin_(to_plugin_slots), to_view_(to_view_slots(plugin, ports)) {
  for (const std::uint32_t port : ports.atom_outputs)
    if (plugin.ports[port].has(property_connection_optional))
      outputs_.emplace_back(port, output_bytes(plugin, port));
}

bool EditorFeed::send(std::uint32_t port, const LV2_Atom& atom) {
  return atom.size <= event_bytes &&
         to_plugin_.push(tag_of(view_of(view_.load(std::memory_order_relaxed)), port), &atom,
                         sizeof atom + atom.size);
}

void EditorFeed::begin_period() noexcept VESK_REALTIME {
  period_view_ = view_of(view_.load(std::memory_order_relaxed));
}

void EditorFeed::deliver(std::span<AtomBuffer> inputs) noexcept VESK_REALTIME {
  MessageRing::Cursor read = to_plugin_.begin();
  MessageRing::Cursor cursor = read;
  MessageRing::Message message;
  while (to_plugin_.next(cursor, message)) {
    const auto ahead = static_cast<std::int16_t>((message.tag >> port_bits) - period_view_);
    // From a view that came after this period had begun: the next one is for it.
    if (ahead > 0) break;
    read = cursor;
    LV2_Atom atom;
    std::memcpy(&atom, message.data, sizeof atom);
    for (AtomBuffer& input : inputs)
      if (message.tag == tag_of(period_view_, input.port()))
        input.append(0, atom.type, {message.data + sizeof atom, message.size - sizeof atom});
  }
  to_plugin_.release(read);
}

void EditorFeed::collect(const AtomBuffer& output) noexcept VESK_REALTIME {
  output.for_each_event([&](const LV2_Atom& atom) noexcept VESK_REALTIME {
    to_view_.push(tag_of(period_view_, output.port()), &atom,
                  static_cast<std::uint32_t>(sizeof atom) + atom.size);
  });
}

}  // namespace vesk::lv2
