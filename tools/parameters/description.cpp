#include "tools/parameters/description.hpp"

#include <limits>

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

std::string answer_text(const std::optional<std::vector<ParameterDescription>>& parameters,
                        const std::string& error) {
  return json_text(parameters ? Json{{"parameters", json_of(*parameters)}}
                              : Json{{"error", error}});
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
