#include <lv2/atom/atom.h>
#include <lv2/core/lv2.h>
#include <lv2/event/event.h>
#include <lv2/midi/midi.h>
#include <lv2/patch/patch.h>
#include <lv2/port-groups/port-groups.h>
#include <lv2/port-props/port-props.h>
#include <lv2/resize-port/resize-port.h>
#include <lv2/time/time.h>
#include <lv2/units/units.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "components/lv2/scan/bundle_reader.hpp"

namespace vesk::lv2::scan {
namespace {

struct PropertyName {
  std::string_view uri;
  PortProperty property;
};

// Two properties moved from the port-props extension to the core or lost a spelling; plugins keep
// the old names.
constexpr PropertyName property_names[] = {
    {LV2_CORE__integer, property_integer},
    {LV2_CORE__toggled, property_toggled},
    {LV2_CORE__enumeration, property_enumeration},
    {LV2_PORT_PROPS__logarithmic, property_logarithmic},
    {"http://lv2plug.in/ns/dev/extportinfo#logarithmic", property_logarithmic},
    {LV2_CORE__sampleRate, property_sample_rate},
    {LV2_CORE__connectionOptional, property_connection_optional},
    {LV2_CORE__reportsLatency, property_reports_latency},
    {LV2_PORT_PROPS__notOnGUI, property_not_on_gui},
    {"http://lv2plug.in/ns/dev/extportinfo#notOnGUI", property_not_on_gui},
    {LV2_PORT_PROPS__trigger, property_trigger},
    {"http://lv2plug.in/ns/dev/extportinfo#trigger", property_trigger},
    {LV2_PORT_PROPS__expensive, property_expensive},
    {LV2_CORE_PREFIX "isSideChain", property_side_chain},
};

struct KnownUnit {
  std::string_view uri_end;
  std::string_view symbol;
};

// The units extension's own units (units.ttl of LV2 1.18): its bundle comes with the development
// package only.
constexpr KnownUnit known_units[] = {{"s", "s"},        {"ms", "ms"},
                                     {"min", "min"},    {"bar", "bars"},
                                     {"beat", "beats"}, {"frame", "frames"},
                                     {"m", "m"},        {"cm", "cm"},
                                     {"mm", "mm"},      {"km", "km"},
                                     {"inch", "in"},    {"mile", "mi"},
                                     {"db", "dB"},      {"pc", "%"},
                                     {"coef", ""},      {"hz", "Hz"},
                                     {"khz", "kHz"},    {"mhz", "MHz"},
                                     {"bpm", "BPM"},    {"oct", "oct"},
                                     {"cent", "ct"},    {"semitone12TET", "semi"},
                                     {"degree", "deg"}, {"midiNote", "note"}};

/// The predicates asked of every port, made once a plugin: thousands of ports ask for them.
class PortReader {
 public:
  PortReader(LilvWorld* world, const LilvPlugin* plugin) : world_(world), plugin_(plugin) {}

  Port read(std::uint32_t index, const LilvPort* port) const {
    Port result;
    result.index = index;
    result.symbol = lilv_node_as_string(lilv_port_get_symbol(plugin_, port));
    const Node name(lilv_port_get_name(plugin_, port));
    result.name = text_of(name.get());
    if (result.name.empty()) result.name = result.symbol;
    read_classes(port, result);
    read_properties(port, result);
    read_events(port, supports_, result);
    read_events(port, event_supports_, result);
    result.def = float_of(one(port, default_).get());
    result.min = float_of(one(port, minimum_).get());
    result.max = float_of(one(port, maximum_).get());
    result.minimum_size = unsigned_of(one(port, minimum_size_).get());
    result.designation = uri_of(one(port, designation_).get());
    result.group = uri_of(one(port, group_).get());
    result.unit = read_unit(one(port, unit_).get());
    read_scale_points(port, result);
    return result;
  }

 private:
  Node uri(const char* text) const { return Node(lilv_new_uri(world_, text)); }
  Node one(const LilvPort* port, const Node& predicate) const {
    return Node(lilv_port_get(plugin_, port, predicate.get()));
  }

  void read_classes(const LilvPort* port, Port& result) const {
    for_each(lilv_port_get_classes(plugin_, port), [&](const LilvNode* node) {
      const std::string uri = uri_of(node);
      if (uri == LV2_CORE__InputPort) result.direction = Direction::input;
      if (uri == LV2_CORE__OutputPort) result.direction = Direction::output;
      if (uri == LV2_CORE__AudioPort) result.kind = PortKind::audio;
      if (uri == LV2_CORE__ControlPort) result.kind = PortKind::control;
      if (uri == LV2_CORE__CVPort) result.kind = PortKind::cv;
      if (uri == LV2_ATOM__AtomPort) result.kind = PortKind::atom;
      if (uri == LV2_EVENT__EventPort) result.kind = PortKind::event;
    });
  }

  void read_properties(const LilvPort* port, Port& result) const {
    const Nodes nodes(lilv_port_get_properties(plugin_, port));
    for_each(nodes.get(), [&](const LilvNode* node) {
      const std::string uri = uri_of(node);
      for (const auto& [name, property] : property_names)
        if (uri == name) result.properties |= property;
    });
    // This one is a designation as well.
    if (uri_of(one(port, designation_).get()) == LV2_CORE__latency)
      result.properties |= property_reports_latency;
  }

  void read_events(const LilvPort* port, const Node& predicate, Port& result) const {
    const Nodes nodes(lilv_port_get_value(plugin_, port, predicate.get()));
    for_each(nodes.get(), [&](const LilvNode* node) {
      const std::string uri = uri_of(node);
      if (uri == LV2_MIDI__MidiEvent) result.events |= events_midi;
      if (uri == LV2_TIME__Position) result.events |= events_time;
      if (uri == LV2_PATCH__Message) result.events |= events_patch;
    });
  }

  Unit read_unit(const LilvNode* node) const {
    Unit unit;
    if (!node) return unit;
    unit.uri = uri_of(node);
    if (unit.uri.starts_with(LV2_UNITS_PREFIX)) {
      const std::string_view end = std::string_view(unit.uri).substr(sizeof LV2_UNITS_PREFIX - 1);
      const auto* known = std::ranges::find(known_units, end, &KnownUnit::uri_end);
      if (known != std::end(known_units)) {
        unit.symbol = known->symbol;
        return unit;
      }
    }
    const Node symbol(lilv_world_get(world_, node, unit_symbol_.get(), nullptr));
    unit.symbol = text_of(symbol.get());
    return unit;
  }

  void read_scale_points(const LilvPort* port, Port& result) const {
    LilvScalePoints* points = lilv_port_get_scale_points(plugin_, port);
    LILV_FOREACH(scale_points, i, points) {
      const LilvScalePoint* point = lilv_scale_points_get(points, i);
      const auto value = float_of(lilv_scale_point_get_value(point));
      if (value)
        result.scale_points.push_back({*value, text_of(lilv_scale_point_get_label(point))});
    }
    lilv_scale_points_free(points);
    std::ranges::sort(result.scale_points, {}, [](const ScalePoint& point) {
      return std::pair(point.value, std::string_view(point.label));
    });
  }

  LilvWorld* world_;
  const LilvPlugin* plugin_;
  Node default_ = uri(LV2_CORE__default);
  Node minimum_ = uri(LV2_CORE__minimum);
  Node maximum_ = uri(LV2_CORE__maximum);
  Node designation_ = uri(LV2_CORE__designation);
  Node minimum_size_ = uri(LV2_RESIZE_PORT__minimumSize);
  Node supports_ = uri(LV2_ATOM__supports);
  Node event_supports_ = uri(LV2_EVENT__supportsEvent);
  Node group_ = uri(LV2_PORT_GROUPS__group);
  Node unit_ = uri(LV2_UNITS__unit);
  Node unit_symbol_ = uri(LV2_UNITS__symbol);
};

}  // namespace

std::vector<Port> read_ports(LilvWorld* world, const LilvPlugin* plugin) {
  const PortReader reader(world, plugin);
  std::vector<Port> ports;
  const std::uint32_t count = lilv_plugin_get_num_ports(plugin);
  ports.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i)
    ports.push_back(reader.read(i, lilv_plugin_get_port_by_index(plugin, i)));
  return ports;
}

}  // namespace vesk::lv2::scan
