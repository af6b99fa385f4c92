#include <unistd.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bench/benchmarks.hpp"
#include "bench/measure.hpp"
#include "vesk/host_group.hpp"

namespace vesk::bench {
namespace {

constexpr unsigned period_frames = 128;
constexpr unsigned period_us = 5'000;
constexpr unsigned work_us = 20;
constexpr auto limit = std::chrono::seconds(1);
/// The caller's, above that of its hosts.
constexpr int driver_priority = 70;

using Hosts = std::vector<std::unique_ptr<client::HostProcess>>;

Hosts start(int count, bool real_time, bool pinned, Report& report) {
  client::Options options;
  options.chain = "aumu:Null:Vesk#0=" + std::to_string(work_us);
  options.max_frames = 240;
  // A period of one frame is too short for the real-time policy and asks for ordinary scheduling.
  options.period_frames = real_time ? 240 : 1;
  options.driver_priority = real_time ? driver_priority : 0;
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
    sleep_us(period_us);
    const std::uint64_t start = now_ns();
    period(i * static_cast<double>(period_frames));
    times.push_back(static_cast<double>(now_ns() - start) / 1000);
  }
  return quantile(times, 0.5);
}

void call_one_by_one(Hosts& hosts, double time) {
  for (auto& host : hosts) host->render(period_frames, time, {}, limit);
}

struct Times {
  std::vector<double> group, pinned, free;
};

/// Hosts of its own for each way, since the members of a group are placed otherwise.
Times compare(int count, bool real_time, const Plan& plan, Report& report) {
  Hosts members = start(count, real_time, true, report);
  Hosts pinned = start(count, real_time, true, report);
  Hosts free = start(count, real_time, false, report);
  Times times;
  if (members.empty() || pinned.empty() || free.empty()) return times;
  client::HostGroup group;
  for (auto& host : members) group.add(*host);
  const int periods = plan.quick ? 20 : 200;
  for (int round = 0; round < plan.rounds; ++round) {
    times.pinned.push_back(measure(periods, [&](double t) { call_one_by_one(pinned, t); }));
    times.free.push_back(measure(periods, [&](double t) { call_one_by_one(free, t); }));
    times.group.push_back(
        measure(periods, [&](double t) { group.render(period_frames, t, limit); }));
  }
  return times;
}

Row row(int count, const std::string& reference_name, const std::vector<double>& group,
        const std::vector<double>& reference, std::optional<double> most) {
  Row row = Row::comparing(std::to_string(count) + " hosts, one by one " + reference_name, group,
                           reference, "us", most);
  // The plugins' own time shared by all CPUs, with nothing added, against the same reference.
  const double bound = static_cast<double>(count) * work_us /
                       static_cast<double>(sysconf(_SC_NPROCESSORS_ONLN)) /
                       Figure::of(reference).median;
  char text[64];
  std::snprintf(text, sizeof text, "(the work alone would be %.2f)", bound);
  row.remark = text;
  return row;
}

void run(Report& report, const Plan& plan, int count, bool real_time) {
  std::optional<RealTime> policy;
  if (real_time) {
    policy.emplace(driver_priority);
    if (!policy->granted()) {
      report.add({std::to_string(count) + " hosts",
                  {},
                  {},
                  {},
                  "us",
                  {},
                  "SCHED_FIFO not granted: no figure"});
      return;
    }
  }
  const Times times = compare(count, real_time, plan, report);
  if (times.group.empty()) return;
  // Under ordinary scheduling both vary with what else runs, and beside the caller the work alone
  // comes near to what could be asked; the benchmark "isolation" says how far from the floor we
  // are.
  const bool is_judged = real_time && count == 32;
  report.add(row(count, "on any CPU", times.group, times.free,
                 is_judged ? std::optional(0.3) : std::nullopt));
  report.add(row(count, "beside the caller", times.group, times.pinned, {}));
}

}  // namespace

void many_hosts(Report& report, const Plan& plan) {
  for (const bool real_time : {true, false}) {
    report.begin(
        std::string("Many hosts, 20 us of work each, a period every 5 ms, group call against one "
                    "by one, ") +
        (real_time ? "real-time policy" : "ordinary scheduling"));
    for (const int count : {8, 32}) run(report, plan, count, real_time);
  }
}

}  // namespace vesk::bench
