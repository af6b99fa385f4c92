#include "components/lv2/record.hpp"

#include <cmath>

namespace vesk::lv2 {
namespace {

void put(ByteWriter& to, const std::vector<std::string>& texts) {
  to.list(texts, [&](const std::string& text) { to.text(text); });
}

std::vector<std::string> get_texts(ByteReader& from) {
  return from.list([&] { return from.text(); });
}

void put(ByteWriter& to, const std::optional<float>& value) {
  to.number(static_cast<std::uint8_t>(value.has_value()));
  if (value) to.number(*value);
}

std::optional<float> get_optional_float(ByteReader& from) {
  if (!from.boolean()) return {};
  const float value = from.number<float>();
  if (!std::isfinite(value)) from.fail();
  return value;
}

void put(ByteWriter& to, const Port& port) {
  to.text(port.symbol);
  to.text(port.name);
  to.number(port.kind);
  to.number(port.direction);
  to.number(port.role);
  to.number(port.channel);
  to.number(port.properties);
  to.number(port.events);
  put(to, port.def);
  put(to, port.min);
  put(to, port.max);
  to.text(port.unit.uri);
  to.text(port.unit.name);
  to.text(port.unit.symbol);
  to.text(port.unit.render);
  to.list(port.scale_points, [&](const ScalePoint& point) {
    to.number(point.value);
    to.text(point.label);
  });
  to.number(port.minimum_size);
  to.text(port.designation);
  to.text(port.buffer_type);
  to.text(port.group);
}

Port get_port(ByteReader& from, std::uint32_t index) {
  Port port;
  port.index = index;
  port.symbol = from.text();
  port.name = from.text();
  port.kind = from.enumerator(PortKind::event);
  port.direction = from.enumerator(Direction::output);
  port.role = from.enumerator(AudioRole::side);
  port.channel = from.number<std::uint8_t>();
  port.properties = from.number<std::uint32_t>();
  port.events = from.number<std::uint32_t>();
  port.def = get_optional_float(from);
  port.min = get_optional_float(from);
  port.max = get_optional_float(from);
  port.unit.uri = from.text();
  port.unit.name = from.text();
  port.unit.symbol = from.text();
  port.unit.render = from.text();
  port.scale_points = from.list([&] {
    ScalePoint point;
    point.value = from.number<float>();
    point.label = from.text();
    return point;
  });
  port.minimum_size = from.number<std::uint32_t>();
  port.designation = from.text();
  port.buffer_type = from.text();
  port.group = from.text();
  return port;
}

void put(ByteWriter& to, const StateProperty& property) {
  to.text(property.key);
  to.text(property.type);
  to.blob(property.value);
  to.text(property.element_type);
  to.number(property.element_size);
  to.number(property.flags);
}

StateProperty get_state_property(ByteReader& from) {
  StateProperty property;
  property.key = from.text();
  property.type = from.text();
  const auto value = from.blob();
  property.value.assign(value.begin(), value.end());
  property.element_type = from.text();
  property.element_size = from.number<std::uint32_t>();
  property.flags = from.number<std::uint32_t>();
  return property;
}

void put(ByteWriter& to, const Editor& editor) {
  to.text(editor.uri);
  to.text(editor.class_uri);
  to.text(editor.library);
  to.text(editor.bundle);
  put(to, editor.required_features);
  put(to, editor.optional_features);
  put(to, editor.extension_data);
}

Editor get_editor(ByteReader& from) {
  Editor editor;
  editor.uri = from.text();
  editor.class_uri = from.text();
  editor.library = from.text();
  editor.bundle = from.text();
  editor.required_features = get_texts(from);
  editor.optional_features = get_texts(from);
  editor.extension_data = get_texts(from);
  return editor;
}

}  // namespace

void encode(ByteWriter& to, const State& state) {
  to.list(state.port_values, [&](const PortValue& value) {
    to.text(value.symbol);
    to.number(value.value);
  });
  to.list(state.properties, [&](const StateProperty& property) { put(to, property); });
}

State decode_state(ByteReader& from) {
  State state;
  state.port_values = from.list([&] {
    PortValue value;
    value.symbol = from.text();
    value.value = from.number<float>();
    return value;
  });
  state.properties = from.list([&] { return get_state_property(from); });
  return state;
}

void encode(ByteWriter& to, const Description& plugin) {
  to.text(plugin.uri);
  to.text(plugin.bundle);
  to.text(plugin.library);
  to.text(plugin.name);
  to.text(plugin.author);
  put(to, plugin.classes);
  to.number(plugin.minor_version);
  to.number(plugin.micro_version);
  put(to, plugin.required_features);
  put(to, plugin.optional_features);
  put(to, plugin.required_options);
  put(to, plugin.extension_data);
  to.list(plugin.ports, [&](const Port& port) { put(to, port); });
  to.list(plugin.presets, [&](const Preset& preset) {
    to.text(preset.uri);
    to.text(preset.label);
    to.text(preset.bundle);
  });
  to.list(plugin.editors, [&](const Editor& editor) { put(to, editor); });
  to.list(plugin.patch_properties, [&](const PatchProperty& property) {
    to.text(property.uri);
    to.text(property.label);
    to.text(property.range);
    to.number(static_cast<std::uint8_t>(property.writable));
  });
  encode(to, plugin.default_state);
  to.number(plugin.type);
  to.text(plugin.not_hosted);
  to.number(plugin.main_inputs);
  to.number(plugin.main_outputs);
}

Description decode_description(ByteReader& from) {
  Description plugin;
  plugin.uri = from.text();
  plugin.bundle = from.text();
  plugin.library = from.text();
  plugin.name = from.text();
  plugin.author = from.text();
  plugin.classes = get_texts(from);
  plugin.minor_version = from.number<std::uint32_t>();
  plugin.micro_version = from.number<std::uint32_t>();
  plugin.required_features = get_texts(from);
  plugin.optional_features = get_texts(from);
  plugin.required_options = get_texts(from);
  plugin.extension_data = get_texts(from);
  std::uint32_t index = 0;
  plugin.ports = from.list([&] { return get_port(from, index++); });
  plugin.presets = from.list([&] {
    Preset preset;
    preset.uri = from.text();
    preset.label = from.text();
    preset.bundle = from.text();
    return preset;
  });
  plugin.editors = from.list([&] { return get_editor(from); });
  plugin.patch_properties = from.list([&] {
    PatchProperty property;
    property.uri = from.text();
    property.label = from.text();
    property.range = from.text();
    property.writable = from.boolean();
    return property;
  });
  plugin.default_state = decode_state(from);
  plugin.type = from.number<std::uint32_t>();
  plugin.not_hosted = from.text();
  plugin.main_inputs = from.number<std::uint32_t>();
  plugin.main_outputs = from.number<std::uint32_t>();
  if (!from.ok()) plugin = {};
  return plugin;
}

}  // namespace vesk::lv2
