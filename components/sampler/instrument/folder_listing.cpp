#include "components/sampler/instrument/folder_listing.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <set>

#include "components/sampler/instrument/text.hpp"

namespace vesk::sampler {
namespace fs = std::filesystem;

std::vector<std::string> FolderListings::find(const std::string& folder, const std::string& name,
                                              const std::string& exact) {
  const auto [known, is_new] = folders_.try_emplace(folder);
  if (is_new) {
    std::error_code stop;
    for (fs::directory_iterator entry(folder, stop), end; !stop && entry != end;
         entry.increment(stop)) {
      std::string entry_name = entry->path().filename().string();
      std::string key = folded(entry_name);
      known->second[std::move(key)].push_back(std::move(entry_name));
    }
  }
  const auto found = known->second.find(name);
  if (found == known->second.end()) return {};
  std::vector<std::string> names = found->second;
  std::ranges::sort(names, {}, [&](const std::string& entry) {
    return std::pair<bool, const std::string&>(entry != exact, entry);
  });
  return names;
}

std::unordered_map<std::string, std::vector<std::string>> index_of_tree(const std::string& root,
                                                                        std::size_t most_entries) {
  std::unordered_map<std::string, std::vector<std::string>> index;
  std::set<std::pair<dev_t, ino_t>> visited;
  std::deque<std::string> folders{root};
  std::size_t seen = 0;
  for (; !folders.empty() && seen < most_entries; folders.pop_front()) {
    struct stat status{};
    if (::stat(folders.front().c_str(), &status) != 0 ||
        !visited.emplace(status.st_dev, status.st_ino).second)
      continue;
    std::error_code stop;
    for (fs::directory_iterator entry(folders.front(), stop), end;
         !stop && entry != end && seen < most_entries; entry.increment(stop), ++seen) {
      const std::string name = entry->path().filename().string();
      if (name.starts_with('.')) continue;
      std::error_code gone;
      if (entry->is_directory(gone))
        folders.push_back(entry->path().string());
      else if (entry->is_regular_file(gone))
        index[folded(name)].push_back(entry->path().string());
    }
  }
  return index;
}

}  // namespace vesk::sampler
