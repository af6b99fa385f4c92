#include "tools/soak/measurements.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tools/soak/driven_host.hpp"

namespace vesk::tools {
namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned impulse_period = 512;
constexpr int periods_before = 94;  // a second
constexpr int periods_after = 188;
constexpr float impulse_level = 0.5f;
// What an answer must exceed, beside what is heard without an impulse.
constexpr float least_answer = 1e-3f;
constexpr double tolerance_frames = 16;

constexpr unsigned tail_period = 128;
constexpr std::size_t periods_a_look = 375;  // a second
constexpr int longest_tail_s = 30;
constexpr auto longest_measurement = std::chrono::seconds(5);
constexpr double costly_tail = 3;
constexpr double costly_share = 0.02;  // of a period

/// The louder channel of the last period, appended.
void append_output(DrivenHost& host, std::vector<float>& samples) {
  const auto left = host.host().output(0).first(impulse_period);
  const auto right = host.host().output(1).first(impulse_period);
  for (std::size_t i = 0; i < impulse_period; ++i)
    samples.push_back(std::max(std::abs(left[i]), std::abs(right[i])));
}

void compare_latency(Life& life, const std::vector<float>& before,
                     const std::vector<float>& after) {
  const float floor = *std::ranges::max_element(before);
  const auto loudest = std::ranges::max_element(after);
  if (*loudest < std::max(least_answer, 10 * floor)) return;  // nothing to measure by
  const auto first =
      std::ranges::find_if(after, [&](float sample) { return sample > *loudest / 20; });
  const auto first_frame = static_cast<double>(first - after.begin());
  const auto loudest_frame = static_cast<double>(loudest - after.begin());
  const double reported = life.result.reported_latency_frames;
  const bool is_late = !life.is_delay && first_frame > reported + tolerance_frames;
  const bool is_early = loudest_frame < reported - tolerance_frames;
  const double measured = is_late    ? first_frame
                          : is_early ? loudest_frame
                                     : std::clamp(reported, first_frame, loudest_frame);
  life.result.measured_latency_frames = measured;
  if (!is_late && !is_early) return;
  char text[120];
  std::snprintf(text, sizeof text, "reports %.0f frames, and an impulse comes back after %.0f",
                reported, measured);
  life.remark("latency", text, false);
}

/// What a tenth of the values stay below: other programs can only make periods longer.
double lower_tenth(std::vector<double>& values) {
  const auto place = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 10);
  std::ranges::nth_element(values, place);
  return *place;
}

/// What a period takes, undisturbed, in microseconds; negative when the life has ended.
double time_a_period(DrivenHost& host, bool plays) {
  std::vector<double> times;
  while (times.size() < periods_a_look) {
    if (!(plays ? host.play(tail_period) : host.rest(tail_period))) return -1;
    times.push_back(static_cast<double>(host.host().answer_times().last_us));
  }
  return lower_tenth(times);
}

}  // namespace

bool measure_latency(Life& life) {
  if (!life.element.is_effect()) return true;
  if (!life.begin("latency")) return false;
  const auto host = DrivenHost::start(
      life, {.max_frames = impulse_period, .period = impulse_period, .environment = {}});
  if (!host) return false;
  life.result.reported_latency_frames = std::round(host->host().latency_seconds() * usual_rate);
  std::vector<float> before, after;
  for (int i = 0; i < periods_before; ++i) {
    if (!host->rest(impulse_period)) return false;
    if (i >= periods_before / 2) append_output(*host, before);
  }
  for (const unsigned channel : {0u, 1u})
    std::ranges::fill(host->host().input(channel).first(impulse_period), 0.0f);
  for (const unsigned channel : {0u, 1u}) host->host().input(channel)[0] = impulse_level;
  if (!host->render(impulse_period, {})) return false;
  append_output(*host, after);
  for (int i = 1; i < periods_after; ++i) {
    if (!host->rest(impulse_period)) return false;
    append_output(*host, after);
  }
  compare_latency(life, before, after);
  return host->close();
}

bool measure_tail(Life& life) {
  if (!life.begin("tail")) return false;
  const auto host = DrivenHost::start(life, {.max_frames = tail_period, .period = tail_period});
  if (!host || time_a_period(*host, true) < 0) return false;
  const double sound_us = time_a_period(*host, true);
  if (sound_us < 0) return false;
  const auto start = Clock::now();
  double worst_us = 0;
  for (int second = 0; second < longest_tail_s && Clock::now() - start < longest_measurement;
       ++second) {
    const double silence_us = time_a_period(*host, false);
    if (silence_us < 0) return false;
    worst_us = std::max(worst_us, silence_us);
  }
  life.result.tail_cost = worst_us / std::max(sound_us, 0.1);
  if (*life.result.tail_cost > costly_tail &&
      worst_us > costly_share * 1e6 * tail_period / usual_rate) {
    char text[120];
    std::snprintf(text, sizeof text,
                  "a period of silence after sound takes %.0f us, one of sound %.0f us", worst_us,
                  sound_us);
    life.remark("denormals", text, false);
  }
  return host->close();
}

}  // namespace vesk::tools
