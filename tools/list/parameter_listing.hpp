#pragma once

#include <cstdint>
#include <string>
#include <vector>

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
};

/// A parameter unit in a few letters; empty for plain numbers and unknown ones. `unit` is an
/// `AudioUnitParameterUnit`.
std::string unit_text(std::uint32_t unit);

/// A table: id, name, range, default and unit, one line a parameter, its value names below it.
std::string parameters_text(const std::vector<ParameterDescription>& parameters);

/// A JSON object with the component's specification, name and parameters.
std::string parameters_json(const std::string& specification, const std::string& name,
                            const std::vector<ParameterDescription>& parameters);

}  // namespace vesk::tools
