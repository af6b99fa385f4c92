#pragma once

#include <string>
#include <vector>

#include "tools/parameters/description.hpp"

namespace vesk::tools {

/// A table: id, symbol (where plugins have any), name, range, default and unit, one line a
/// parameter, its value names below it; then the files that the plugin takes, with what it has.
std::string parameters_text(const PluginDescription& plugin);

/// A JSON object with the component's specification, name, parameters and files.
std::string parameters_json(const std::string& specification, const std::string& name,
                            const PluginDescription& plugin);

/// One line a preset: number, name, and a remark where the user has made it.
std::string presets_text(const std::vector<PresetDescription>& presets);

/// A JSON object with the component's specification, name and presets.
std::string presets_json(const std::string& specification, const std::string& name,
                         const PluginDescription& plugin);

}  // namespace vesk::tools
