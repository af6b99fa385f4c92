#include "tools/parameters/chain_settings.hpp"

#include <filesystem>
#include <system_error>

#include "tools/parameters/question.hpp"

namespace vesk::tools {
namespace {

namespace fs = std::filesystem;

/// Takes "N:" off the front of `value`: which plugin it is for, from 0.
std::size_t take_place(std::string& value) {
  const std::size_t colon = value.find(':');
  int place = 0;
  if (colon == value.npos || !to_whole(value.substr(0, colon), 1, 999, place)) return 0;
  value.erase(0, colon + 1);
  return static_cast<std::size_t>(place - 1);
}

/// The files of `settings` under their whole paths: vesk-parameters and hosts may stand elsewhere.
bool find_files(PluginSettings& settings, std::string& error) {
  for (auto& [name, path] : settings.files) {
    std::error_code unknown;
    if (!fs::exists(path, unknown)) {
      error = path + " does not exist";
      return false;
    }
    path = fs::absolute(path, unknown).lexically_normal();
  }
  return true;
}

}  // namespace

const char* const settings_help =
    R"(      --preset [N:]NAME   start the Nth plugin (the first) from one of the presets that came with
                          it, by its name or number; vesk-list --presets shows them
      --file [N:]NAME=PATH  give the Nth plugin (the first) a file, such as a sample or an impulse
                          response; vesk-list --parameters shows which it takes
)";

std::vector<Option> setting_options(ChainSettings& settings) {
  return {{"--preset", nullptr,
           [&settings](std::string value, std::string& error) {
             PluginSettings& plugin = settings[take_place(value)];
             if (value.empty()) error = "needs a preset's name";
             if (!plugin.preset.empty()) error = "is given twice for one plugin";
             plugin.preset = value;
             return error.empty();
           }},
          {"--file", nullptr, [&settings](std::string value, std::string& error) {
             PluginSettings& plugin = settings[take_place(value)];
             // Names are labels or URIs; in a path a '=' is as likely as elsewhere.
             const std::size_t sign = value.find('=');
             if (sign == value.npos || sign == 0 || sign + 1 == value.size()) {
               error = "takes NAME=PATH, not \"" + value + "\"";
               return false;
             }
             plugin.files.emplace_back(value.substr(0, sign), value.substr(sign + 1));
             return true;
           }}};
}

bool check_settings(const ChainSettings& settings, const ChainElements& chain, std::string& error) {
  for (const auto& [place, wanted] : settings) {
    const std::string option = wanted.preset.empty() ? "--file" : "--preset";
    if (place >= chain.size())
      error = option + " is for plugin " + std::to_string(place + 1) + " of a chain of " +
              std::to_string(chain.size());
    else if (!chain[place].exs_path.empty())
      error = option + " is not for " + chain[place].name;
    else
      continue;
    return false;
  }
  return true;
}

std::optional<StartPresets> StartPresets::make(ChainElements& chain, const ChainSettings& settings,
                                               bool keeps, int sample_rate_hz, std::string& error) {
  StartPresets made;
  for (const auto& [place, given] : settings) {
    ChainElement& plugin = chain[place];
    PluginSettings wanted = given;
    if (!find_files(wanted, error)) return std::nullopt;
    const bool in_place = keeps && !plugin.preset_path.empty();
    const std::string path = in_place ? plugin.preset_path : made.temporary_path(place, error);
    if (path.empty()) return std::nullopt;
    const auto saved = ask_plugin(plugin.text, plugin.name, sample_rate_hz, wanted, path, error);
    if (!saved) return std::nullopt;
    made.remarks_.insert(made.remarks_.end(), saved->remarks.begin(), saved->remarks.end());
    if (!in_place) name_preset(plugin, path);
  }
  return made;
}

std::string StartPresets::temporary_path(std::size_t plugin, std::string& error) {
  if (!folder_) folder_ = TemporaryFolder::make(error);
  return folder_ ? folder_->path() + "/" + std::to_string(plugin + 1) + ".aupreset" : "";
}

}  // namespace vesk::tools
