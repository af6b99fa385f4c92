#include "components/lv2/catalogue/stamp.hpp"

#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <utility>

namespace vesk::lv2 {
namespace {

constexpr std::int64_t ns_per_second = 1'000'000'000;
constexpr std::int64_t settling_ns = 2 * ns_per_second;

std::int64_t nanoseconds(const timespec& time) {
  return static_cast<std::int64_t>(time.tv_sec) * ns_per_second + time.tv_nsec;
}

}  // namespace

Stamp take_stamp(std::string path) {
  Stamp stamp{std::move(path)};
  struct stat status{};
  if (::stat(stamp.path.c_str(), &status) != 0) return stamp;
  stamp.mtime_ns = nanoseconds(status.st_mtim);
  // A folder's size says nothing about its contents, and some file systems let it drift.
  if (!S_ISDIR(status.st_mode)) stamp.size = static_cast<std::uint64_t>(status.st_size);
  timespec now{};
  // Files are stamped by the wall clock, so it is the one to compare with.
  clock_gettime(CLOCK_REALTIME, &now);
  const std::int64_t age = nanoseconds(now) - stamp.mtime_ns;
  if (age > -settling_ns && age < settling_ns) stamp.mtime_ns = Stamp::unsettled;
  return stamp;
}

bool still_holds(const Stamp& stamp) {
  return stamp.mtime_ns != Stamp::unsettled && take_stamp(stamp.path) == stamp;
}

bool all_hold(const std::vector<Stamp>& stamps) {
  return std::ranges::all_of(stamps, still_holds);
}

}  // namespace vesk::lv2
