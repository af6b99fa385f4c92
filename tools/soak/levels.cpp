#include "tools/soak/levels.hpp"

#include <cstddef>

namespace vesk::tools {
namespace {

constexpr int usual_rates[] = {44'100, 96'000};
constexpr int all_rates[] = {44'100, 88'200, 96'000, 192'000, 8'000, 11'025};

constexpr Level levels[highest_level] = {
    {0, false, 0, 0, false, 0, false, {}, "load, two seconds of notes or noise"},
    {4,
     false,
     0,
     0,
     false,
     0,
     false,
     {},
     "parameters at their limits, calls in its periods watched"},
    {4, true, 0, 0, false, 0, false, {}, "state saved, killed, restored, compared"},
    {6, true, 1, 0, false, 0, false, {}, "a second at the pace of real time: load"},
    {8,
     true,
     1,
     300,
     true,
     0,
     false,
     {},
     "300 periods of changing length; latency, decaying tails"},
    {8, true, 1, 300, true, 1, false, {}, "its editor opened and closed"},
    {12, true, 2, 600, true, 1, true, {}, "every parameter alone at its limits"},
    {16, true, 2, 1'000, true, 1, true, usual_rates, "44.1 and 96 kHz"},
    {40, true, 10, 3'000, true, 2, true, all_rates, "8 to 192 kHz, ten seconds of real time"},
    {100, true, 30, 10'000, true, 3, true, all_rates,
     "10,000 lengths, 100 settings, half a minute"},
};

}  // namespace

const Level& level_of(int number) {
  return levels[static_cast<std::size_t>(number - 1)];
}

}  // namespace vesk::tools
