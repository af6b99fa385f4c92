#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/benchmarks.hpp"
#include "bench/measure.hpp"

namespace vesk::bench {
namespace {

using Words = std::vector<std::string>;

/// Milliseconds from start to end of a program; 0 when it failed.
double run_ms(const Words& words) {
  const std::uint64_t start = now_ns();
  const pid_t process = start_program(words);
  int status = 0;
  const bool is_well = process > 0 && waitpid(process, &status, 0) == process && status == 0;
  return is_well ? static_cast<double>(now_ns() - start) / 1e6 : 0;
}

int count_lines(const std::string& command) {
  int lines = 0;
  if (FILE* const output = popen(command.c_str(), "r")) {
    for (int c = 0; (c = std::fgetc(output)) != EOF;) lines += c == '\n' ? 1 : 0;
    pclose(output);
  }
  return lines;
}

double list_ms(Words words) {
  words.insert(words.begin(), program_folder() + "/vesk-list");
  return run_ms(words);
}

/// vesk-list where no cache is, against lilv's own list with names, which reads the same bundles.
void first_look(Report& report, const Plan& plan) {
  namespace fs = std::filesystem;
  const char* const name = "a first look, without a cache; lv2ls -n";
  std::string folder = (fs::temp_directory_path() / "vesk-bench-XXXXXX").string();
  if (run_ms({"lv2ls", "-n"}) == 0 || mkdtemp(folder.data()) == nullptr)
    return report.add({name, {}, {}, {}, "ms", {}, "no figure: needs lv2ls, package lilv-utils"});
  const char* const usual = std::getenv("VESK_CACHE");
  const std::string before = usual != nullptr ? usual : "";
  setenv("VESK_CACHE", folder.c_str(), 1);
  std::vector<double> ours, theirs;
  for (int round = 0; round < plan.rounds; ++round) {
    fs::remove_all(folder);
    ours.push_back(list_ms({}));
    theirs.push_back(run_ms({"lv2ls", "-n"}));
  }
  fs::remove_all(folder);
  // An empty one counts as none.
  setenv("VESK_CACHE", before.c_str(), 1);
  report.add(Row::comparing(name, ours, theirs, "ms", 1.0));
}

}  // namespace

void look_up(Report& report, const Plan& plan) {
  report.begin("Looking plugins up, with a warm cache unless told");
  // Fills the cache of LV2 descriptions.
  const int listed = count_lines("'" + program_folder() + "/vesk-list'");
  report.note(std::to_string(listed) + " plugins are listed");
  const struct {
    const char* name;
    Words words;
  } cases[] = {
      {"vesk-list of everything", {}},
      {"the same with --json", {"--json"}},
      {"one name looked up", {"--resolve", "MDA ePiano"}},
  };
  const int repeats = plan.quick ? 3 : 15;
  for (const auto& [name, words] : cases) {
    std::vector<double> rounds;
    for (int round = 0; round < plan.rounds; ++round) {
      std::vector<double> times;
      for (int i = 0; i < repeats; ++i) times.push_back(list_ms(words));
      rounds.push_back(quantile(times, 0.5));
    }
    const Figure figure = Figure::of(rounds);
    if (figure.least > 0)
      report.add({name, figure, {}, {}, "ms", 50.0, ""});
    else
      report.add({name, {}, {}, {}, "ms", {}, "no figure: vesk-list failed"});
  }
  first_look(report, plan);
}

}  // namespace vesk::bench
