#include <atomic>
#include <memory>
#include <thread>

#include "bench/benchmarks.hpp"
#include "bench/measure.hpp"
#include "tests/support/display.hpp"
#include "vesk/host_process.hpp"

namespace vesk::bench {
namespace {

constexpr unsigned period_frames = 128;
constexpr double rate = 48'000;
constexpr double period_us = period_frames / rate * 1e6;
constexpr int driver_priority = 50;

/// Chains whose first plugin has an interface of its own, the best known first.
struct Candidate {
  const char* chain;
  const char* name;
};
constexpr Candidate candidates[] = {
    {"aufx:xsUI:LV2_", "guitarix gx_aclipper"},
    {"aumu:Sm48:LV2_", "mda ePiano in the generic panel"},
};

/// Answer times of periods at their pace, in microseconds, and how many came too late.
struct Answers {
  std::vector<double> times;
  int missed = 0;
};

/// Asks for periods of 128 frames at 48 kHz until `done`.
Answers play(client::HostProcess& host, const std::atomic<bool>& done) {
  Answers answers;
  const std::uint64_t start = now_ns();
  for (std::uint64_t period = 0; !done.load(std::memory_order_relaxed); ++period) {
    const auto due =
        start + static_cast<std::uint64_t>(static_cast<double>(period) * period_us * 1e3);
    if (const std::uint64_t now = now_ns(); now < due)
      sleep_us(static_cast<unsigned>((due - now) / 1000));
    const std::uint64_t asked = now_ns();
    host.render(period_frames, static_cast<double>(period) * period_frames, {},
                std::chrono::seconds(1));
    const double time = static_cast<double>(now_ns() - asked) / 1000;
    answers.times.push_back(time);
    answers.missed += time > period_us;
  }
  return answers;
}

bool wait_mask(client::HostProcess& host, std::uint32_t mask) {
  for (int i = 0; i < 2'000 && host.open_mask() != mask; ++i) sleep_us(5'000);
  return host.open_mask() == mask;
}

/// Plays while `work` runs on a thread of its own.
template <typename Work>
Answers play_during(client::HostProcess& host, bool real_time, Work work) {
  std::atomic<bool> done = false;
  std::thread worker([&] {
    work();
    done.store(true, std::memory_order_relaxed);
  });
  std::unique_ptr<RealTime> driver;
  if (real_time) driver = std::make_unique<RealTime>(driver_priority);
  Answers answers = play(host, done);
  driver.reset();
  worker.join();
  return answers;
}

void run(Report& report, const Plan& plan, bool real_time) {
  const std::string policy = real_time ? "real-time policy" : "ordinary scheduling, told only";
  if (real_time && !RealTime(driver_priority).granted())
    return report.add({policy, {}, {}, {}, "us", {}, "SCHED_FIFO not granted: no figure"});
  client::Options options;
  options.max_frames = period_frames;
  options.period_frames = real_time ? period_frames : 1;
  options.driver_priority = real_time ? driver_priority : 0;
  std::string error;
  std::unique_ptr<client::HostProcess> host;
  const char* name = "";
  for (const Candidate& candidate : candidates) {
    options.chain = candidate.chain;
    name = candidate.name;
    host = client::HostProcess::start(options, error);
    if (host) break;
  }
  if (!host) return report.add({policy, {}, {}, {}, "us", {}, "no figure: " + error});

  const int openings = plan.quick ? 2 : 100 / plan.rounds;
  std::vector<double> with, without;
  int missed_with = 0, missed_without = 0, opened = 0;
  for (int round = 0; round < plan.rounds; ++round) {
    std::uint64_t took_us = 0;
    Answers during = play_during(*host, real_time, [&] {
      const std::uint64_t start = now_ns();
      for (int i = 0; i < openings; ++i) {
        host->open_editor(0, "Benchmark");
        opened += wait_mask(*host, 1);
        host->close_editors();
        wait_mask(*host, 0);
      }
      took_us = (now_ns() - start) / 1000;
    });
    // As long again without.
    Answers quiet =
        play_during(*host, real_time, [&] { sleep_us(static_cast<unsigned>(took_us)); });
    with.push_back(quantile(during.times, 0.999));
    without.push_back(quantile(quiet.times, 0.999));
    missed_with += during.missed;
    missed_without += quiet.missed;
  }
  report.note(std::string(name) + ": " + std::to_string(opened) + " openings and closings; " +
              std::to_string(missed_with) + " periods missed with them, " +
              std::to_string(missed_without) + " without");
  report.add(Row::comparing("p99.9 of the answers, " + policy, with, without, "us",
                            real_time ? std::optional(1.5) : std::nullopt));
}

}  // namespace

void editors(Report& report, const Plan& plan) {
  report.begin("Opening and closing an editor while periods of 128 frames are asked for");
  const tests::VirtualDisplay display;
  if (!display.is_running())
    return report.add({"editors", {}, {}, {}, "us", {}, "no figure: Xvfb does not start"});
  for (const bool real_time : {true, false}) run(report, plan, real_time);
}

}  // namespace vesk::bench
