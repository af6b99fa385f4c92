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

}  // namespace

std::string parameters_text(const std::vector<ParameterDescription>& parameters) {
  std::vector<std::vector<std::string>> rows{{"id", "name", "range", "default", "unit"}};
  for (const ParameterDescription& parameter : parameters) {
    std::string remark = parameter.unit;
    if (!parameter.is_writable) remark += remark.empty() ? "read only" : ", read only";
    rows.push_back({std::to_string(parameter.id), parameter.name,
                    number(parameter.minimum) + " to " + number(parameter.maximum),
                    number(parameter.default_value), remark});
  }
  std::size_t id_width = 0;
  for (const auto& row : rows) id_width = std::max(id_width, row.front().size());
  const std::vector<std::string> lines = in_columns(rows);
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

std::string parameters_json(const std::string& specification, const std::string& name,
                            const std::vector<ParameterDescription>& parameters) {
  return json_text(
      {{"specification", specification}, {"name", name}, {"parameters", json_of(parameters)}});
}

}  // namespace vesk::tools
