#pragma once

// Where the catalogue of installed plugins is kept between runs.

#include <span>
#include <string>

#include "components/lv2/catalogue/byte_stream.hpp"

namespace vesk::lv2 {

/// The cache file for the present search path: in `$VESK_CACHE`, else `$XDG_CACHE_HOME/vesk`, else
/// `~/.cache/vesk`. Other search paths have other files, so that two of them do not take turns in
/// one. Empty when there is no such folder.
std::string cache_file_path();

/// Puts `image` there in one step: a reader meets the old file or the new one, and of two writers
/// at once the last one's whole file stays. Makes the folder when it is missing. False when it
/// cannot be written; nothing is left behind then.
bool write_cache_file(const std::string& path, std::span<const std::byte> image);

/// Keeps two scanners from reading the same bundles at once; readers and writers are safe without.
class CacheLock {
 public:
  /// Waits for another's lock, but not for ever: without a lock the work is merely done twice.
  explicit CacheLock(const std::string& path);
  ~CacheLock();
  CacheLock(const CacheLock&) = delete;
  CacheLock& operator=(const CacheLock&) = delete;

 private:
  int descriptor_ = -1;
};

}  // namespace vesk::lv2
