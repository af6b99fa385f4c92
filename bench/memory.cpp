#include <fstream>
#include <memory>

#include "bench/benchmarks.hpp"
#include "bench/measure.hpp"
#include "vesk/host_process.hpp"

namespace vesk::bench {
namespace {

/// Proportional set size in MB: private memory, and a share of what several processes map.
double proportional_mb(pid_t process) {
  std::ifstream rollup("/proc/" + std::to_string(process) + "/smaps_rollup");
  std::string word;
  while (rollup >> word)
    if (word == "Pss:") {
      double kilobytes = 0;
      rollup >> kilobytes;
      return kilobytes / 1024;
    }
  return 0;
}

}  // namespace

void memory(Report& report, const Plan&) {
  report.begin("Memory, native unit, proportional set size");
  client::Options options;
  options.chain = "aumu:Null:Vesk";
  options.environment = {"AUDIO_COMPONENT_PATH=" + program_folder() + "/../components"};
  constexpr int host_count = 16;
  std::vector<std::unique_ptr<client::HostProcess>> hosts;
  const auto sum = [&] {
    double total = 0;
    for (auto& host : hosts) total += proportional_mb(host->pid());
    return total;
  };
  std::string error;
  std::vector<double> first, further;
  for (int i = 0; i < host_count; ++i) {
    const double before = sum();
    hosts.push_back(client::HostProcess::start(options, error));
    if (!hosts.back()) return report.note(error);
    (i == 0 ? first : further).push_back(sum() - before);
  }
  report.add({"first host", Figure::of(first), {}, {}, "MB", {}, ""});
  report.add({"each further host", Figure::of(further), {}, {}, "MB", 1.0, ""});
}

}  // namespace vesk::bench
