#include "components/sampler/voices/levels.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vesk::sampler {
namespace {

struct Point {
  double amount, cents;
};
/// What instruments are known to mean; between these the cents grow by equal factors.
constexpr Point points[] = {{0.343, 59}, {0.52, 100}, {0.572, 120}, {0.896, 500}, {1, 1200}};

}  // namespace

double gain_of_db(double db) noexcept VESK_REALTIME {
  return std::pow(10.0, db / 20);
}

double controller_gain(unsigned value) noexcept VESK_REALTIME {
  return value * value / (127.0 * 127.0);
}

double velocity_gain(const Settings& settings, unsigned velocity) noexcept VESK_REALTIME {
  const double highest = settings.velocity_highest_db, lowest = settings.velocity_lowest_db;
  const double curve = 40 * std::log10(std::max(velocity, 1u) / 127.0);
  return gain_of_db(std::max(highest + lowest / -60 * curve, std::min(lowest, highest)));
}

double crossfade_gain(const Settings& settings, KeyRange velocities,
                      unsigned velocity) noexcept VESK_REALTIME {
  if (velocities.holds(velocity)) return 1;
  const double beyond =
      velocity < velocities.low ? velocities.low - velocity : velocity - velocities.high;
  if (beyond > settings.velocity_crossfade) return 0;
  const double rest = 1 - beyond / (settings.velocity_crossfade + 1.0);
  switch (settings.velocity_crossfade_law) {
    case Settings::CrossfadeLaw::decibels:
      return gain_of_db(-60 * (1 - rest));
    case Settings::CrossfadeLaw::equal_power:
      return std::sin(rest * std::numbers::pi / 2);
    case Settings::CrossfadeLaw::linear:
      break;
  }
  return rest;
}

Balance balance_of(double pan) noexcept VESK_REALTIME {
  return {std::clamp(1 - pan, 0.0, 1.0), std::clamp(1 + pan, 0.0, 1.0)};
}

double pitch_depth_cents(double amount) noexcept VESK_REALTIME {
  const double size = std::min(std::abs(amount), 1.0);
  double cents = points[0].cents * size / points[0].amount;
  for (std::size_t i = 1; i < std::size(points); ++i) {
    const Point &from = points[i - 1], &to = points[i];
    if (size > from.amount)
      cents = from.cents *
              std::pow(to.cents / from.cents, (size - from.amount) / (to.amount - from.amount));
  }
  return std::copysign(cents, amount);
}

}  // namespace vesk::sampler
