#pragma once

#include "bench/report.hpp"

namespace vesk::bench {

/// What one run does: fewer and shorter rounds to see that it works, or all of them for figures.
struct Plan {
  int rounds = 5;
  bool quick = false;
};

/// Parent request to outputs readable, against two bare processes that ping-pong.
void round_trip(Report& report, const Plan& plan);
/// The group call against calling hosts one by one.
void many_hosts(Report& report, const Plan& plan);
/// Many chains in a host each, against all of them in one process.
void isolation(Report& report, const Plan& plan);
/// The periods that many hosts miss in a quarter of an hour.
void endurance(Report& report, const Plan& plan);
/// Time inside the Audio Unit calls of an LV2 instrument against running it through lilv, and the
/// fixed cost of serving a period.
void inside_period(Report& report, const Plan& plan);
/// Spawn to ready against starting an empty program.
void start_up(Report& report, const Plan& plan);
/// vesk-list of everything that is installed, and of one name.
void look_up(Report& report, const Plan& plan);
/// CPU time of hosts that nobody asks anything, against processes that sleep in a loop.
void idle(Report& report, const Plan& plan);
/// Memory of one host and of each further one.
void memory(Report& report, const Plan& plan);
/// A song through vesk-render against the same chain in one process.
void offline(Report& report, const Plan& plan);
/// Answer times while a plugin's editor opens and closes, against those without.
void editors(Report& report, const Plan& plan);
/// The sampler's voices against those of FluidSynth with its best interpolation.
void sampler_voices(Report& report, const Plan& plan);
/// A sampler instrument's samples: loaded, against reading their files; streamed, against the time
/// that they sound.
void sampler_load(Report& report, const Plan& plan);

}  // namespace vesk::bench
