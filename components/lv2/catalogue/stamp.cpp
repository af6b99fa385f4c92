#include "components/lv2/catalogue/stamp.hpp"

#include <sys/stat.h>
#include <time.h>

#include <algorithm>

namespace vesk::lv2 {
namespace {

constexpr std::int64_t ns_per_second = 1'000'000'000;
constexpr std::int64_t settling_ns = 2 * ns_per_second;

std::int64_t nanoseconds(const timespec& time) {
  return static_cast<std::int64_t>(time.tv_sec) * ns_per_second + time.tv_nsec;
}

}  // namespace

Stamp take_stamp(const std::string& path) {
  struct stat status{};
  Stamp stamp;
  if (::stat(path.c_str(), &status) != 0) return stamp;
  stamp.mtime_ns = nanoseconds(status.st_mtim);
  // A folder's size says nothing about its contents, and some file systems let it drift.
  stamp.size = S_ISDIR(status.st_mode) ? 0 : static_cast<std::uint64_t>(status.st_size);
  stamp.inode = status.st_ino;
  timespec now{};
  // Files are stamped by the wall clock, so it is the one to compare with.
  clock_gettime(CLOCK_REALTIME, &now);
  const std::int64_t age = nanoseconds(now) - stamp.mtime_ns;
  stamp.state =
      age > -settling_ns && age < settling_ns ? Stamp::State::unsettled : Stamp::State::settled;
  return stamp;
}

Stamped stamped(std::string path) {
  const Stamp stamp = take_stamp(path);
  return {std::move(path), stamp};
}

bool still_holds(const Stamped& what) {
  if (what.stamp.state == Stamp::State::unsettled) return false;
  const Stamp now = take_stamp(what.path);
  return (now.state == Stamp::State::absent) == (what.stamp.state == Stamp::State::absent) &&
         now.mtime_ns == what.stamp.mtime_ns && now.size == what.stamp.size &&
         now.inode == what.stamp.inode;
}

bool all_hold(const std::vector<Stamped>& things) {
  return std::ranges::all_of(things, still_holds);
}

}  // namespace vesk::lv2
