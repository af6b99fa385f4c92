#include "tests/support/reference_plugin.hpp"

#include <lv2/atom/atom.h>
#include <lv2/atom/util.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/midi/midi.h>
#include <lv2/options/options.h>
#include <lv2/urid/urid.h>

#include <cmath>
#include <cstdio>
#include <map>

namespace vesk::reference {
namespace {

constexpr std::size_t sequence_bytes = 65'536;

LV2_URID map_uri(LV2_URID_Map_Handle, const char* uri) {
  static std::map<std::string, LV2_URID> ids;
  return ids.emplace(uri, static_cast<LV2_URID>(ids.size() + 1)).first->second;
}

LV2_URID_Map g_map{nullptr, map_uri};

/// The features that the plugins of the benchmarks ask for.
const LV2_Feature* const* features(unsigned max_frames) {
  static std::int32_t longest = 0;
  longest = static_cast<std::int32_t>(max_frames);
  static const std::int32_t shortest = 1;
  static const LV2_Options_Option options[] = {
      {LV2_OPTIONS_INSTANCE, 0, map_uri(nullptr, LV2_BUF_SIZE__minBlockLength), sizeof shortest,
       map_uri(nullptr, LV2_ATOM__Int), &shortest},
      {LV2_OPTIONS_INSTANCE, 0, map_uri(nullptr, LV2_BUF_SIZE__maxBlockLength), sizeof longest,
       map_uri(nullptr, LV2_ATOM__Int), &longest},
      {LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr}};
  static const LV2_Feature map{LV2_URID__map, &g_map};
  static const LV2_Feature option{LV2_OPTIONS__options, const_cast<LV2_Options_Option*>(options)};
  static const LV2_Feature bounded{LV2_BUF_SIZE__boundedBlockLength, nullptr};
  static const LV2_Feature* const list[] = {&map, &option, &bounded, nullptr};
  return list;
}

}  // namespace

std::unique_ptr<ReferencePlugin> ReferencePlugin::load(LilvWorld* world, const std::string& uri,
                                                       double sample_rate, unsigned max_frames) {
  LilvNode* const name = lilv_new_uri(world, uri.c_str());
  const LilvPlugin* const plugin = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world), name);
  lilv_node_free(name);
  LilvInstance* const instance =
      plugin ? lilv_plugin_instantiate(plugin, sample_rate, features(max_frames)) : nullptr;
  if (!instance) {
    std::fprintf(stderr, "%s cannot be loaded\n", uri.c_str());
    return nullptr;
  }

  std::unique_ptr<ReferencePlugin> result(new ReferencePlugin);
  result->instance_ = instance;
  result->sequence_.resize(sequence_bytes / 8);
  for (auto* channels : {result->input, result->output})
    for (int channel = 0; channel < 2; ++channel) channels[channel].resize(max_frames);
  const auto ports = lilv_plugin_get_num_ports(plugin);
  result->controls_.resize(ports);
  lilv_plugin_get_port_ranges_float(plugin, nullptr, nullptr, result->controls_.data());
  const auto is_a = [&](const LilvPort* port, const char* uri) {
    const std::unique_ptr<LilvNode, decltype(&lilv_node_free)> type(lilv_new_uri(world, uri),
                                                                    lilv_node_free);
    return lilv_port_is_a(plugin, port, type.get());
  };
  std::size_t inputs = 0, outputs = 0;
  for (std::uint32_t index = 0; index < ports; ++index) {
    const LilvPort* const port = lilv_plugin_get_port_by_index(plugin, index);
    const bool is_input = is_a(port, LV2_CORE__InputPort);
    void* location = nullptr;
    if (is_a(port, LV2_CORE__ControlPort)) {
      location = &result->controls_[index];
      if (std::isnan(result->controls_[index])) result->controls_[index] = 0;
    } else if (is_a(port, LV2_CORE__AudioPort)) {
      location =
          is_input ? result->input[inputs++ % 2].data() : result->output[outputs++ % 2].data();
    } else if (is_input) {
      location = result->sequence_.data();
    } else {
      result->atom_outputs_.emplace_back(sequence_bytes / 8);
      location = result->atom_outputs_.back().data();
    }
    lilv_instance_connect_port(instance, index, location);
  }
  lilv_instance_activate(instance);
  return result;
}

ReferencePlugin::~ReferencePlugin() {
  if (!instance_) return;
  lilv_instance_deactivate(instance_);
  lilv_instance_free(instance_);
}

void ReferencePlugin::write_sequence(std::span<const host::MidiEvent> events) {
  static const LV2_URID sequence_type = map_uri(nullptr, LV2_ATOM__Sequence);
  static const LV2_URID midi_type = map_uri(nullptr, LV2_MIDI__MidiEvent);
  auto* const sequence = reinterpret_cast<LV2_Atom_Sequence*>(sequence_.data());
  lv2_atom_sequence_clear(sequence);
  sequence->atom.type = sequence_type;
  sequence->body = {0, 0};
  for (const host::MidiEvent& event : events) {
    struct {
      LV2_Atom_Event header;
      std::uint8_t bytes[8];
    } atom{};
    atom.header.time.frames = event.offset;
    atom.header.body = {3, midi_type};
    atom.bytes[0] = event.status;
    atom.bytes[1] = event.data1;
    atom.bytes[2] = event.data2;
    lv2_atom_sequence_append_event(sequence, sequence_bytes - sizeof(LV2_Atom), &atom.header);
  }
}

void ReferencePlugin::run(std::uint32_t frames, std::span<const host::MidiEvent> events) {
  static const LV2_URID chunk_type = map_uri(nullptr, LV2_ATOM__Chunk);
  write_sequence(events);
  for (auto& buffer : atom_outputs_)
    *reinterpret_cast<LV2_Atom*>(buffer.data()) = {
        static_cast<std::uint32_t>(buffer.size() * 8 - sizeof(LV2_Atom)), chunk_type};
  lilv_instance_run(instance_, frames);
}

}  // namespace vesk::reference
