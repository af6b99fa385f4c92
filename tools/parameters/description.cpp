#include "tools/parameters/description.hpp"

#include <limits>
#include <utility>

namespace vesk::tools {
namespace {

float number_or(const Json& value, float otherwise) {
  return value.is_null() ? otherwise : value.get<float>();
}

}  // namespace

Json json_of(const std::vector<ParameterDescription>& parameters) {
  Json list = Json::array();
  for (const ParameterDescription& parameter : parameters)
    list.push_back({{"id", parameter.id},
                    {"name", parameter.name},
                    {"symbol", parameter.symbol},
                    {"minimum", parameter.minimum},
                    {"maximum", parameter.maximum},
                    {"default", parameter.default_value},
                    {"unit", parameter.unit},
                    {"writable", parameter.is_writable},
                    {"values", parameter.value_names}});
  return list;
}

Json json_of(const std::vector<PresetDescription>& presets) {
  Json list = Json::array();
  for (const PresetDescription& preset : presets)
    list.push_back({{"number", preset.number}, {"name", preset.name}, {"user", preset.is_users}});
  return list;
}

Json json_of(const std::vector<FileDescription>& files) {
  Json list = Json::array();
  for (const FileDescription& file : files)
    list.push_back({{"key", file.key}, {"label", file.label}, {"path", file.path}});
  return list;
}

std::string answer_text(const std::optional<PluginDescription>& plugin, const std::string& error) {
  return json_text(plugin ? Json{{"parameters", json_of(plugin->parameters)},
                                 {"presets", json_of(plugin->presets)},
                                 {"files", json_of(plugin->files)}}
                          : Json{{"error", error}});
}

std::optional<PluginDescription> plugin_from(const Json& answer) {
  if (!answer.is_object() || !answer.contains("parameters")) return std::nullopt;
  auto parameters = parameters_from(answer.at("parameters"));
  if (!parameters) return std::nullopt;
  PluginDescription plugin{std::move(*parameters), {}, {}, {}};
  try {
    for (const Json& each : answer.at("presets"))
      plugin.presets.push_back({each.at("number").get<int>(), each.at("name").get<std::string>(),
                                each.at("user").get<bool>()});
    for (const Json& each : answer.at("files"))
      plugin.files.push_back({each.at("key").get<std::string>(),
                              each.at("label").get<std::string>(),
                              each.at("path").get<std::string>()});
  } catch (const Json::exception&) {
    return std::nullopt;
  }
  return plugin;
}

std::optional<std::vector<ParameterDescription>> parameters_from(const Json& list) {
  constexpr float infinity = std::numeric_limits<float>::infinity();
  if (!list.is_array()) return std::nullopt;
  std::vector<ParameterDescription> parameters;
  try {
    for (const Json& each : list) {
      ParameterDescription& parameter = parameters.emplace_back();
      parameter.id = each.at("id").get<std::uint32_t>();
      parameter.name = each.at("name").get<std::string>();
      parameter.symbol = each.at("symbol").get<std::string>();
      parameter.minimum = number_or(each.at("minimum"), -infinity);
      parameter.maximum = number_or(each.at("maximum"), infinity);
      parameter.default_value =
          number_or(each.at("default"), std::numeric_limits<float>::quiet_NaN());
      parameter.unit = each.at("unit").get<std::string>();
      parameter.is_writable = each.at("writable").get<bool>();
      parameter.value_names = each.at("values").get<std::vector<std::string>>();
    }
  } catch (const Json::exception&) {
    return std::nullopt;
  }
  return parameters;
}

}  // namespace vesk::tools
