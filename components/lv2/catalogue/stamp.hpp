#pragma once

// When a file or folder was last changed, and whether it still is what was read.

#include <cstdint>
#include <string>
#include <vector>

namespace vesk::lv2 {

/// A path with what `stat` said of it before it was read.
struct Stamp {
  static constexpr std::int64_t absent = 0;
  /// The time of a thing that changed within the last two seconds: on file systems that count
  /// coarsely another change could follow without a new time. Such a stamp never holds, so the
  /// thing is read once more.
  static constexpr std::int64_t unsettled = -1;

  std::string path;
  std::int64_t mtime_ns = absent;
  std::uint64_t size = 0;  ///< of a file

  bool operator==(const Stamp&) const = default;
};

Stamp take_stamp(std::string path);

/// True when what was read under this stamp is still there unchanged. One `stat`.
bool still_holds(const Stamp& stamp);
bool all_hold(const std::vector<Stamp>& stamps);

}  // namespace vesk::lv2
