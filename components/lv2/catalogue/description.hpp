#pragma once

// One installed LV2 plugin as plain values: all that a host needs to start and show it without
// reading Turtle. Made by the scanner program, kept in the cache, read by the running unit.
//
// The records hold no pointers and nothing that depends on the process (URIs are text, never
// URIDs), so they may be copied and shared between threads freely once built.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vesk::lv2 {

enum class PortKind : std::uint8_t {
  unknown,  ///< a kind that no host here knows; fine only with `property_connection_optional`
  audio,
  control,
  cv,     ///< audio-rate control: wants a buffer of frames, is no bus channel
  atom,   ///< LV2_Atom_Sequence
  event,  ///< the event extension that came before atoms (LV2_Event_Buffer)
};

enum class Direction : std::uint8_t { input, output };

/// What an audio port is to the unit's buses. Everything that is not audio has `none`.
enum class AudioRole : std::uint8_t {
  none,
  main,  ///< channel `Port::channel` of the input or output bus
  side,  ///< side chain, carrier or modulator: fed with silence
};

/// `lv2:portProperty` and friends, one bit each.
enum PortProperty : std::uint32_t {
  property_integer = 1u << 0,
  property_toggled = 1u << 1,
  property_enumeration = 1u << 2,
  property_logarithmic = 1u << 3,  ///< ranges may still touch 0: see `logarithmic_is_usable`
  property_sample_rate = 1u << 4,  ///< range in fractions of the rate: see `range_at`
  property_connection_optional = 1u << 5,
  property_reports_latency = 1u << 6,
  property_not_on_gui = 1u << 7,
  property_trigger = 1u << 8,
  property_expensive = 1u << 9,
  property_side_chain = 1u << 10,
};

/// What an atom or event port says it understands.
enum PortEvents : std::uint32_t {
  events_midi = 1u << 0,
  events_time = 1u << 1,
  events_patch = 1u << 2,
};

/// The unit of a control port. All empty when none is declared.
struct Unit {
  std::string uri;     ///< `http://lv2plug.in/ns/extensions/units#db`; empty for inline units
  std::string symbol;  ///< "dB"

  bool operator==(const Unit&) const = default;
};

struct ScalePoint {
  float value = 0;
  std::string label;

  bool operator==(const ScalePoint&) const = default;
};

struct Port {
  std::uint32_t index = 0;  ///< equals the position in `Description::ports`
  std::string symbol;       ///< unique within the plugin
  std::string name;         ///< not always unique
  PortKind kind = PortKind::unknown;
  Direction direction = Direction::input;
  AudioRole role = AudioRole::none;
  std::uint8_t channel = 0;      ///< for AudioRole::main, counted in each direction
  std::uint32_t properties = 0;  ///< PortProperty
  std::uint32_t events = 0;      ///< PortEvents
  std::optional<float> def;      ///< as declared, never scaled; finite
  std::optional<float> min;      ///< as declared, never scaled; finite
  std::optional<float> max;      ///< as declared, never scaled; finite
  Unit unit;
  std::vector<ScalePoint> scale_points;  ///< sorted by value
  std::uint32_t minimum_size = 0;        ///< resize-port:minimumSize in bytes, 0 = not stated
  std::string designation;               ///< URI, empty = none
  std::string group;                     ///< pg:group URI, empty = none

  bool has(PortProperty property) const { return (properties & property) != 0; }
  bool operator==(const Port&) const = default;
};

/// A control port's range in real units.
struct Range {
  float def = 0;
  float min = 0;
  float max = 1;
};

/// The range at a sample rate, complete and ordered: what is missing is filled in (min 0, max 1,
/// either stretched to hold the default; default 0 or the nearest bound). For
/// `property_sample_rate` the bounds are multiplied by the rate; the default only when it lies
/// within the unscaled bounds (half of all such ports give it in plain hertz).
Range range_at(const Port& port, double sample_rate);

/// True when a logarithmic mapping can be used over `range` (thousands of ports that ask for one
/// start at or below 0).
inline bool logarithmic_is_usable(const Port& port, const Range& range) {
  return port.has(property_logarithmic) && range.min > 0 && range.max > range.min;
}

/// One value of a saved state, as `state:interface` retrieves it.
struct StateProperty {
  std::string key;   ///< URI
  std::string type;  ///< URI of the atom type
  /// The atom's body, byte for byte, with two exceptions for bodies that would hold a URID:
  /// of atom:URID it is the URI's text with its final zero, of atom:Vector the elements alone.
  std::vector<std::byte> value;
  std::string element_type;        ///< atom:Vector only: URI of the elements' type
  std::uint32_t element_size = 0;  ///< atom:Vector only: bytes an element
  std::uint32_t flags = 0;         ///< LV2_State_Flags

  bool operator==(const StateProperty&) const = default;
};

struct PortValue {
  std::string symbol;
  float value = 0;

  bool operator==(const PortValue&) const = default;
};

/// What a preset or a plugin's default state holds. Paths are absolute.
struct State {
  std::vector<PortValue> port_values;
  std::vector<StateProperty> properties;

  bool empty() const { return port_values.empty() && properties.empty(); }
  bool operator==(const State&) const = default;
};

/// A factory preset. Its contents are read when asked for: see `read_preset` in presets.hpp.
struct Preset {
  std::string uri;
  std::string label;
  std::string bundle;  ///< folder, absolute, with its final slash; may differ from the plugin's

  bool operator==(const Preset&) const = default;
};

/// A file that the plugin is told of by its name: a writable property that is a path.
struct FileProperty {
  std::string uri;
  std::string label;  ///< for people; never empty

  bool operator==(const FileProperty&) const = default;
};

/// An editor of the plugin.
struct Editor {
  std::string uri;
  std::string class_uri;  ///< ui:X11UI, ui:GtkUI, ...
  std::string library;    ///< absolute path
  std::string bundle;     ///< folder, absolute, with its final slash
  std::vector<std::string> required_features;

  bool operator==(const Editor&) const = default;
};

struct Description {
  std::string uri;
  std::string bundle;   ///< folder, absolute, with its final slash: as `instantiate` wants it
  std::string library;  ///< absolute path of the shared object; empty when the data names none
  std::string name;     ///< never empty: the URI when the data names none
  std::string author;   ///< empty when not stated
  std::vector<std::string> classes;  ///< rdf:type URIs but for lv2:Plugin, sorted
  std::uint32_t minor_version = 0;
  std::uint32_t micro_version = 0;
  std::vector<std::string> required_features;  ///< URIs, sorted
  std::vector<Port> ports;                     ///< by index, without gaps
  std::vector<Preset> presets;                 ///< by label, then URI
  std::vector<Editor> editors;
  std::vector<FileProperty> files;  ///< by label, then URI
  State default_state;              ///< for state:loadDefaultState; empty otherwise

  /// The component's type ('aumu', 'aumf', 'aufx', 'augn', 'aumi'); 0 when it is none.
  std::uint32_t type = 0;
  /// Why no unit can be made of it, in words; empty when one can.
  std::string not_hosted;

  /// Ports that carry main channels, at most 2 each way where `not_hosted` is empty.
  std::uint32_t main_inputs = 0;
  std::uint32_t main_outputs = 0;

  bool operator==(const Description&) const = default;
};

}  // namespace vesk::lv2
