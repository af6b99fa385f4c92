#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "spec/chain_text.hpp"
#include "tools/parameters/settings.hpp"
#include "tools/program/command_line.hpp"
#include "tools/program/temporary_folder.hpp"

namespace vesk::tools {

/// What the plugins of a chain are to start with, by their places in it, from 0.
using ChainSettings = std::map<std::size_t, PluginSettings>;

/// The options --preset [N:]NAME and --file [N:]NAME=PATH, for the Nth plugin, the first unless
/// told. They read into `settings`, which must outlive them.
std::vector<Option> setting_options(ChainSettings& settings);

/// The lines of a --help about these options.
extern const char* const settings_help;

/// Whether the chain has plugins in these places that can take settings; false with a sentence in
/// `error`.
bool check_settings(const ChainSettings& settings, const ChainElements& chain, std::string& error);

/// Preset files made for a chain, since a host knows nothing else that a plugin could start from.
/// Temporary ones go with this.
class StartPresets {
 public:
  /// Has vesk-parameters make one for each plugin that is in `settings`, from what the chain says
  /// of it and what these say, and puts its path into the chain. With `keeps` the preset file that
  /// the chain names is rewritten; without, and where it names none, the file is a temporary one.
  /// Empty with a sentence in `error`; files that were made first then stay.
  static std::optional<StartPresets> make(ChainElements& chain, const ChainSettings& settings,
                                          bool keeps, int sample_rate_hz, std::string& error);

  /// On files that presets of the chain named and that are gone, a sentence each.
  const std::vector<std::string>& remarks() const { return remarks_; }

 private:
  StartPresets() = default;
  std::string temporary_path(std::size_t plugin, std::string& error);

  std::unique_ptr<TemporaryFolder> folder_;  // null: none was needed
  std::vector<std::string> remarks_;
};

}  // namespace vesk::tools
