#include "tools/list/parameter_listing.hpp"

#include <algorithm>
#include <cstdio>

#include "tools/list/columns.hpp"

namespace vesk::tools {
namespace {

std::string number(float value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", static_cast<double>(value));
  return text;
}

std::string table_of(const std::vector<ParameterDescription>& parameters) {
  std::vector<std::vector<std::string>> rows{{"id", "symbol", "name", "range", "default", "unit"}};
  for (const ParameterDescription& parameter : parameters) {
    std::string remark = parameter.unit;
    if (!parameter.is_writable) remark += remark.empty() ? "read only" : ", read only";
    rows.push_back({std::to_string(parameter.id), parameter.symbol, parameter.name,
                    number(parameter.minimum) + " to " + number(parameter.maximum),
                    number(parameter.default_value), remark});
  }
  // Plugins of other kinds than LV2 have no symbols.
  if (std::ranges::all_of(parameters,
                          [](const auto& parameter) { return parameter.symbol.empty(); }))
    for (auto& row : rows) row.erase(row.begin() + 1);
  std::size_t id_width = 0;
  for (const auto& row : rows) id_width = std::max(id_width, row.front().size());
  const std::vector<std::string> lines = table_lines(rows);
  std::string text = lines.front() + '\n';
  for (std::size_t p = 0; p < parameters.size(); ++p) {
    text += lines[p + 1] + '\n';
    const ParameterDescription& parameter = parameters[p];
    for (std::size_t i = 0; i < parameter.value_names.size(); ++i)
      text += std::string(id_width + 4, ' ') + number(parameter.minimum + static_cast<float>(i)) +
              " = " + parameter.value_names[i] + '\n';
  }
  return text;
}

}  // namespace

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
