#include "components/lv2/catalogue/record.hpp"

namespace vesk::lv2 {

static void fields(auto& stream, RecordOf<ScalePoint> auto& point) {
  stream(point.value, point.label);
}

static void fields(auto& stream, RecordOf<Unit> auto& unit) {
  stream(unit.uri, unit.symbol);
}

static void fields(auto& stream, RecordOf<Port> auto& port) {
  stream(port.index, port.symbol, port.name, port.kind, port.direction, port.role, port.channel,
         port.properties, port.events, port.def, port.min, port.max, port.unit, port.scale_points,
         port.minimum_size, port.designation, port.group);
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
  stream(editor.uri, editor.class_uri, editor.library, editor.bundle, editor.required_features);
}

static void fields(auto& stream, RecordOf<FileProperty> auto& file) {
  stream(file.uri, file.label);
}

static void fields(auto& stream, RecordOf<Description> auto& plugin) {
  stream(plugin.uri, plugin.bundle, plugin.library, plugin.name, plugin.author, plugin.classes,
         plugin.minor_version, plugin.micro_version, plugin.required_features, plugin.ports,
         plugin.presets, plugin.editors, plugin.files, plugin.default_state, plugin.type,
         plugin.not_hosted, plugin.main_inputs, plugin.main_outputs);
}

static void fields(auto& stream, RecordOf<Stamp> auto& stamp) {
  stream(stamp.path, stamp.mtime_ns, stamp.size);
}

static void fields(auto& stream, RecordOf<PluginRecord> auto& record) {
  stream(record.sources, record.description);
}

static void fields(auto& stream, RecordOf<MappedPlugin> auto& plugin) {
  stream(plugin.uri, plugin.minor_version, plugin.micro_version);
}

static void fields(auto& stream, RecordOf<BundleMap> auto& map) {
  stream(map.plugins, map.presets_for, map.failure);
}

static void fields(auto& stream, RecordOf<Bundle> auto& bundle) {
  stream(bundle.folder, bundle.manifest, bundle.map);
}

static void fields(auto& stream, RecordOf<Outline> auto& outline) {
  stream(outline.audio_inputs, outline.audio_outputs, outline.midi_inputs, outline.midi_outputs,
         outline.cv_inputs, outline.cv_outputs, outline.parameters, outline.presets,
         outline.editors, outline.classes);
}

static void fields(auto& stream, RecordOf<Entry> auto& entry) {
  stream(entry.uri, entry.primary, entry.alternate, entry.code, entry.bundle, entry.watched,
         entry.record_size, entry.type, entry.version, entry.title, entry.outline,
         entry.not_hosted);
}

static void fields(auto& stream, RecordOf<Index> auto& index) {
  stream(index.folders, index.bundles, index.entries);
}

template <typename T>
Bytes encode(const T& record) {
  ByteWriter to;
  to(record);
  return to.take();
}

template <typename T>
std::optional<T> decode(std::span<const std::byte> bytes) {
  ByteReader from(bytes);
  std::optional<T> record(std::in_place);
  from(*record);
  if (!from.ok() || !from.at_end()) record.reset();
  return record;
}

template Bytes encode(const Index&);
template Bytes encode(const BundleMap&);
template Bytes encode(const PluginRecord&);
template Bytes encode(const State&);
template std::optional<Index> decode(std::span<const std::byte>);
template std::optional<BundleMap> decode(std::span<const std::byte>);
template std::optional<PluginRecord> decode(std::span<const std::byte>);
template std::optional<State> decode(std::span<const std::byte>);

}  // namespace vesk::lv2
