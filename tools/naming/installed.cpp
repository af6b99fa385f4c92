#include "tools/naming/installed.hpp"

#include <AudioToolbox/AudioToolbox.h>

#include <algorithm>
#include <array>
#include <map>
#include <sstream>

#include "spec/chain_text.hpp"
#include "tools/program/scanner.hpp"

namespace vesk::tools {
namespace {

constexpr std::array<TypeWord, 5> words{{{kAudioUnitType_MusicDevice, "instrument"},
                                         {kAudioUnitType_Effect, "effect"},
                                         {kAudioUnitType_MusicEffect, "midi-effect"},
                                         {kAudioUnitType_Generator, "generator"},
                                         {kAudioUnitType_MIDIProcessor, "midi-processor"}}};

std::string word_of(std::uint32_t type) {
  for (const auto& [code, word] : words)
    if (code == type) return word;
  return four_cc(type);
}

bool can_be_written(const std::string& text) {
  const bool is_printable =
      std::ranges::all_of(text, [](unsigned char c) { return c >= 0x20 && c < 0x7F; });
  std::string ignored;
  const auto chain = parse_chain(text, ChainStart::either, ignored);
  return is_printable && chain && chain->size() == 1 && chain->front().name == text;
}

std::string why_not_hosted(const InstalledPlugin& plugin) {
  switch (plugin.component.desc.componentType) {
    case kAudioUnitType_MusicDevice:
    case kAudioUnitType_MusicEffect:
    case kAudioUnitType_Effect:
    case kAudioUnitType_Generator:
      return can_be_written(plugin.specification) ? "" : "its codes cannot be written in a chain";
    case kAudioUnitType_MIDIProcessor:
      return "it works on MIDI alone";
    default:
      return "no host runs its type (" + plugin.type + ")";
  }
}

std::vector<std::string> words_of(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> found;
  for (std::string word; stream >> word;) found.push_back(word);
  return found;
}

/// By specification text.
std::map<std::string, Lv2Outline> read_outlines() {
  std::map<std::string, Lv2Outline> outlines;
  std::string ignored;
  std::istringstream lines(ask_scanner("--details", ignored).value_or(""));
  for (std::string specification; std::getline(lines, specification, '\t');) {
    Lv2Outline& has = outlines[specification];
    std::string editors, classes;
    std::getline(lines, has.uri, '\t');
    lines >> has.audio_inputs >> has.audio_outputs >> has.midi_inputs >> has.midi_outputs >>
        has.cv_inputs >> has.cv_outputs >> has.parameters >> has.presets;
    lines.ignore();
    std::getline(lines, editors, '\t');
    std::getline(lines, classes);
    has.editors = words_of(editors);
    has.classes = words_of(classes);
  }
  return outlines;
}

}  // namespace

std::span<const TypeWord> type_words() {
  return words;
}

std::string without_maker(const std::string& name) {
  // Components are called "Maker: Name" on this platform.
  const std::size_t colon = name.find(": ");
  return colon == std::string::npos ? name : name.substr(colon + 2);
}

InstalledPlugin plugin_of(const ComponentInfo& component) {
  InstalledPlugin plugin{component, {}, without_maker(component.name), {}, {}, {}, {}};
  const AudioComponentDescription& is = component.desc;
  plugin.specification = four_cc(is.componentType) + ":" + four_cc(is.componentSubType) + ":" +
                         four_cc(is.componentManufacturer);
  if (plugin.name != component.name)
    plugin.maker = component.name.substr(0, component.name.size() - plugin.name.size() - 2);
  plugin.type = word_of(is.componentType);
  plugin.not_hosted = why_not_hosted(plugin);
  return plugin;
}

InstalledPlugins installed_plugins(bool with_outlines) {
  InstalledPlugins plugins;
  for (const ComponentInfo& component : list_components(AudioComponentDescription{}))
    plugins.push_back(plugin_of(component));
  if (!with_outlines) return plugins;
  // After the list, which has brought what the scanner knows up to date.
  std::map<std::string, Lv2Outline> outlines = read_outlines();
  for (InstalledPlugin& plugin : plugins)
    if (const auto found = outlines.find(plugin.specification); found != outlines.end())
      plugin.lv2 = std::move(found->second);
  return plugins;
}

}  // namespace vesk::tools
