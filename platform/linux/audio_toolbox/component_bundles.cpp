#include "platform/linux/audio_toolbox/component_bundles.hpp"

#include <dirent.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "platform/linux/audio_toolbox/module_folder.hpp"

namespace vesk::platform {
namespace {

void add_folders_of_path(std::string_view path, std::vector<std::string>& folders) {
  while (!path.empty()) {
    const std::size_t colon = std::min(path.find(':'), path.size());
    if (colon > 0) folders.emplace_back(path.substr(0, colon));
    path.remove_prefix(std::min(colon + 1, path.size()));
  }
}

std::vector<std::string> bundles_in(const std::string& folder) {
  constexpr std::string_view suffix = ".component";
  std::vector<std::string> bundles;
  DIR* directory = opendir(folder.c_str());
  if (!directory) return bundles;
  while (const dirent* entry = readdir(directory)) {
    const std::string_view name = entry->d_name;
    if (name.size() > suffix.size() && name.ends_with(suffix) && name.front() != '.')
      bundles.push_back(folder + "/" + std::string(name));
  }
  closedir(directory);
  std::sort(bundles.begin(), bundles.end());
  return bundles;
}

}  // namespace

ComponentBundles::ComponentBundles() {
  if (const char* path = std::getenv("AUDIO_COMPONENT_PATH")) add_folders_of_path(path, folders_);
  if (const char* home = std::getenv("HOME"); home && *home)
    folders_.push_back(std::string(home) + "/.local/lib/audio-components");
  folders_.emplace_back("/usr/local/lib/audio-components");
  folders_.emplace_back("/usr/lib/audio-components");
}

bool ComponentBundles::enter_next_folder() {
  // Where the program is takes the kernel a while to say, and most searches end before.
  if (next_folder_ == folders_.size() && !std::exchange(knows_own_folder_, true))
    folders_.push_back(module_folder() + "/components");
  if (next_folder_ == folders_.size()) return false;
  const auto here = folders_.begin() + static_cast<std::ptrdiff_t>(next_folder_++);
  bundles_.clear();
  next_bundle_ = 0;
  // A folder named twice lists its bundles once.
  if (std::find(folders_.begin(), here, *here) == here) bundles_ = bundles_in(*here);
  return true;
}

bool ComponentBundles::read_next(std::vector<std::unique_ptr<OpaqueAudioComponent>>& components) {
  for (;;) {
    while (next_bundle_ == bundles_.size())
      if (!enter_next_folder()) return false;
    auto found = read_bundle(bundles_[next_bundle_++], complaints_);
    if (found.empty()) continue;
    for (auto& component : found) {
      component->position = components.size();
      components.push_back(std::move(component));
    }
    return true;
  }
}

std::vector<std::string> ComponentBundles::take_complaints() {
  return std::exchange(complaints_, {});
}

}  // namespace vesk::platform
