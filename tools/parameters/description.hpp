#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/program/json.hpp"

namespace vesk::tools {

/// One parameter of a component.
struct ParameterDescription {
  std::uint32_t id = 0;
  std::string name;
  float minimum = 0.0f;
  float maximum = 0.0f;
  float default_value = 0.0f;
  std::string unit;  ///< short, such as "Hz"; empty for none
  bool is_writable = true;
  std::vector<std::string> value_names;  ///< entry i names `minimum` + i; usually empty
  std::string symbol;  ///< a short name that no other parameter has; empty where there is none
};

/// Parameters as a JSON array of objects.
Json json_of(const std::vector<ParameterDescription>& parameters);

/// What `vesk-parameters` prints: an object with `parameters`, or without them with `error`.
std::string answer_text(const std::optional<std::vector<ParameterDescription>>& parameters,
                        const std::string& error);

/// Reads back what `json_of` made; a bound that was infinite is so again. Empty when it is
/// something else.
std::optional<std::vector<ParameterDescription>> parameters_from(const Json& list);

}  // namespace vesk::tools
