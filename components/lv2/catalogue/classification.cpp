#include "components/lv2/catalogue/classification.hpp"

#include <lv2/core/lv2.h>
#include <lv2/time/time.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace vesk::lv2 {
namespace {

constexpr std::string_view class_instrument = "http://lv2plug.in/ns/lv2core#InstrumentPlugin";

struct Counts {
  std::uint32_t audio_inputs = 0;
  std::uint32_t audio_outputs = 0;
  bool midi_in = false;
  bool midi_out = false;
  bool has_cv = false;
};

Counts count_ports(const Description& plugin) {
  Counts counts;
  for (const Port& port : plugin.ports) {
    const bool input = port.direction == Direction::input;
    if (port.kind == PortKind::audio) ++(input ? counts.audio_inputs : counts.audio_outputs);
    counts.has_cv = counts.has_cv || port.kind == PortKind::cv;
    if (port.events & events_midi) (input ? counts.midi_in : counts.midi_out) = true;
  }
  return counts;
}

std::string lower(std::string_view text) {
  std::string result(text);
  for (char& c : result)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return result;
}

/// The extension's mark is rare; most plugins tell by symbol or name only.
bool looks_like_side_chain(const Port& port) {
  if (port.has(property_side_chain)) return true;
  const std::string symbol = lower(port.symbol);
  if (symbol == "sc" || symbol.starts_with("sc_")) return true;
  for (const std::string& text : {symbol, lower(port.name)}) {
    for (const std::string_view word : {"sidechain", "side chain", "side-chain", "sidech"})
      if (text.find(word) != std::string::npos) return true;
  }
  return false;
}

bool is_called_input(const Port& port) {
  const std::string symbol = lower(port.symbol);
  return symbol == "in" || symbol == "input";
}

/// Two inputs to one output are never left and right: one of them is a side input. Where neither
/// says so it is the second, unless that alone is called the input (a modulated delay takes its
/// time first).
void assign_roles(Description& plugin, const Counts& counts) {
  std::vector<Port*> inputs;
  for (Port& port : plugin.ports) {
    port.role = AudioRole::none;
    port.channel = 0;
    if (port.kind != PortKind::audio) continue;
    port.role = AudioRole::main;
    if (port.direction == Direction::input) inputs.push_back(&port);
  }
  for (Port* input : inputs)
    if (looks_like_side_chain(*input)) input->role = AudioRole::side;
  const auto is_side = [](const Port* port) { return port->role == AudioRole::side; };
  if (!inputs.empty() && std::ranges::all_of(inputs, is_side))
    for (Port* input : inputs) input->role = AudioRole::main;
  if (counts.audio_inputs == 2 && counts.audio_outputs == 1 &&
      std::ranges::none_of(inputs, is_side)) {
    const bool first_is_side = is_called_input(*inputs[1]) && !is_called_input(*inputs[0]);
    inputs[first_is_side ? 0 : 1]->role = AudioRole::side;
  }

  plugin.main_inputs = plugin.main_outputs = 0;
  for (Port& port : plugin.ports) {
    if (port.role != AudioRole::main) continue;
    auto& count = port.direction == Direction::input ? plugin.main_inputs : plugin.main_outputs;
    port.channel = static_cast<std::uint8_t>(std::min<std::uint32_t>(count, 255));
    ++count;
  }
}

std::uint32_t type_of(const Description& plugin, const Counts& counts) {
  const bool instrument_class =
      std::ranges::find(plugin.classes, class_instrument) != plugin.classes.end();
  if (counts.audio_outputs > 0) {
    if (instrument_class || (counts.midi_in && counts.audio_inputs == 0)) return type_instrument;
    if (counts.audio_inputs == 0) return type_generator;
    return counts.midi_in ? type_music_effect : type_effect;
  }
  if (counts.audio_inputs == 0 && (counts.midi_in || counts.midi_out)) return type_midi_processor;
  return 0;
}

std::string why_not_hosted(const Description& plugin, const Counts& counts) {
  if (plugin.type == 0) {
    if (counts.audio_inputs > 0) return "it takes audio and makes none";
    return counts.has_cv ? "it works on control voltage alone"
                         : "it has neither audio nor MIDI ports";
  }
  if (plugin.type == type_midi_processor) return "it works on MIDI alone";
  // Further inputs may be left silent when they are side inputs; further outputs are bands or
  // voices of their own, of which no two make the whole.
  if (plugin.main_inputs > max_channels || plugin.main_outputs > max_channels) {
    return "it has more than 2 main inputs or outputs (" + std::to_string(plugin.main_inputs) +
           " and " + std::to_string(plugin.main_outputs) + ")";
  }
  if (plugin.library.empty()) return "its description names no library";
  for (const Port& port : plugin.ports)
    if (port.kind == PortKind::unknown && !port.has(property_connection_optional))
      return "one of its ports is of an unknown kind (" + port.symbol + ")";
  return {};
}

}  // namespace

ControlUse use_of(const Port& port) {
  if (port.kind != PortKind::control) return ControlUse::none;
  const std::string_view designation = port.designation;
  if (port.direction == Direction::output) {
    return port.has(property_reports_latency) || designation == LV2_CORE__latency
               ? ControlUse::latency
               : ControlUse::meter;
  }
  if (designation == LV2_CORE__enabled) return ControlUse::enabled;
  if (designation == LV2_CORE__freeWheeling) return ControlUse::free_wheeling;
  if (designation.starts_with(LV2_TIME_PREFIX)) return ControlUse::time;
  return ControlUse::parameter;
}

void classify(Description& plugin) {
  const Counts counts = count_ports(plugin);
  assign_roles(plugin, counts);
  plugin.type = type_of(plugin, counts);
  if (plugin.not_hosted.empty()) plugin.not_hosted = why_not_hosted(plugin, counts);
}

}  // namespace vesk::lv2
