#pragma once

#include <AudioToolbox/AudioToolbox.h>

#include <optional>
#include <string>
#include <utility>

#include "spec/plugin_spec.hpp"
#include "tools/parameters/description.hpp"
#include "tools/parameters/settings.hpp"

namespace vesk::tools {

/// A component that is open in this process. Main thread.
class OpenPlugin {
 public:
  explicit OpenPlugin(PluginSpec spec) : spec_(std::move(spec)) {}
  ~OpenPlugin();
  OpenPlugin(const OpenPlugin&) = delete;
  OpenPlugin& operator=(const OpenPlugin&) = delete;

  /// Makes an instance, before anything else. False with a sentence in `error`, which begins with
  /// the plugin's name: not installed, or it cannot be opened. Some ranges depend on the sample
  /// rate; 0 leaves that to the unit.
  bool open(double sample_rate_hz, std::string& error);

  /// Its parameters (global scope), factory presets and files. Empty with a sentence in `error`.
  std::optional<PluginDescription> describe(std::string& error) const;

  /// Starts it as a host does, with the parameters and the preset file of its specification (one
  /// that does not exist is passed over), then gives it `settings`. False with a sentence in
  /// `error` when one of these cannot be had.
  bool start(const PluginSettings& settings, std::string& error);

  /// Writes its state to a preset file. False with a sentence in `error`.
  bool save(const std::string& path, std::string& error) const;

 private:
  bool restore(std::string& error);

  const PluginSpec spec_;
  AudioUnit unit_ = nullptr;
};

}  // namespace vesk::tools
