#include "tools/list/key_map.hpp"

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <utility>
#include <vector>

namespace vesk::tools {
namespace {

using sampler::GroupCondition;
using sampler::Instrument;
using sampler::KeyRange;
using sampler::Zone;
using Zones = std::vector<const Zone*>;

constexpr unsigned keys_of_octave = 12, all_keys = 128, label_width = 8;
constexpr unsigned most_octaves = 6;  ///< beside each other on 80 columns
constexpr std::size_t most_layers = 8;

std::string text_of(const KeyRange& range) {
  return std::to_string(range.low) + "-" + std::to_string(range.high);
}

/// When the zones of a group sound, in a few words; empty for always.
std::string condition_of(const Zone& zone, const Instrument& instrument) {
  if (!zone.group) return {};
  const sampler::Group& group = instrument.groups[*zone.group];
  if (group.is_muted) return "muted";
  std::string text = group.sounds_on_release ? "on release" : "";
  const auto add = [&text](const std::string& more) { text += (text.empty() ? "" : ", ") + more; };
  const GroupCondition& condition = group.condition;
  switch (condition.kind) {
    case GroupCondition::Kind::always:
      break;
    case GroupCondition::Kind::note:
      add("after the key switch " + key_name(condition.number));
      break;
    case GroupCondition::Kind::round_robin:
      add("in turn");
      break;
    case GroupCondition::Kind::controller:
      add("while controller " + std::to_string(condition.number) + " is " +
          text_of(condition.values));
      break;
    case GroupCondition::Kind::bend:
      add("while the bend is " + text_of(condition.values));
      break;
    case GroupCondition::Kind::channel:
      add("on channel " + text_of(condition.values));
      break;
  }
  return text;
}

/// Ranges of velocities, the loudest first: those that zones have, or where these are many, bands.
struct Layers {
  std::vector<KeyRange> ranges;
  bool are_bands = false;
  bool hold(const Zone& zone, const KeyRange& layer) const {
    const KeyRange& own = zone.velocities;
    return are_bands ? own.low <= layer.high && own.high >= layer.low
                     : own.low == layer.low && own.high == layer.high;
  }
};

Layers layers_of(const Zones& zones) {
  Layers layers;
  const auto place = [](const KeyRange& range) { return std::pair(range.low, range.high); };
  for (const Zone* zone : zones)
    if (std::ranges::find(layers.ranges, place(zone->velocities), place) == layers.ranges.end()) {
      layers.ranges.push_back(zone->velocities);
      layers.are_bands = layers.ranges.size() > most_layers;
      if (layers.are_bands) break;
    }
  if (layers.are_bands) {
    layers.ranges.clear();
    for (unsigned low = 0; low < 128; low += 16)
      layers.ranges.push_back(
          {static_cast<std::uint8_t>(low), static_cast<std::uint8_t>(low + 15)});
  }
  std::ranges::sort(layers.ranges, std::greater(), place);
  return layers;
}

/// One character a key.
std::string row_of(const Zones& zones, const Layers& layers, const KeyRange& layer) {
  std::array<unsigned, all_keys> count{};
  std::string row(all_keys, '.');
  char letter = 'a';
  for (const Zone* zone : zones) {
    if (!layers.hold(*zone, layer)) continue;
    for (unsigned key = zone->keys.low; key <= zone->keys.high; ++key) {
      const unsigned here = ++count[key];
      const char mark = static_cast<char>(key == zone->root_key ? letter - 0x20 : letter);
      row[key] = here == 1 ? mark : here < 10 ? static_cast<char>('0' + here) : '*';
    }
    letter = letter == 'z' ? 'a' : static_cast<char>(letter + 1);
  }
  return row;
}

std::string label(const std::string& text) {
  return std::string(label_width - 1 - std::min<std::size_t>(text.size(), label_width - 1), ' ') +
         text + ' ';
}

std::string strip(const Zones& zones, const Layers& layers, unsigned first_octave,
                  unsigned octaves) {
  std::string names(label_width, ' '), keyboard(label_width, ' ');
  for (unsigned i = 0; i < octaves; ++i) {
    std::string name = key_name((first_octave + i) * keys_of_octave);
    name.resize(keys_of_octave, ' ');
    names += name;
    keyboard += "C D EF G A B";
  }
  names.erase(names.find_last_not_of(' ') + 1);
  const unsigned first_key = first_octave * keys_of_octave;
  const unsigned keys = std::min(octaves * keys_of_octave, all_keys - first_key);
  keyboard.resize(label_width + keys);
  std::string text = names + '\n' + keyboard + '\n';
  for (const KeyRange& layer : layers.ranges)
    text +=
        label(velocities_text(layer)) + row_of(zones, layers, layer).substr(first_key, keys) + '\n';
  return text;
}

std::string picture(Zones zones) {
  // Among equals as in the file, which is as in memory.
  std::ranges::sort(zones, {}, [](const Zone* zone) { return std::pair(zone->keys.low, zone); });
  unsigned lowest = all_keys, highest = 0;
  for (const Zone* zone : zones) {
    lowest = std::min<unsigned>(lowest, zone->keys.low);
    highest = std::max<unsigned>(highest, zone->keys.high);
  }
  const Layers layers = layers_of(zones);
  const unsigned first = lowest / keys_of_octave, end = highest / keys_of_octave + 1;
  const unsigned octaves = end - first;
  const unsigned each = octaves > most_octaves ? (octaves + 1) / 2 : octaves;
  std::string text;
  for (unsigned octave = first; octave < end; octave += each)
    text += (text.empty() ? "" : "\n") + strip(zones, layers, octave, std::min(each, end - octave));
  return text;
}

}  // namespace

std::string key_name(unsigned key) {
  constexpr std::array<const char*, keys_of_octave> names{"C",  "C#", "D",  "D#", "E",  "F",
                                                          "F#", "G",  "G#", "A",  "A#", "B"};
  return names[key % keys_of_octave] + std::to_string(static_cast<int>(key / keys_of_octave) - 2);
}

std::string velocities_text(const KeyRange& velocities) {
  return text_of({std::max<std::uint8_t>(velocities.low, 1), velocities.high});
}

std::string key_map(const Instrument& instrument) {
  std::map<std::string, Zones> zones;
  for (const Zone& zone : instrument.zones) zones[condition_of(zone, instrument)].push_back(&zone);
  std::string text;
  for (const auto& [condition, those] : zones)
    text +=
        (text.empty() ? "" : "\n") + (condition.empty() ? "" : condition + ":\n") + picture(those);
  return text;
}

}  // namespace vesk::tools
