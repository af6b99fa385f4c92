#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "tools/render/batch_plan.hpp"

namespace vesk::tools {

/// What a folder of outputs knows of how they were made, for a later call to go on from.
///
/// An output that is there is whole: files appear under their names only when they are. Whether it
/// is the one that is wanted cannot be seen from it, nor from its age alone: options change, too.
/// So each is put down in the file `.vesk-render`, a JSON object a line, the newest last, with all
/// that it was made from. A line that cannot be read counts as none.
class FinishedWork {
 public:
  /// Reads what is there. `folder` need not exist.
  explicit FinishedWork(const std::string& folder);

  /// Whether the output is there, and of this recipe.
  bool has(const BatchJob& job, const std::string& recipe) const;

  /// Puts the output down; false with a sentence in `error`. Any thread.
  bool add(const BatchJob& job, const std::string& recipe, std::string& error);

 private:
  struct Entry {
    std::string recipe;
    std::uint64_t bytes = 0;
  };

  std::string key_of(const BatchJob& job) const;

  std::string folder_;
  std::string path_;
  std::map<std::string, Entry> entries_;  // by the output's path below the folder
  std::mutex mutex_;
  bool must_end_line_ = false;  // a call that was killed may have left half a line
};

/// All that an output of these arguments depends on, as far as it can be seen from outside: the
/// chain, the options, and the size and time of every file that they name.
std::string recipe_of(const RenderArguments& arguments, const BatchJob& job);

}  // namespace vesk::tools
