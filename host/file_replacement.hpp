#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vesk::host {

enum class Replacement {
  done,
  not_written,  ///< the temporary file could not be had, or not all of it could be written
  not_renamed,  ///< all was written, but `path` could not be replaced
};

/// Replaces the file `path`, or makes it, through a temporary file `path` + ".saving" and a rename:
/// whoever reads `path` finds the old content or the new. A temporary file that could not be
/// written or renamed is left behind and used again by the next call.
///
/// Processes that replace one file at the same time do so one after the other; a process that stops
/// in the middle is waited for one second. The new file has the mode of the one it replaces, and
/// its owner where this process may give files away. A symbolic link at `path` that belongs to the
/// user stays, and what it names is replaced, as long as that is on the link's file system.
///
/// What stands at the temporary file's name is used only if it is a regular file of the user's own
/// with no other name: links are not followed, pipes and devices not opened for longer than a look.
Replacement replace_file(const std::string& path, const std::vector<std::uint8_t>& bytes);

}  // namespace vesk::host
