#include "tools/list/instrument_listing.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <tuple>

#include "components/sampler/instrument/exs_reader.hpp"
#include "components/sampler/instrument/sample_search.hpp"
#include "tools/list/columns.hpp"
#include "tools/list/key_map.hpp"
#include "tools/program/json.hpp"

namespace vesk::tools {
namespace {

using sampler::Group;
using sampler::KeyRange;
using sampler::Zone;

std::uintmax_t size_of(const std::string& path) {
  std::error_code gone;
  const std::uintmax_t size = std::filesystem::file_size(path, gone);
  return gone ? 0 : size;
}

std::string size_text(std::uintmax_t bytes) {
  constexpr const char* units[]{"kB", "MB", "GB"};
  double value = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  while (value >= 999.5 && unit + 1 < std::size(units)) value /= 1000, ++unit;
  char text[32];
  std::snprintf(text, sizeof text, value < 9.95 ? "%.1f %s" : "%.0f %s", value, units[unit]);
  return text;
}

std::string counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

std::string keys_text(const KeyRange& keys) {
  return keys.low == keys.high ? key_name(keys.low)
                               : key_name(keys.low) + " - " + key_name(keys.high);
}

std::string remarks_on(const Zone& zone) {
  std::string text;
  const auto add = [&text](bool holds, const char* remark) {
    if (holds) text += (text.empty() ? "  (" : ", ") + std::string(remark);
  };
  add(zone.is_one_shot, "one-shot");
  add(zone.loop.is_on, "loop");
  add(zone.is_reversed, "reversed");
  add(!zone.tracks_pitch, "fixed pitch");
  return text.empty() ? text : text + ')';
}

std::size_t missing_in(const InstrumentContents& contents) {
  return static_cast<std::size_t>(std::ranges::count(contents.sample_paths, std::string()));
}

std::string summary_of(const InstrumentContents& contents) {
  const sampler::Instrument& instrument = contents.instrument;
  std::uintmax_t bytes = 0;
  for (const std::string& path : contents.sample_paths)
    if (!path.empty()) bytes += size_of(path);
  std::string text = one_line(instrument.name) + '\n' + counted(instrument.zones.size(), "zone") +
                     ", " + counted(instrument.samples.size(), "sample") + ", " + size_text(bytes) +
                     ", at most " + counted(instrument.settings.polyphony, "voice") + '\n';
  // Folders of this disk that samples were found in, and of their maker's that they were not.
  std::map<std::pair<std::string, std::string>, std::size_t> folders;
  for (std::size_t i = 0; i < contents.sample_paths.size(); ++i) {
    const std::filesystem::path path = contents.sample_paths[i];
    const bool is_found = !path.empty();
    ++folders[{is_found ? "found" : "missing",
               is_found ? path.parent_path().string() : instrument.samples[i].folder}];
  }
  for (const auto& [folder, count] : folders)
    text += std::to_string(count) + ' ' + folder.first +
            (folder.second.empty() ? "" : ", " + one_line(folder.second)) + '\n';
  return text;
}

std::string groups_text(const sampler::Instrument& instrument) {
  std::vector<std::size_t> zones(instrument.groups.size());
  for (const Zone& zone : instrument.zones)
    if (zone.group) ++zones[*zone.group];
  std::string text;
  for (std::size_t i = 0; i < zones.size(); ++i) {
    if (zones[i] == 0) continue;
    const Group& group = instrument.groups[i];
    text += "group " + one_line(group.name) + ": " + counted(zones[i], "zone");
    if (group.polyphony > 0) text += ", at most " + counted(group.polyphony, "voice");
    if (group.exclusive_class > 0)
      text += ", exclusive class " + std::to_string(group.exclusive_class);
    text += '\n';
  }
  return text.empty() ? text : text + '\n';
}

std::string zones_text(const InstrumentContents& contents) {
  std::vector<const Zone*> zones;
  zones.reserve(contents.instrument.zones.size());
  for (const Zone& zone : contents.instrument.zones) zones.push_back(&zone);
  std::ranges::sort(zones, {}, [](const Zone* zone) {
    return std::tuple(zone->keys.low, zone->keys.high, zone->velocities.low, zone);
  });
  std::vector<std::vector<std::string>> rows{{"keys", "root", "velocity", "size", "sample"}};
  for (const Zone* zone : zones) {
    const std::string& path = contents.sample_paths[zone->sample];
    rows.push_back(
        {keys_text(zone->keys), key_name(zone->root_key),
         std::to_string(std::max<unsigned>(zone->velocities.low, 1)) + "-" +
             std::to_string(zone->velocities.high),
         path.empty() ? "missing" : size_text(size_of(path)),
         one_line(contents.instrument.samples[zone->sample].file_name) + remarks_on(*zone)});
  }
  std::string text;
  for (const std::string& line : table_lines(rows)) text += line + '\n';
  return text;
}

Json json_of(const KeyRange& range) {
  return Json::array({range.low, range.high});
}

Json json_of(const Zone& zone) {
  Json json{{"name", zone.name},
            {"sample", zone.sample},
            {"group", nullptr},
            {"keys", json_of(zone.keys)},
            {"velocities", json_of(zone.velocities)},
            {"root_key", zone.root_key},
            {"tune_cents", static_cast<float>(zone.tune_cents)},
            {"gain_db", static_cast<float>(zone.gain_db)},
            {"pan", static_cast<float>(zone.pan)},
            {"one_shot", zone.is_one_shot},
            {"tracks_pitch", zone.tracks_pitch},
            {"reversed", zone.is_reversed},
            {"loop", nullptr}};
  if (zone.group) json["group"] = *zone.group;
  if (zone.loop.is_on) json["loop"] = Json::array({zone.loop.start, zone.loop.end});
  return json;
}

}  // namespace

std::optional<InstrumentContents> read_instrument(const std::string& path, std::string& error) {
  auto instrument = sampler::read_exs_file(path, error);
  if (!instrument) return std::nullopt;
  std::vector<std::string> paths = sampler::find_samples(*instrument, path);
  return InstrumentContents{path, std::move(*instrument), std::move(paths)};
}

std::string instrument_text(const InstrumentContents& contents) {
  return summary_of(contents) + '\n' + key_map(contents.instrument) + '\n' +
         groups_text(contents.instrument) + zones_text(contents);
}

std::string instrument_json(const InstrumentContents& contents) {
  const sampler::Instrument& instrument = contents.instrument;
  Json zones = Json::array(), groups = Json::array(), samples = Json::array();
  for (const Zone& zone : instrument.zones) zones.push_back(json_of(zone));
  for (const Group& group : instrument.groups)
    groups.push_back({{"name", group.name},
                      {"polyphony", group.polyphony},
                      {"exclusive_class", group.exclusive_class},
                      {"muted", group.is_muted},
                      {"on_release", group.sounds_on_release}});
  for (std::size_t i = 0; i < instrument.samples.size(); ++i) {
    const std::string& path = contents.sample_paths[i];
    Json sample{{"file_name", instrument.samples[i].file_name},
                {"folder", instrument.samples[i].folder},
                {"path", nullptr},
                {"bytes", nullptr}};
    if (!path.empty()) sample["path"] = path, sample["bytes"] = size_of(path);
    samples.push_back(std::move(sample));
  }
  return json_text({{"path", contents.path},
                    {"name", instrument.name},
                    {"voices", instrument.settings.polyphony},
                    {"missing", missing_in(contents)},
                    {"zones", zones},
                    {"groups", groups},
                    {"samples", samples}});
}

}  // namespace vesk::tools
