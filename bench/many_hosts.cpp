#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include "bench/benchmarks.hpp"
#include "bench/measure.hpp"
#include "vesk/host_group.hpp"

namespace vesk::bench {
namespace {

constexpr unsigned kFrames = 128;
constexpr unsigned kPeriodUs = 5'000;
constexpr auto kLimit = std::chrono::seconds(1);

constexpr unsigned kWorkUs = 20;

using Hosts = std::vector<std::unique_ptr<client::HostProcess>>;

Hosts start(int count, bool pinned, Report& report) {
  client::Options options;
  options.chain = "aumu:Null:Vesk#0=" + std::to_string(kWorkUs);
  options.max_frames = 240;
  options.period_frames = 240;
  options.pinned = pinned;
  options.environment = {"AUDIO_COMPONENT_PATH=" + program_folder() + "/../components"};
  Hosts hosts;
  std::string error;
  for (int i = 0; i < count; ++i) {
    hosts.push_back(client::HostProcess::spawn(options, error));
    if (!hosts.back()) break;
  }
  for (auto& host : hosts)
    if (!host || !host->wait_ready(error)) {
      report.note(error);
      return {};
    }
  return hosts;
}

/// Median time in microseconds until all are done.
template <typename Period>
double measure(int periods, Period period) {
  std::vector<double> times;
  for (int i = 0; i < periods; ++i) {
    sleep_us(kPeriodUs);
    const std::uint64_t start = now_ns();
    period(i * static_cast<double>(kFrames));
    times.push_back(static_cast<double>(now_ns() - start) / 1000);
  }
  return quantile(times, 0.5);
}

struct Times {
  std::vector<double> group, single, ratio;
};

Times compare(Hosts& hosts, const Plan& plan) {
  const int periods = plan.quick ? 20 : 200;
  Times times;
  for (int round = 0; round < plan.rounds; ++round) {
    times.single.push_back(measure(periods, [&](double time) {
      for (auto& host : hosts) host->render(kFrames, time, {}, kLimit);
    }));
    client::HostGroup group;
    for (auto& host : hosts) group.add(*host);
    times.group.push_back(
        measure(periods, [&](double time) { group.render(kFrames, time, kLimit); }));
    for (auto& host : hosts) group.remove(*host);
    times.ratio.push_back(times.group.back() / times.single.back());
  }
  return times;
}

void run(Report& report, const Plan& plan, int count) {
  for (const bool pinned : {true, false}) {
    Hosts hosts = start(count, pinned, report);
    if (hosts.empty()) return;
    const Times times = compare(hosts, plan);
    Row row{std::to_string(count) + (pinned ? " hosts, one by one as is" : " hosts, not pinned"),
            Figure::of(times.group),
            Figure::of(times.single),
            Figure::of(times.ratio),
            "us",
            {},
            ""};
    if (count == 32) row.limit = 0.3;
    // The plugins' own time shared by all CPUs, with nothing added, against the same reference.
    const double bound = static_cast<double>(count) * kWorkUs /
                         static_cast<double>(sysconf(_SC_NPROCESSORS_ONLN)) / row.reference->median;
    char text[64];
    std::snprintf(text, sizeof text, "(the work alone would be %.2f)", bound);
    row.remark = text;
    report.add(std::move(row));
  }
}

}  // namespace

void many_hosts(Report& report, const Plan& plan) {
  report.begin(
      "Many hosts, 20 us of work each, a period every 5 ms, group call against one by one");
  for (const int count : {8, 32}) run(report, plan, count);
}

}  // namespace vesk::bench
