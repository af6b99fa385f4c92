#pragma once

#include <AudioToolbox/AUComponent.h>

#include <optional>
#include <string>

#include "spec/plugin_spec.hpp"

namespace vesk::tools {

/// Validates a chain of either kind, one that starts with an instrument or one of effects only, and
/// sums it up as `PluginSpec` does for each. On failure `error` says what was expected.
inline std::optional<PluginSpec> parse_whole_chain(const std::string& chain, std::string& error) {
  const auto first = PluginSpec::parse(PluginSpec::split_chain(chain).front(), error);
  if (!first) return std::nullopt;
  return first->is_effect() ? PluginSpec::parse_chain(chain, error)
                            : PluginSpec::parse_channel(chain, error);
}

/// Whether a plugin of this type is sent MIDI events: every one but a plain effect.
inline bool takes_midi(const PluginSpec& plugin) {
  return plugin.desc.componentType != kAudioUnitType_Effect;
}

}  // namespace vesk::tools
