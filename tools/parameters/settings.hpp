#pragma once

#include <string>
#include <utility>
#include <vector>

namespace vesk::tools {

/// What a plugin is to start with beyond what a chain's text can say.
struct PluginSettings {
  std::string preset;                                      ///< a name or a number; empty: none
  std::vector<std::pair<std::string, std::string>> files;  ///< names and paths
};

}  // namespace vesk::tools
