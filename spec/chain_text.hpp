#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The one parser of chain texts, for the host, for the client and for programs that link neither.
/// It knows no type of the system; `PluginSpec` puts one around it. Any thread; allocates.
namespace vesk {

/// Whether components of a type are effects, with or without MIDI: 'aufx' or 'aumf'.
bool is_effect_type(std::uint32_t type);

/// One element of a chain: what to load, and what to set on it.
///
/// An element's text has one of two forms:
///
///     exs:PATH                                  a sampler instrument file
///     TYPE:SUBTYPE:MANUFACTURER[#ID=VALUE,...][@PRESET]
///
/// with codes of four bytes each, parameter ids and values in the units of the plugin, and the
/// path of a preset file that is restored at load and rewritten when the user changes the plugin
/// in its editor. Several texts joined by '|' make a chain. Nothing is trimmed.
struct ChainElement {
  /// Four-character codes, the first byte most significant.
  std::uint32_t type = 0;
  std::uint32_t subtype = 0;
  std::uint32_t manufacturer = 0;
  /// The text as given to the parser.
  std::string text;
  /// How messages call the plugin: the 14-byte component text, or "AUSampler: " and a file name.
  std::string name;
  /// Preset file to restore; empty for none.
  std::string preset_path;
  /// Sampler instrument file to load; empty for none.
  std::string exs_path;
  /// Parameters to set before initialisation, as written: one given twice is listed twice.
  std::vector<std::pair<std::uint32_t, float>> params;

  bool is_effect() const;
  /// Whether a plugin of this type is sent MIDI events: every one but a plain effect ('aufx').
  bool takes_midi() const;
};

/// The elements of a valid chain, in order; never empty.
using ChainElements = std::vector<ChainElement>;

/// What a chain may start with; all that follows must be effects.
enum class ChainStart { effect, instrument, either };

/// Cuts a chain text at every '|', before anything else is looked at. Never empty: a text of n
/// separators has n + 1 elements, empty ones included.
std::vector<std::string> split_chain(std::string_view text);

/// Parses one element. On failure the result is empty and `error` says what was expected; on
/// success `error` is left alone. Whether the component and the files exist is not looked at.
std::optional<ChainElement> parse_element(std::string_view text, std::string& error);

/// Parses a whole chain. Empty with a sentence in `error` about the first faulty element: it does
/// not parse, or its type may not stand there.
std::optional<ChainElements> parse_chain(std::string_view text, ChainStart start,
                                         std::string& error);

/// The text that gives these elements: what they were parsed from.
std::string chain_text(const ChainElements& chain);

/// The names of all elements, joined by arrows.
std::string chain_name(const ChainElements& chain);

}  // namespace vesk
