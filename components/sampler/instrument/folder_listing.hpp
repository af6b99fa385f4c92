#pragma once

// Folders as they were when somebody first asked, by folded names.

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

namespace vesk::sampler {

/// What lies in folders. A folder is read once, or never.
class FolderListings {
 public:
  /// The entries of `folder` whose folded name is `name`; `exact`, if it is among them, first.
  std::vector<std::string> find(const std::string& folder, const std::string& name,
                                const std::string& exact);

 private:
  using Names = std::unordered_map<std::string, std::vector<std::string>>;
  std::unordered_map<std::string, Names> folders_;
};

/// The files of a tree by folded name: those nearest to its root, up to a number of entries seen.
/// Links to folders are followed, each folder once; names that begin with a dot are passed over.
std::unordered_map<std::string, std::vector<std::string>> index_of_tree(const std::string& root,
                                                                        std::size_t most_entries);

}  // namespace vesk::sampler
