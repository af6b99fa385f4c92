#include "tools/audio/tail.hpp"

#include <cmath>
#include <limits>

namespace vesk::tools {
namespace {

std::uint64_t frames_of(double seconds, double sample_rate) {
  return static_cast<std::uint64_t>(std::llround(seconds * sample_rate));
}

const float quiet_below = static_cast<float>(std::pow(10.0, Tail::silence_dbfs / 20.0));

}  // namespace

Tail::Tail(std::optional<double> fixed_seconds, double sample_rate)
    : listens_(!fixed_seconds),
      limit_(frames_of(fixed_seconds.value_or(longest_seconds), sample_rate)),
      quiet_wanted_(listens_ ? frames_of(silence_seconds, sample_rate)
                             : std::numeric_limits<std::uint64_t>::max()) {}

std::uint32_t Tail::take(const float* left, const float* right, std::uint32_t frames) {
  std::uint32_t taken = 0;
  while (taken < frames && !is_over()) {
    // Written so that a sample that is not a number counts as sound.
    const bool is_quiet =
        std::fabs(left[taken]) < quiet_below && std::fabs(right[taken]) < quiet_below;
    quiet_frames_ = is_quiet ? quiet_frames_ + 1 : 0;
    ++taken;
    ++taken_;
  }
  return taken;
}

}  // namespace vesk::tools
