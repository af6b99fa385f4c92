#include "tools/render/chain_check.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "tools/hosting/host_words.hpp"
#include "tools/parameters/question.hpp"

namespace vesk::tools {
namespace {

std::string number(float value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.7g", static_cast<double>(value));
  return text;
}

}  // namespace

std::vector<Warning> check_values(const ChainElement& plugin,
                                  const std::vector<ParameterDescription>& parameters) {
  std::vector<Warning> warnings;
  for (const auto& [id, value] : plugin.params) {
    const auto found = std::ranges::find(parameters, id, &ParameterDescription::id);
    if (found == parameters.end() || !found->is_writable) {
      warnings.push_back({WarningKind::no_such_parameter,
                          plugin.name + " has no parameter " + std::to_string(id) +
                              (found == parameters.end() ? "" : " that can be set") +
                              "; vesk-list --parameters " + plugin.name + " shows what it has"});
    } else if (!(value >= found->minimum && value <= found->maximum)) {
      // Written so that a value that is no number lies outside.
      warnings.push_back({WarningKind::out_of_range,
                          "parameter " + std::to_string(id) + " (" + found->name + ") of " +
                              plugin.name + " takes " + number(found->minimum) + " to " +
                              number(found->maximum) + ", not " + number(value)});
    }
  }
  return warnings;
}

std::vector<Warning> check_chain(const ChainElements& chain, bool plays_midi, int sample_rate_hz) {
  std::vector<Warning> warnings;
  if (plays_midi)
    for (const std::string& remark : midi_remarks(chain))
      warnings.push_back({WarningKind::note, remark});
  for (const ChainElement& plugin : chain) {
    // Hosts load a chain whose preset file is missing: the first run of a plugin has none yet. In
    // a rendering the path is more likely mistyped.
    std::error_code unknown;
    if (!plugin.preset_path.empty() && !std::filesystem::exists(plugin.preset_path, unknown)) {
      warnings.push_back({WarningKind::no_preset, plugin.preset_path + " does not exist; " +
                                                      plugin.name +
                                                      " starts with its own settings"});
    }
    if (plugin.params.empty()) continue;
    // A plugin that cannot be opened is the host's to refuse, and then this is not said.
    std::string error;
    if (const auto parameters = ask_parameters(plugin.text, plugin.name, sample_rate_hz, error))
      std::ranges::move(check_values(plugin, *parameters), std::back_inserter(warnings));
    else
      warnings.push_back({WarningKind::note, "parameters were not checked: " + error});
  }
  return warnings;
}

}  // namespace vesk::tools
