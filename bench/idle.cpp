#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <utility>

#include "bench/benchmarks.hpp"
#include "bench/measure.hpp"
#include "tests/support/display.hpp"
#include "tests/support/process_sleeps.hpp"
#include "vesk/host_process.hpp"

namespace vesk::bench {
namespace {

/// Bare processes that sleep 10 ms in a loop, as often as a host looks at its block.
class Sleepers {
 public:
  explicit Sleepers(int count) {
    for (int i = 0; i < count; ++i) {
      const pid_t process = fork();
      if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (;;) sleep_us(10'000);
      }
      processes.push_back(process);
    }
  }
  ~Sleepers() {
    for (const pid_t process : processes) {
      kill(process, SIGKILL);
      waitpid(process, nullptr, 0);
    }
  }
  std::vector<pid_t> processes;
};

long sleeps(const std::vector<pid_t>& processes) {
  long sum = 0;
  for (const pid_t process : processes) sum += tests::process_sleeps(process);
  return sum;
}

double cpu_ms(const std::vector<pid_t>& processes) {
  double sum = 0;
  for (const pid_t process : processes) sum += static_cast<double>(cpu_time_ns(process)) / 1e6;
  return sum;
}

void run(Report& report, const Plan& plan, int count) {
  client::Options options;
  options.chain = "aumu:Null:Vesk";
  options.environment = {"AUDIO_COMPONENT_PATH=" + program_folder() + "/../components"};
  std::vector<std::unique_ptr<client::HostProcess>> hosts;
  std::vector<pid_t> host_ids;
  std::string error;
  for (int i = 0; i < count; ++i) {
    hosts.push_back(client::HostProcess::start(options, error));
    if (!hosts.back()) return report.note(error);
    host_ids.push_back(hosts.back()->pid());
  }
  const Sleepers sleepers(count);
  sleep_us(500'000);

  // Both are measured over the same seconds, so that whatever else the machine does meets both.
  std::vector<double> ours, reference, wakes;
  const double seconds = plan.quick ? 0.5 : 10.0 / plan.rounds;
  for (int round = 0; round < plan.rounds; ++round) {
    const long sleeps_before = sleeps(host_ids);
    const double ours_before = cpu_ms(host_ids), reference_before = cpu_ms(sleepers.processes);
    sleep_us(static_cast<unsigned>(seconds * 1e6));
    ours.push_back(cpu_ms(host_ids) - ours_before);
    reference.push_back(cpu_ms(sleepers.processes) - reference_before);
    wakes.push_back(static_cast<double>(sleeps(host_ids) - sleeps_before) / seconds / count);
  }
  report.add(Row::comparing(
      std::to_string(count) + " idle host" + (count == 1 ? "" : "s") + ", CPU a round", ours,
      reference, "ms", 0.1));
  report.add({"wake-ups of each a second", Figure::of(wakes), {}, {}, "", 5.0, ""});
}

/// One host with an open editor that nobody touches, in percent of a core, beside a sleeper.
void with_editor(Report& report, const Plan& plan) {
  const std::string name = "1 host with an idle editor";
  const tests::VirtualDisplay display;
  client::Options options;
  options.chain = "aumu:Tone:Vesk";
  options.environment = {"AUDIO_COMPONENT_PATH=" + program_folder() + "/../components"};
  std::string error;
  const auto host = client::HostProcess::start(options, error);
  if (!host || !display.is_running())
    return report.add({name, {}, {}, {}, "% of a core", {}, "no figure: " + error});
  host->open_editor(0, "Idle");
  for (int i = 0; i < 1'000 && host->open_mask() != 1; ++i) sleep_us(10'000);
  const Sleepers sleeper(1);
  sleep_us(1'000'000);
  const double seconds = plan.quick ? 0.5 : 10.0 / plan.rounds;
  std::vector<double> ours, reference;
  for (int round = 0; round < plan.rounds; ++round) {
    const double ours_before = cpu_ms({host->pid()}), reference_before = cpu_ms(sleeper.processes);
    sleep_us(static_cast<unsigned>(seconds * 1e6));
    ours.push_back((cpu_ms({host->pid()}) - ours_before) / seconds / 10);
    reference.push_back((cpu_ms(sleeper.processes) - reference_before) / seconds / 10);
  }
  Row row{name, Figure::of(ours), {}, {}, "% of a core", 0.4, ""};
  char sleeping[64];
  std::snprintf(sleeping, sizeof sleeping, "(a process that sleeps: %.2f)",
                Figure::of(reference).median);
  row.remark = sleeping;
  report.add(std::move(row));
}

}  // namespace

void idle(Report& report, const Plan& plan) {
  report.begin("Idle cost over 10 s in all, against as many processes that sleep 10 ms in a loop");
  for (const int count : {1, 64}) run(report, plan, count);
  with_editor(report, plan);
}

}  // namespace vesk::bench
