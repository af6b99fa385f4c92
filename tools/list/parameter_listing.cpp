#include "tools/list/parameter_listing.hpp"

#include <algorithm>
#include <array>
#include <cstdio>

#include "tools/list/columns.hpp"

namespace vesk::tools {
namespace {

std::string number(float value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", static_cast<double>(value));
  return text;
}

using Row = std::array<std::string, 6>;

}  // namespace

static std::string table_of(const std::vector<ParameterDescription>& parameters) {
  std::vector<Row> rows{{"id", "symbol", "name", "range", "default", "unit"}};
  for (const ParameterDescription& parameter : parameters) {
    std::string remark = parameter.unit;
    if (!parameter.is_writable) remark += remark.empty() ? "read only" : ", read only";
    rows.push_back({std::to_string(parameter.id), parameter.symbol, parameter.name,
                    number(parameter.minimum) + " to " + number(parameter.maximum),
                    number(parameter.default_value), remark});
  }
  // Plugins of other kinds than LV2 have no symbols.
  const bool has_symbols = std::ranges::any_of(
      parameters, [](const auto& parameter) { return !parameter.symbol.empty(); });
  std::array<std::size_t, 6> widths{};
  for (const Row& row : rows)
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], width(row[i]));
  std::string text;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    std::string line;
    for (std::size_t i = 0; i < rows[r].size(); ++i)
      if (i != 1 || has_symbols)
        line += rows[r][i] + std::string(widths[i] - width(rows[r][i]) + 2, ' ');
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + '\n';
    if (r == 0) continue;
    const ParameterDescription& parameter = parameters[r - 1];
    for (std::size_t i = 0; i < parameter.value_names.size(); ++i) {
      text += std::string(widths[0] + 4, ' ') + number(parameter.minimum + static_cast<float>(i)) +
              " = " + parameter.value_names[i] + '\n';
    }
  }
  return text;
}

std::string parameters_text(const PluginDescription& plugin) {
  std::string text = plugin.parameters.empty() ? "no parameters\n" : table_of(plugin.parameters);
  for (const FileDescription& file : plugin.files)
    text += "file \"" + file.label + "\": " + (file.path.empty() ? "none" : file.path) + '\n';
  return text;
}

std::string parameters_json(const std::string& specification, const std::string& name,
                            const PluginDescription& plugin) {
  return json_text({{"specification", specification},
                    {"name", name},
                    {"parameters", json_of(plugin.parameters)},
                    {"files", json_of(plugin.files)}});
}

std::string presets_text(const std::vector<PresetDescription>& presets) {
  if (presets.empty()) return "no presets\n";
  std::string text;
  for (const PresetDescription& preset : presets) {
    const std::string number = std::to_string(preset.number);
    text += std::string(number.size() < 4 ? 4 - number.size() : 0, ' ') + number + "  " +
            preset.name + (preset.is_users ? "  (yours)" : "") + '\n';
  }
  return text;
}

std::string presets_json(const std::string& specification, const std::string& name,
                         const PluginDescription& plugin) {
  return json_text(
      {{"specification", specification}, {"name", name}, {"presets", json_of(plugin.presets)}});
}

}  // namespace vesk::tools
