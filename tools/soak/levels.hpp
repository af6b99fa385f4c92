#pragma once

#include <span>

namespace vesk::tools {

/// How long and how hard a life is.
struct Level {
  int rounds;                  ///< settings of all parameters at once, one after another
  int paced_seconds;           ///< played at the pace at which it would be heard
  int lengths;                 ///< periods of changing length
  int editors;                 ///< how often its editor is opened and closed
  bool saves_state;            ///< save, kill, restore, compare
  bool measures;               ///< latency by an impulse, the cost of decaying tails
  bool sets_each;              ///< every parameter alone as well
  std::span<const int> rates;  ///< in Hz, beside 48000
  const char* words;           ///< what it does beyond the level below
};

constexpr int highest_level = 10;

/// The level of a number from 1 to `highest_level`.
const Level& level_of(int number);

}  // namespace vesk::tools
