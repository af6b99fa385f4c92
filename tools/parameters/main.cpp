// vesk-parameters: opens one component and tells its parameters. vesk-list and vesk-render run it,
// so that a plugin that crashes or hangs meanwhile takes neither of them down.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "spec/plugin_spec.hpp"
#include "tools/parameters/reader.hpp"
#include "tools/program/command_line.hpp"

namespace {

using namespace vesk;
using namespace vesk::tools;

constexpr const char* usage =
    "usage: vesk-parameters TYPE:SUBTYPE:MANUFACTURER [SAMPLE_RATE]\n"
    "\n"
    "Prints a JSON object with the component's \"parameters\", or with an \"error\". For people\n"
    "vesk-list --parameters does the same in a table.\n";

// Whoever asked has given up by then, or is gone.
constexpr unsigned longest_life_s = 90;

bool write_all(int descriptor, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t count = write(descriptor, text.data() + done, text.size() - done);
    if (count < 0 && errno != EINTR) return false;
    done += static_cast<std::size_t>(count > 0 ? count : 0);
  }
  return true;
}

Json answer_to(const std::string& component, double sample_rate_hz) {
  std::string error;
  const auto spec = PluginSpec::parse(component, error);
  if (!spec) return {{"error", component + ": " + error}};
  const auto parameters = read_parameters(spec->desc, spec->name, sample_rate_hz, error);
  if (!parameters) return {{"error", error}};
  return {{"parameters", json_of(*parameters)}};
}

}  // namespace

int main(int argc, char** argv) {
  double sample_rate_hz = 0.0;
  const bool wants_help = argc == 2 && std::string(argv[1]) == "--help";
  const bool makes_sense = argc == 2 || (argc == 3 && to_number(argv[2], sample_rate_hz));
  if (wants_help || !makes_sense) {
    std::fputs(usage, wants_help ? stdout : stderr);
    return wants_help ? 0 : 2;
  }
  alarm(longest_life_s);
  // What the plugin prints must not come between.
  const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  const Json answer = answer_to(argv[1], sample_rate_hz);
  const bool is_told = write_all(output, json_text(answer));
  // Nothing is left to do, and a plugin may crash on the way out.
  std::_Exit(is_told && answer.contains("parameters") ? 0 : 1);
}
