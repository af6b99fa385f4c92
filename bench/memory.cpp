#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>

#include "bench/benchmarks.hpp"
#include "bench/measure.hpp"
#include "bench/piano.hpp"
#include "tests/support/reference_plugin.hpp"
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

/// What the first host of a chain takes, and each of 15 more.
struct Growth {
  std::vector<double> first, further;
};

bool measure(const std::string& chain, Growth& growth, std::string& error) {
  client::Options options;
  options.chain = chain;
  options.environment = {"AUDIO_COMPONENT_PATH=" + program_folder() + "/../components"};
  constexpr int host_count = 16;
  std::vector<std::unique_ptr<client::HostProcess>> hosts;
  const auto sum = [&] {
    double total = 0;
    for (auto& host : hosts) total += proportional_mb(host->pid());
    return total;
  };
  for (int i = 0; i < host_count; ++i) {
    const double before = sum();
    hosts.push_back(client::HostProcess::start(options, error));
    if (!hosts.back()) return false;
    (i == 0 ? growth.first : growth.further).push_back(sum() - before);
  }
  return true;
}

/// What one more instance of a plugin takes in a process that has it loaded.
double own_mb(const char* uri) {
  std::unique_ptr<LilvWorld, decltype(&lilv_world_free)> world(lilv_world_new(), lilv_world_free);
  lilv_world_load_all(world.get());
  constexpr int count = 16;
  std::vector<std::unique_ptr<reference::ReferencePlugin>> plugins;
  double before = 0;
  for (int i = 0; i <= count; ++i) {
    if (i == 1) {
      // What the list of all plugins has left behind would be taken for the next instances.
      malloc_trim(0);
      before = proportional_mb(getpid());
    }
    plugins.push_back(reference::ReferencePlugin::load(world.get(), uri, 48'000, 4'096));
    if (!plugins.back()) return 0;
  }
  return (proportional_mb(getpid()) - before) / count;
}

}  // namespace

void memory(Report& report, const Plan&) {
  report.begin("Memory of hosts, proportional set size");
  Growth native, instrument;
  std::string error;
  if (!measure("aumu:Null:Vesk", native, error) || !measure(piano_spec, instrument, error))
    return report.note(error);
  report.add({"native unit, first host", Figure::of(native.first), {}, {}, "MB", {}, ""});
  report.add({"native unit, each further host", Figure::of(native.further), {}, {}, "MB", 1.0, ""});
  const double own = own_mb(piano_uri);
  std::vector<double> beyond;
  for (const double further : instrument.further) beyond.push_back(further - own);
  char remark[64];
  std::snprintf(remark, sizeof remark, "(its own: %.2f)", own);
  report.add({"mda-lv2 ePiano, first host", Figure::of(instrument.first), {}, {}, "MB", {}, ""});
  report.add({"mda-lv2 ePiano, each further, beyond its own",
              Figure::of(beyond),
              {},
              {},
              "MB",
              1.2,
              remark});
}

}  // namespace vesk::bench
