#pragma once

// The cache of installed plugins: an index and one record a plugin, in one file. What the scanner
// answers has the same form.

#include <optional>
#include <string>
#include <vector>

#include "components/lv2/catalogue/file.hpp"
#include "components/lv2/catalogue/index.hpp"

namespace vesk::lv2 {

/// The cache file for the present search path: in `$VESK_CACHE`, else `$XDG_CACHE_HOME/vesk`, else
/// `~/.cache/vesk`. Other search paths have other files, so that two of them do not take turns in
/// one. Empty when there is no such folder.
std::string cache_file_path();

/// An open cache. Its records stay in the file until asked for; a file that has been replaced
/// since is read on as it was.
class CacheFile {
 public:
  /// Reads the index of the file at `path`. Nothing when there is none, when it is damaged, or
  /// when another user (but root) owns it or may write it: it names libraries to load.
  static std::optional<CacheFile> open(const std::string& path);
  static std::optional<CacheFile> from(File file);

  const Index& index() const { return index_; }
  /// The record of an entry of this index; nothing when there is none or it is another's.
  std::optional<PluginRecord> record(const Entry& entry) const;

 private:
  CacheFile(File file, Index index, std::uint64_t records_at);

  File file_;
  Index index_;
  std::uint64_t records_at_;
};

/// `index` and `records` (one for each entry, empty for those without) as the bytes of a cache
/// file. Sets the entries' `record_size`.
Bytes encode_cache(Index& index, const std::vector<Bytes>& records);

/// Puts `cache` there in one step: a reader meets the old file or the new one, and of two writers
/// at once the last one's whole file stays. Makes the folder when it is missing. False when it
/// cannot be written; nothing is left behind then.
bool write_cache_file(const std::string& path, const Bytes& cache);

/// Keeps two scanners from reading the same bundles at once, until the file is closed; readers and
/// writers are safe without. Waits for another's lock, but not for ever.
File lock_cache(const std::string& path);

}  // namespace vesk::lv2
