#include "tools/list/plugin_listing.hpp"

#include <strings.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "tools/list/columns.hpp"
#include "tools/program/json.hpp"

namespace vesk::tools {
namespace {

using Row = std::array<std::string, 4>;

constexpr std::size_t gap = 2;
/// Of a name that is cut: "Mono", "(stereo)".
constexpr std::size_t kept_end = 9;
/// A terminal of fewer columns breaks lines.
constexpr std::size_t narrowest = 60;

Row row_of(const InstalledPlugin& plugin) {
  return {one_line(plugin.name), one_line(plugin.maker), one_line(plugin.type),
          one_line(plugin.not_hosted.empty() ? plugin.specification : "(not hosted)")};
}

/// Codes and types are never cut; a maker has a third of the rest, and what the names leave.
std::array<std::size_t, 4> fitting_widths(const std::vector<Row>& rows, std::size_t columns) {
  std::array<std::size_t, 4> widths{};
  for (const Row& row : rows)
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], width(row[i]));
  const std::size_t rest = std::max(columns, narrowest) - widths[2] - widths[3] - 3 * gap;
  if (widths[0] + widths[1] > rest) {
    const std::size_t left = rest - std::min(widths[0], rest);
    widths[1] = std::min(widths[1], std::max(rest / 3, left));
    widths[0] = rest - widths[1];
  }
  return widths;
}

Json json_of(const InstalledPlugin& plugin) {
  const AudioComponentDescription& is = plugin.component.desc;
  Json json{{"specification", plugin.specification},
            {"name", plugin.component.name},
            {"short_name", plugin.name},
            {"maker", plugin.maker},
            {"type", four_cc(is.componentType)},
            {"type_word", plugin.type},
            {"subtype", four_cc(is.componentSubType)},
            {"manufacturer", four_cc(is.componentManufacturer)},
            {"hosted", plugin.not_hosted.empty()},
            {"v3", plugin.component.is_v3},
            {"sandbox_safe", plugin.component.sandbox_safe}};
  for (const char* unknown : {"uri", "ports", "parameters", "presets", "editors", "classes"})
    json[unknown] = nullptr;
  if (!plugin.lv2) return json;
  const Lv2Outline& has = *plugin.lv2;
  json["uri"] = has.uri;
  json["ports"] = {{"audio_inputs", has.audio_inputs}, {"audio_outputs", has.audio_outputs},
                   {"midi_inputs", has.midi_inputs},   {"midi_outputs", has.midi_outputs},
                   {"cv_inputs", has.cv_inputs},       {"cv_outputs", has.cv_outputs}};
  json["parameters"] = has.parameters;
  json["presets"] = has.presets;
  json["editors"] = has.editors;
  json["classes"] = has.classes;
  return json;
}

}  // namespace

std::string plugins_text(InstalledPlugins plugins, std::size_t columns) {
  std::ranges::sort(plugins, [](const auto& one, const auto& other) {
    const int order = strcasecmp(one.name.c_str(), other.name.c_str());
    return order != 0 ? order < 0 : one.specification < other.specification;
  });
  std::vector<Row> rows;
  if (columns > 0) rows.push_back({"name", "maker", "type", "specification"});
  for (const InstalledPlugin& plugin : plugins) rows.push_back(row_of(plugin));
  const auto widths = columns > 0 ? fitting_widths(rows, columns) : std::array<std::size_t, 4>{};
  std::string text;
  for (const Row& row : rows) {
    for (std::size_t i = 0; i + 1 < row.size(); ++i)
      text += columns > 0
                  ? in_columns(row[i], widths[i], i == 0 ? kept_end : 0) + std::string(gap, ' ')
                  : row[i] + '\t';
    text += row.back() + '\n';
  }
  return text;
}

std::string plugins_json(const InstalledPlugins& plugins) {
  Json list = Json::array();
  for (const InstalledPlugin& plugin : plugins) list.push_back(json_of(plugin));
  return json_text(list);
}

}  // namespace vesk::tools
