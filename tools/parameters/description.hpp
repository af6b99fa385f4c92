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

/// One factory preset of a component.
struct PresetDescription {
  int number = 0;
  std::string name;
  bool is_users = false;  ///< of an LV2 plugin: the user has made it, it came with no package
};

/// A file that a component is told of by name, such as an impulse response.
struct FileDescription {
  std::string key;    ///< a URI
  std::string label;  ///< for people
  std::string path;   ///< what it has; empty for none
};

/// What an open component tells of itself.
struct PluginDescription {
  std::vector<ParameterDescription> parameters;
  std::vector<PresetDescription> presets;
  std::vector<FileDescription> files;
  std::vector<std::string> remarks;  ///< on files of its preset that are gone
};

/// Parameters, presets and files, each as a JSON array of objects.
Json json_of(const std::vector<ParameterDescription>& parameters);
Json json_of(const std::vector<PresetDescription>& presets);
Json json_of(const std::vector<FileDescription>& files);

/// What `vesk-parameters` prints: an object with `parameters`, `presets` and `files`, or with
/// `error`.
std::string answer_text(const std::optional<PluginDescription>& plugin, const std::string& error);

/// Reads back what `json_of` made; a bound that was infinite is so again. Empty when it is
/// something else.
std::optional<std::vector<ParameterDescription>> parameters_from(const Json& list);

/// Reads back what `answer_text` made of a plugin. Empty when it is something else.
std::optional<PluginDescription> plugin_from(const Json& answer);

}  // namespace vesk::tools
