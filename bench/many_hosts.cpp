#include <memory>

#include "bench/benchmarks.hpp"
#include "bench/measure.hpp"
#include "vesk/host_group.hpp"

namespace vesk::bench {
namespace {

constexpr unsigned kFrames = 128;
constexpr unsigned kPeriodUs = 5'000;
constexpr auto kLimit = std::chrono::seconds(1);

using Hosts = std::vector<std::unique_ptr<client::HostProcess>>;

Hosts start(int count, Report& report) {
  client::Options options;
  options.chain = "aumu:Null:Vesk#0=20";  // 20 us of work a period
  options.max_frames = 240;
  options.period_frames = 240;
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

void run(Report& report, const Plan& plan, int count) {
  Hosts hosts = start(count, report);
  if (hosts.empty()) return;
  const int periods = plan.quick ? 20 : 200;
  std::vector<double> group_times, single_times, ratios;
  for (int round = 0; round < plan.rounds; ++round) {
    single_times.push_back(measure(periods, [&](double time) {
      for (auto& host : hosts) host->render(kFrames, time, {}, kLimit);
    }));
    client::HostGroup group;
    for (auto& host : hosts) group.add(*host);
    group_times.push_back(
        measure(periods, [&](double time) { group.render(kFrames, time, kLimit); }));
    for (auto& host : hosts) group.remove(*host);
    ratios.push_back(group_times.back() / single_times.back());
  }
  report.add({std::to_string(count) + " hosts, group against one by one", Figure::of(group_times),
              Figure::of(single_times), Figure::of(ratios), "us",
              count == 32 ? std::optional(0.3) : std::nullopt, ""});
}

}  // namespace

void many_hosts(Report& report, const Plan& plan) {
  report.begin("Many hosts, 20 us of work each, a period every 5 ms, time until all are done");
  for (const int count : {8, 32}) run(report, plan, count);
}

}  // namespace vesk::bench
