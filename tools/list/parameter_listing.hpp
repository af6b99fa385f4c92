#pragma once

#include <string>
#include <vector>

#include "tools/parameters/description.hpp"

namespace vesk::tools {

/// A table: id, symbol (where plugins have any), name, range, default and unit, one line a
/// parameter, its value names below it.
std::string parameters_text(const std::vector<ParameterDescription>& parameters);

/// A JSON object with the component's specification, name and parameters.
std::string parameters_json(const std::string& specification, const std::string& name,
                            const std::vector<ParameterDescription>& parameters);

}  // namespace vesk::tools
