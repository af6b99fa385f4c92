#include <fcntl.h>
#include <lilv/lilv.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "bench/benchmarks.hpp"
#include "bench/measure.hpp"
#include "vesk/host_process.hpp"

namespace vesk::bench {
namespace {

constexpr const char* piano_uri = "http://drobilla.net/plugins/mda/EPiano";

/// Milliseconds from spawn until `main` of an empty program runs.
double empty_program_ms() {
  int ends[2];
  if (pipe(ends) != 0) return 0;
  const std::uint64_t start = now_ns();
  const pid_t process =
      start_program({program_folder() + "/vesk-bench-empty", std::to_string(ends[1])});
  char byte = 0;
  const bool reached = read(ends[0], &byte, 1) == 1;
  const double elapsed = static_cast<double>(now_ns() - start) / 1e6;
  waitpid(process, nullptr, 0);
  close(ends[0]);
  close(ends[1]);
  return reached ? elapsed : 0;
}

/// The command that loads the piano by itself, with its library and bundle as lilv finds them.
std::string load_command() {
  LilvWorld* const world = lilv_world_new();
  lilv_world_load_all(world);
  LilvNode* const uri = lilv_new_uri(world, piano_uri);
  const LilvPlugin* const plugin = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world), uri);
  std::string command;
  if (plugin) {
    char* const library = lilv_node_get_path(lilv_plugin_get_library_uri(plugin), nullptr);
    char* const bundle = lilv_node_get_path(lilv_plugin_get_bundle_uri(plugin), nullptr);
    command = program_folder() + "/vesk-bench-load-plugin '" + library + "' " + piano_uri + " '" +
              bundle + "'";
    lilv_free(library);
    lilv_free(bundle);
  }
  lilv_node_free(uri);
  lilv_world_free(world);
  return command;
}

/// Milliseconds that the plugin's own load takes in a process of its own.
double plugin_load_ms(const std::string& command) {
  double elapsed = 0;
  if (FILE* const output = popen(command.c_str(), "r")) {
    if (std::fscanf(output, "%lf", &elapsed) != 1) elapsed = 0;
    pclose(output);
  }
  return elapsed;
}

/// A folder that holds the bundle of the native unit alone, as on a machine where it is installed:
/// this build's folder has a dozen that misbehave for the tests, and reading those comes first.
class OneBundle {
 public:
  OneBundle() {
    char pattern[] = "/tmp/vesk-bench-XXXXXX";
    if (const char* const made = mkdtemp(pattern)) path = made;
    std::error_code ignored;
    std::filesystem::create_directory_symlink(program_folder() + "/../components/null.component",
                                              path + "/null.component", ignored);
  }
  ~OneBundle() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  std::string path;
};

double ready_ms(const OneBundle& bundle, const char* chain, std::string& error) {
  client::Options options;
  options.chain = chain;
  options.environment = {"AUDIO_COMPONENT_PATH=" + bundle.path};
  const auto host = client::HostProcess::start(options, error);
  return host ? host->load_times().ready_ms : 0;
}

}  // namespace

void start_up(Report& report, const Plan& plan) {
  report.begin("Start-up, spawn to ready, against exec to main of an empty C++ program");
  const OneBundle bundle;
  std::string error;
  ready_ms(bundle, "aumu:Sm48:LV2_", error);  // fills the cache of LV2 descriptions
  if (!error.empty()) return report.add({"start-up", {}, {}, {}, "ms", {}, "no figure: " + error});

  const std::string load_piano = load_command();
  const int repeats = plan.quick ? 3 : 15;
  std::vector<double> native, empty, lv2, plugin, added;
  for (int round = 0; round < plan.rounds; ++round) {
    std::vector<double> empty_times, native_times, lv2_times, plugin_times;
    for (int i = 0; i < repeats; ++i) {
      empty_times.push_back(empty_program_ms());
      native_times.push_back(ready_ms(bundle, "aumu:Null:Vesk", error));
      lv2_times.push_back(ready_ms(bundle, "aumu:Sm48:LV2_", error));
      plugin_times.push_back(plugin_load_ms(load_piano));
    }
    native.push_back(quantile(native_times, 0.5));
    empty.push_back(quantile(empty_times, 0.5));
    lv2.push_back(quantile(lv2_times, 0.5));
    plugin.push_back(quantile(plugin_times, 0.5));
    added.push_back(lv2.back() - native.back() - plugin.back());
  }
  report.add(Row::comparing("native unit, its bundle alone", native, empty, "ms", 1.5));
  report.add({"LV2 unit (ePiano), warm cache", Figure::of(lv2), {}, {}, "ms", {}, ""});
  report.add({"its plugin's own load, by itself", Figure::of(plugin), {}, {}, "ms", {}, ""});
  report.add({"what LV2 adds beyond that", Figure::of(added), {}, {}, "ms", 10.0, ""});
}

}  // namespace vesk::bench
