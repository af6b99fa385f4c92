// vesk-bench: every figure as a ratio to a reference measured in the same run.

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/benchmarks.hpp"

using namespace vesk::bench;

namespace {

struct Benchmark {
  const char* name;
  void (*run)(Report&, const Plan&);
  bool only_when_named = false;
};

constexpr Benchmark all_benchmarks[] = {
    {"round-trip", round_trip},
    {"many-hosts", many_hosts},
    {"isolation", isolation},
    {"endurance", endurance, true},
    {"inside-period", inside_period},
    {"start-up", start_up},
    {"look-up", look_up},
    {"idle", idle},
    {"memory", memory},
    {"offline", offline},
    {"editors", editors},
    {"sampler-voices", sampler_voices},
    {"sampler-load", sampler_load},
};

int usage(const char* program) {
  std::fprintf(stderr, "usage: %s [--json] [--quick] [--rounds N] [BENCHMARK ...]\n", program);
  std::fprintf(stderr, "benchmarks (all unless named, those in parentheses only then):");
  for (const Benchmark& benchmark : all_benchmarks)
    std::fprintf(stderr, benchmark.only_when_named ? " (%s)" : " %s", benchmark.name);
  std::fprintf(stderr, "\n");
  return 2;
}

const Benchmark* find(const char* name) {
  for (const Benchmark& benchmark : all_benchmarks)
    if (std::strcmp(benchmark.name, name) == 0) return &benchmark;
  return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  Plan plan;
  bool as_json = false;
  std::vector<const Benchmark*> wanted;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--json")
      as_json = true;
    else if (argument == "--quick")
      plan.quick = true;
    else if (argument == "--rounds" && i + 1 < argc)
      plan.rounds = std::max(1, std::atoi(argv[++i]));
    else if (const Benchmark* benchmark = find(argv[i]))
      wanted.push_back(benchmark);
    else
      return usage(argv[0]);
  }
  Report report(as_json);
  for (const Benchmark& benchmark : all_benchmarks) {
    bool selected = wanted.empty() && !benchmark.only_when_named;
    for (const Benchmark* one : wanted) selected |= one == &benchmark;
    if (selected) benchmark.run(report, plan);
  }
  report.finish();
}
