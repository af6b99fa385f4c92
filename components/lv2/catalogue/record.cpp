#include "components/lv2/catalogue/record.hpp"

#include "components/lv2/catalogue/fields.hpp"

namespace vesk::lv2 {

static void fields(auto& stream, RecordOf<ScalePoint> auto& point) {
  stream(point.value, point.label);
}

static void fields(auto& stream, RecordOf<Unit> auto& unit) {
  stream(unit.uri, unit.name, unit.symbol, unit.render);
}

static void fields(auto& stream, RecordOf<Port> auto& port) {
  stream(port.symbol, port.name);
  stream.enumerator(port.kind, PortKind::event);
  stream.enumerator(port.direction, Direction::output);
  stream.enumerator(port.role, AudioRole::side);
  stream(port.channel, port.properties, port.events, port.def, port.min, port.max, port.unit,
         port.scale_points, port.minimum_size, port.designation, port.buffer_type, port.group);
}

static void fields(auto& stream, RecordOf<StateProperty> auto& property) {
  stream(property.key, property.type, property.value, property.element_type, property.element_size,
         property.flags);
}

static void fields(auto& stream, RecordOf<PortValue> auto& value) {
  stream(value.symbol, value.value);
}

static void fields(auto& stream, RecordOf<State> auto& state) {
  stream(state.port_values, state.properties);
}

static void fields(auto& stream, RecordOf<Preset> auto& preset) {
  stream(preset.uri, preset.label, preset.bundle);
}

static void fields(auto& stream, RecordOf<Editor> auto& editor) {
  stream(editor.uri, editor.class_uri, editor.library, editor.bundle, editor.required_features,
         editor.optional_features, editor.extension_data);
}

static void fields(auto& stream, RecordOf<PatchProperty> auto& property) {
  stream(property.uri, property.label, property.range, property.writable);
}

static void fields(auto& stream, RecordOf<Description> auto& plugin) {
  stream(plugin.uri, plugin.bundle, plugin.library, plugin.name, plugin.author, plugin.classes,
         plugin.minor_version, plugin.micro_version, plugin.required_features,
         plugin.optional_features, plugin.required_options, plugin.extension_data, plugin.ports,
         plugin.presets, plugin.editors, plugin.patch_properties, plugin.default_state, plugin.type,
         plugin.not_hosted, plugin.main_inputs, plugin.main_outputs);
}

void encode(ByteWriter& to, const State& state) {
  FieldWriter{to}(state);
}

State decode_state(ByteReader& from) {
  State state;
  FieldReader{from}(state);
  return state;
}

void encode(ByteWriter& to, const Description& plugin) {
  FieldWriter{to}(plugin);
}

Description decode_description(ByteReader& from) {
  Description plugin;
  FieldReader{from}(plugin);
  if (!from.ok()) return {};
  std::uint32_t index = 0;
  for (Port& port : plugin.ports) port.index = index++;
  return plugin;
}

}  // namespace vesk::lv2
