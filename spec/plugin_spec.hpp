#pragma once

#include <AudioToolbox/AudioComponent.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vesk {

/// One parsed plugin specification: an element of a chain text (spec/chain_text.hpp has the syntax)
/// with the system's description of its component.
struct PluginSpec {
  /// The component to find; flags and mask are 0, so a search goes by the three codes alone.
  AudioComponentDescription desc{};
  /// The text as given to the parser.
  std::string text;
  /// How messages call the plugin: the 14-byte component text, or "AUSampler: " and a file name;
  /// for a whole chain the names of its elements joined by arrows.
  std::string name;
  /// Preset file to restore; empty for none.
  std::string preset_path;
  /// Sampler instrument file to load; empty for none.
  std::string exs_path;
  /// Parameters to set before initialisation, as written: one given twice is listed twice.
  std::vector<std::pair<std::uint32_t, float>> params;

  /// Whether the component is an effect, with or without MIDI ('aufx' or 'aumf').
  bool is_effect() const;

  /// Parses one element. On failure the result is empty and `error` says what was expected; on
  /// success `error` is left alone. Whether the component and the files exist is not looked at.
  static std::optional<PluginSpec> parse(std::string_view text, std::string& error);

  /// Cuts a chain text at every '|', before anything else is looked at. Never empty: a text of n
  /// separators has n + 1 elements, empty ones included.
  static std::vector<std::string> split_chain(std::string_view text);

  /// Validates a chain of effects and sums it up: the first element's record with the names of
  /// all joined and `text` the whole chain. Errors concern the first faulty element.
  static std::optional<PluginSpec> parse_chain(std::string_view text, std::string& error);

  /// The same for a channel: an instrument first, then effects.
  static std::optional<PluginSpec> parse_channel(std::string_view text, std::string& error);
};

}  // namespace vesk
