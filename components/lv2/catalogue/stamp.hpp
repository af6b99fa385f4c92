#pragma once

// When a file or folder was last changed, and whether it still is what was read.

#include <cstdint>
#include <string>
#include <vector>

#include "components/lv2/catalogue/fields.hpp"

namespace vesk::lv2 {

/// What `stat` says of a path. A thing changed within the last two seconds is `unsettled`: another
/// change could follow without a new time on file systems that count coarsely, so such a stamp
/// never holds and the thing is read once more.
struct Stamp {
  enum class State : std::uint8_t { absent, settled, unsettled };

  State state = State::absent;
  std::int64_t mtime_ns = 0;
  std::uint64_t size = 0;
  std::uint64_t inode = 0;
};

/// A path with the stamp taken before it was read.
struct Stamped {
  std::string path;
  Stamp stamp;
};

Stamp take_stamp(const std::string& path);
Stamped stamped(std::string path);

/// True when what was read under this stamp is still there unchanged. One `stat`.
bool still_holds(const Stamped& what);
bool all_hold(const std::vector<Stamped>& things);

void fields(auto& stream, RecordOf<Stamped> auto& what) {
  stream(what.path);
  stream.enumerator(what.stamp.state, Stamp::State::unsettled);
  stream(what.stamp.mtime_ns, what.stamp.size, what.stamp.inode);
}

}  // namespace vesk::lv2
