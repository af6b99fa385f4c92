#include <sched.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <memory>
#include <numeric>
#include <span>

#include "bench/benchmarks.hpp"
#include "bench/measure.hpp"
#include "bench/ping_pong.hpp"
#include "vesk/host_process.hpp"

namespace vesk::bench {
namespace {

constexpr unsigned period_frames = 128;
constexpr int driver_priority = 50;
constexpr int answerer_priority = 49;

/// One round of one contestant: answer times in microseconds, and CPU of both sides a period.
struct Round {
  std::vector<double> times;
  double cpu_us = 0;
};

Round measure(int periods, unsigned pause_us, pid_t other, const std::function<void()>& period) {
  Round round;
  round.times.reserve(static_cast<std::size_t>(periods));
  const std::uint64_t cpu_before = cpu_time_ns(getpid()) + cpu_time_ns(other);
  for (int i = 0; i < periods; ++i) {
    if (pause_us > 0) sleep_us(pause_us);
    const std::uint64_t start = now_ns();
    period();
    round.times.push_back(static_cast<double>(now_ns() - start) / 1000);
  }
  const std::uint64_t cpu_after = cpu_time_ns(getpid()) + cpu_time_ns(other);
  round.cpu_us = static_cast<double>(cpu_after - cpu_before) / 1000 / periods;
  return round;
}

std::unique_ptr<client::HostProcess> start_host(bool real_time, unsigned pause_us, Report& report) {
  client::Options options;
  options.chain = "aumu:Null:Vesk";
  options.max_frames = period_frames;
  options.mode = pause_us == 0 ? client::Mode::offline : client::Mode::real_time;
  // A period of one frame is too short for the real-time policy and asks for ordinary scheduling.
  options.period_frames = real_time ? period_frames : 1;
  options.driver_priority = real_time ? driver_priority : 0;
  options.environment = {"AUDIO_COMPONENT_PATH=" + program_folder() + "/../components"};
  std::string error;
  auto host = client::HostProcess::start(options, error);
  if (!host) report.note(error);
  return host;
}

/// The figures of one contestant, a list of rounds each.
struct Figures {
  std::vector<double> median, p99, p999, least, most, cpu;
  void add(Round round) {
    median.push_back(quantile(round.times, 0.5));
    p99.push_back(quantile(round.times, 0.99));
    p999.push_back(quantile(round.times, 0.999));
    least.push_back(quantile(round.times, 0));
    most.push_back(quantile(round.times, 1));
    cpu.push_back(round.cpu_us);
  }
};

Row row(const std::string& name, const std::vector<double>& ours,
        const std::vector<double>& reference, std::optional<double> limit) {
  return Row::comparing(name, ours, reference, "us", limit);
}

void run(Report& report, const Plan& plan, bool real_time, unsigned pause_us) {
  const std::string policy = real_time ? "real-time policy" : "ordinary scheduling";
  const std::string pace =
      pause_us == 0 ? "offline, back to back" : std::to_string(pause_us / 1000) + " ms pauses";
  report.begin("Round trip, " + pace + ", " + policy +
               " (a: bare, any CPU; b: bare, one CPU; c: as b, with sound and time-outs)");
  std::unique_ptr<RealTime> driver;
  if (real_time) {
    driver = std::make_unique<RealTime>(driver_priority);
    if (!driver->granted()) {
      report.add({"answer time", {}, {}, {}, "us", {}, "SCHED_FIFO not granted: no figure"});
      return;
    }
  }
  const int total = plan.quick ? 400 : pause_us == 0 ? 20'000 : 4'000;
  const int periods = total / plan.rounds;
  const int answerer = real_time ? answerer_priority : 0;
  auto host = start_host(real_time, pause_us, report);
  if (!host) return;

  Figures ours, free_running, one_cpu, same_work;
  double sample_time = 0;
  float heard = 0;
  const auto ask_host = [&] {
    host->render(period_frames, sample_time, {}, std::chrono::seconds(1));
    for (const unsigned channel : {0u, 1u}) {
      const std::span<const float> sound = host->output(channel).first(period_frames);
      heard += std::accumulate(sound.begin(), sound.end(), 0.f);
    }
    sample_time += period_frames;
  };
  for (int i = 0; i < plan.rounds; ++i) {
    measure(periods / 10 + 1, pause_us, host->pid(), ask_host);  // until placement has settled
    ours.add(measure(periods, pause_us, host->pid(), ask_host));
    {
      // The client keeps a real-time driver on its CPU, and children inherit that.
      const OnCpu any(-1);
      PingPong bare(answerer, -1);
      free_running.add(measure(periods, pause_us, bare.process(), [&] { bare.round(); }));
    }
    {
      const int cpu = sched_getcpu();
      const OnCpu pinned(cpu);
      PingPong bare(answerer, cpu);
      one_cpu.add(measure(periods, pause_us, bare.process(), [&] { bare.round(); }));
      PingPong working(answerer, cpu, period_frames);
      same_work.add(measure(periods, pause_us, working.process(), [&] { working.round(); }));
    }
  }
  host->stop();

  // Only where nothing but the host's own doing could be late are the figures the same every day:
  // without a pause both are warm, after one of 1 ms under the real-time policy nobody else runs.
  using Limit = std::optional<double>;
  const bool paused = pause_us > 0;
  const Limit against_a = !paused ? Limit(0.25) : real_time ? Limit(0.4) : Limit();
  const Limit against_c = real_time && pause_us == 1'000 ? Limit(1.1) : Limit();
  report.add(row("median, against a", ours.median, free_running.median, against_a));
  report.add(row("median, against b", ours.median, one_cpu.median, {}));
  report.add(row("median, against c", ours.median, same_work.median, against_c));
  report.add(row("least, against c", ours.least, same_work.least, {}));
  report.add(row("p99, against a", ours.p99, free_running.p99, {}));
  report.add(row("p99, against c", ours.p99, same_work.p99, {}));
  report.add(row("p99.9, against c", ours.p999, same_work.p999, {}));
  report.add(row("most, against c", ours.most, same_work.most, {}));
  const Limit cpu_limit = real_time || !paused ? Limit(1.0) : Limit();
  report.add(row("CPU a period, both sides, against a", ours.cpu, free_running.cpu, cpu_limit));
  report.add(row("CPU a period, both sides, against c", ours.cpu, same_work.cpu, {}));
}

}  // namespace

void round_trip(Report& report, const Plan& plan) {
  for (const bool real_time : {false, true})
    for (const unsigned pause_us : {0u, 1'000u, 10'000u}) {
      // Offline never asks for a real-time policy.
      if (real_time && pause_us == 0) continue;
      run(report, plan, real_time, pause_us);
    }
}

}  // namespace vesk::bench
