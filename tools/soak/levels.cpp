#include "tools/soak/levels.hpp"

#include <cstddef>

namespace vesk::tools {
namespace {

constexpr int usual_rates[] = {44'100, 96'000};
constexpr int all_rates[] = {44'100, 88'200, 96'000, 192'000, 8'000, 11'025};

// NOLINTBEGIN(modernize-use-designated-initializers): a table, read by its columns.
constexpr Level levels[highest_level] = {
    // rounds, paced, lengths, editors, state, measures, each
    {0, 0, 0, 0, false, false, false, {}, "load, two seconds of notes or noise"},
    {4,
     0,
     0,
     0,
     false,
     false,
     false,
     {},
     "parameters at their limits, calls in its periods watched"},
    {4, 0, 0, 0, true, false, false, {}, "state saved, killed, restored, compared"},
    {6, 1, 0, 0, true, false, false, {}, "a second at the pace of real time: load"},
    {8,
     1,
     300,
     0,
     true,
     true,
     false,
     {},
     "300 periods of changing length; latency, decaying tails"},
    {8, 1, 300, 1, true, true, false, {}, "its editor opened and closed"},
    {12, 2, 600, 1, true, true, true, {}, "every parameter alone at its limits"},
    {16, 2, 1'000, 1, true, true, true, usual_rates, "44.1 and 96 kHz"},
    {40, 10, 3'000, 2, true, true, true, all_rates, "8 to 192 kHz, ten seconds of real time"},
    {100, 30, 10'000, 3, true, true, true, all_rates,
     "10,000 lengths, 100 settings, half a minute"},
};

// NOLINTEND(modernize-use-designated-initializers)

}  // namespace

const Level& level_of(int number) {
  return levels[static_cast<std::size_t>(number - 1)];
}

}  // namespace vesk::tools
