// vesk-parameters: opens one component and tells its parameters. vesk-list and vesk-render run it,
// so that a plugin that crashes or hangs meanwhile takes neither of them down.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "spec/plugin_spec.hpp"
#include "tools/parameters/reader.hpp"
#include "tools/program/command_line.hpp"
#include "tools/program/standard_output.hpp"

namespace {

using namespace vesk;
using namespace vesk::tools;

constexpr const char* usage =
    "usage: vesk-parameters TYPE:SUBTYPE:MANUFACTURER [SAMPLE_RATE]\n"
    "\n"
    "Prints a JSON object with the component's \"parameters\", or with an \"error\". For people\n"
    "vesk-list --parameters does the same in a table.\n"
    "\n"
    "  -h, --help  this text\n"
    "  --version   the program's version\n";

// Whoever asked has given up by then, or is gone.
constexpr unsigned longest_life_s = 90;

std::optional<std::vector<ParameterDescription>> parameters_of(const std::string& component,
                                                               double sample_rate_hz,
                                                               std::string& error) {
  std::string reason;
  if (const auto spec = PluginSpec::parse(component, reason))
    return read_parameters(spec->desc, spec->name, sample_rate_hz, error);
  error = component + ": " + syntax_error(reason);
  return std::nullopt;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string asked_for = text_asked_for({argv + 1, argv + argc}, "vesk-parameters", usage);
  if (!asked_for.empty()) {
    std::fputs(asked_for.c_str(), stdout);
    return 0;
  }
  double sample_rate_hz = 0.0;
  if (argc != 2 && !(argc == 3 && to_number(argv[2], sample_rate_hz))) {
    std::fputs(usage, stderr);
    return 2;
  }
  alarm(longest_life_s);
  // What the plugin prints must not come between.
  const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  std::string error;
  const auto parameters = parameters_of(argv[1], sample_rate_hz, error);
  const bool is_told = print(output, answer_text(parameters, error), error);
  // Nothing is left to do, and a plugin may crash on the way out.
  std::_Exit(is_told && parameters ? 0 : 1);
}
