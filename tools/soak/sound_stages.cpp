#include "tools/soak/sound_stages.hpp"

#include <algorithm>
#include <cmath>
#include <random>
#include <thread>

#include "host/block.hpp"
#include "tools/soak/driven_host.hpp"

namespace vesk::tools {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double first_seconds = 2.0;
constexpr double round_seconds = 0.25;
constexpr unsigned live_period = 128;
constexpr double heavy_load = 80;  // per cent of a period

const DrivenHost::Settings live{
    .mode = client::Mode::real_time, .max_frames = live_period, .period = live_period};
const DrivenHost::Settings watched{.mode = client::Mode::real_time,
                                   .max_frames = live_period,
                                   .period = live_period,
                                   .watches_calls = true};

double share_of(std::vector<float>& sorted, double share) {
  const auto last = static_cast<double>(sorted.size() - 1);
  return static_cast<double>(sorted[static_cast<std::size_t>(share * last)]);
}

bool play_round(DrivenHost& host, Life& life, int round, std::minstd_rand& random) {
  switch (round) {
    case 0:
      life.setting = "everything at its lowest";
      return host.set_parameters([](const auto& each) { return each.minimum; });
    case 1:
      life.setting = "everything at its highest";
      return host.set_parameters([](const auto& each) { return each.maximum; });
    default:
      life.setting = "random settings " + std::to_string(round - 1);
      return host.set_parameters([&](const auto& each) {
        return value_within(each, std::uniform_real_distribution<double>()(random));
      });
  }
}

bool set_defaults(DrivenHost& host, Life& life) {
  life.setting = "everything back at its first value";
  return host.set_parameters([](const ParameterDescription& each) {
    return std::isfinite(each.default_value) ? each.default_value : each.minimum;
  });
}

}  // namespace

bool play(Life& life, int rate) {
  if (!life.begin(rate == usual_rate ? "play" : "play at " + std::to_string(rate) + " Hz"))
    return false;
  const auto host = DrivenHost::start(life, {.rate = rate});
  if (!host) return false;
  if (rate == usual_rate)
    life.result.reported_latency_frames = std::round(host->host().latency_seconds() * rate);
  return host->play_seconds(first_seconds) && host->close();
}

bool watch_calls(Life& life) {
  if (!life.begin("calls")) return false;
  const auto host = DrivenHost::start(life, watched);
  return host && host->play_seconds(1) && host->close();
}

bool sweep(Life& life) {
  if (!life.begin("sweep") || !life.ask_parameters()) return false;
  const auto host = DrivenHost::start(life, watched);
  if (!host || !host->play_seconds(round_seconds)) return false;
  std::minstd_rand random(life.element.subtype);
  for (int round = 0; round < life.level.rounds; ++round)
    if (!play_round(*host, life, round, random) || !host->play_seconds(round_seconds)) return false;
  return set_defaults(*host, life) && host->play_seconds(round_seconds) && host->close();
}

bool set_each(Life& life) {
  if (!life.begin("each parameter") || !life.ask_parameters()) return false;
  const auto host = DrivenHost::start(life, live);
  if (!host) return false;
  for (const ParameterDescription& parameter : life.parameters) {
    if (!can_be_set(parameter)) continue;
    const bool has_default = std::isfinite(parameter.default_value);
    for (const float value : {parameter.minimum, parameter.maximum,
                              has_default ? parameter.default_value : parameter.minimum}) {
      life.setting = parameter.name + " at " + std::to_string(value);
      host->host().set_parameter(0, parameter.id, value);
      if (!host->settle() || !host->play_seconds(0.02)) return false;
    }
  }
  return host->close();
}

bool pace(Life& life) {
  if (!life.begin("real time")) return false;
  const auto host = DrivenHost::start(life, live);
  if (!host) return false;
  const double period_us = 1e6 * live_period / live.rate;
  const auto period = std::chrono::duration_cast<Clock::duration>(
      std::chrono::duration<double, std::micro>(period_us));
  const auto count = static_cast<std::size_t>(life.level.paced_seconds * 1e6 / period_us);
  std::vector<float> times;
  auto due = Clock::now();
  while (times.size() < count) {
    if (!host->play(live_period)) return false;
    times.push_back(host->host().answer_times().last_us);
    due = std::max(due + period, Clock::now() - 10 * period);
    std::this_thread::sleep_until(due);
  }
  std::ranges::sort(times);
  const double per_cent = 100 / period_us;
  life.result.load = Load{share_of(times, 0.5) * per_cent, share_of(times, 0.99) * per_cent,
                          static_cast<double>(times.back()) * per_cent};
  if (life.result.load->median > heavy_load)
    life.remark("load",
                "half of the periods took longer than " +
                    std::to_string(static_cast<int>(life.result.load->median)) +
                    " per cent of the time there is",
                false);
  return host->close();
}

bool change_lengths(Life& life) {
  if (!life.begin("lengths")) return false;
  constexpr unsigned largest = host::buffer_frames;
  const auto host = DrivenHost::start(life, {.max_frames = largest, .period = 128});
  if (!host) return false;
  std::minstd_rand random(life.element.subtype);
  std::uniform_int_distribution<unsigned> any(1, largest / 4);
  for (int i = 0; i < life.level.lengths; ++i) {
    const unsigned odd = any(random) | 1u;
    const unsigned lengths[] = {128, 0, 1, odd, any(random), 64, i % 56 == 6 ? largest : 2};
    const unsigned frames = lengths[i % 7];
    life.setting = std::to_string(frames) + " frames";
    if (!host->play(frames)) return false;
  }
  return host->close();
}

}  // namespace vesk::tools
