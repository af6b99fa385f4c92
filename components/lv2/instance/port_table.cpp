#include "components/lv2/instance/port_table.hpp"

namespace vesk::lv2 {
namespace {

constexpr std::uint32_t effect = 'aufx';
constexpr std::uint32_t music_effect = 'aumf';

void set_channel(std::vector<std::uint32_t>& channels, std::uint8_t channel, std::uint32_t port) {
  if (channels.size() <= channel) channels.resize(channel + 1u, port);
  channels[channel] = port;
}

}  // namespace

PortTable::PortTable(const Description& plugin) {
  has_input_bus = plugin.type == effect || plugin.type == music_effect;
  for (const Port& port : plugin.ports) {
    const bool input = port.direction == Direction::input;
    const ControlUse use = use_of(port);
    uses.push_back(use);
    switch (port.kind) {
      case PortKind::control:
        (input ? control_inputs : control_outputs).push_back(port.index);
        if (input && port.has(property_trigger)) triggers.push_back(port.index);
        if (use == ControlUse::latency && !latency) latency = port.index;
        if (use == ControlUse::enabled && !enabled) enabled = port.index;
        if (use == ControlUse::free_wheeling && !free_wheeling) free_wheeling = port.index;
        if (use == ControlUse::time) time_controls.push_back(port.index);
        break;
      case PortKind::audio:
        if (port.role == AudioRole::main && port.channel < 2 && (!input || has_input_bus))
          set_channel(input ? main_inputs : main_outputs, port.channel, port.index);
        else
          (input ? silent_inputs : unheard_outputs).push_back(port.index);
        break;
      case PortKind::cv:
        (input ? cv_inputs : cv_outputs).push_back(port.index);
        break;
      case PortKind::atom:
        (input ? atom_inputs : atom_outputs).push_back(port.index);
        if (input && !patch_input && (port.events & events_patch) != 0) patch_input = port.index;
        takes_midi = takes_midi || (input && (port.events & events_midi) != 0);
        break;
      case PortKind::event:
        (input ? event_inputs : event_outputs).push_back(port.index);
        takes_midi = takes_midi || (input && (port.events & events_midi) != 0);
        break;
      case PortKind::unknown:
        break;
    }
  }
  // Not every plugin says where it takes such messages.
  if (!patch_input && !atom_inputs.empty()) patch_input = atom_inputs.front();
  if (main_inputs.size() == 1 && main_outputs.size() == 1) instances = 2;
}

}  // namespace vesk::lv2
