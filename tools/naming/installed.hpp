#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "spec/catalogue.hpp"

namespace vesk::tools {

/// What the description of an LV2 plugin tells.
struct Lv2Outline {
  std::string uri;
  unsigned audio_inputs = 0;
  unsigned audio_outputs = 0;
  unsigned midi_inputs = 0;
  unsigned midi_outputs = 0;
  unsigned cv_inputs = 0;
  unsigned cv_outputs = 0;
  unsigned parameters = 0;  ///< that can be set
  unsigned presets = 0;
  std::vector<std::string> editors;  ///< kinds of its own interfaces, such as "X11UI"
  std::vector<std::string> classes;  ///< such as "ReverbPlugin"
};

/// One installed plugin, as a person looks for it.
struct InstalledPlugin {
  ComponentInfo component;
  std::string specification;  ///< the text that loads it: its three codes joined by ':'
  std::string name;           ///< without its maker
  std::string maker;          ///< empty when not told
  std::string type;           ///< in a word; the code of a type that has none
  std::string not_hosted;     ///< why no host runs it; empty when one does
  std::optional<Lv2Outline> lv2;
};

using InstalledPlugins = std::vector<InstalledPlugin>;

/// What people call a type of component.
struct TypeWord {
  std::uint32_t type;
  const char* word;
};
std::span<const TypeWord> type_words();

/// A component's name without its maker.
std::string without_maker(const std::string& name);

/// A component as a plugin, without what LV2 tells.
InstalledPlugin plugin_of(const ComponentInfo& component);

/// Everything that is installed, in the platform's order. Reads what has not been read yet, with
/// progress on a terminal. With `with_outlines` the LV2 plugins have theirs, which takes a run of
/// the scanner program; where that has no answer they have none.
InstalledPlugins installed_plugins(bool with_outlines);

}  // namespace vesk::tools
