// vesk-parameters: opens one component, tells what it has, and can write a preset file of it. The
// other tools run it, so that a plugin that crashes or hangs meanwhile takes none of them down.

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
    "usage: vesk-parameters SPECIFICATION [--sample-rate HZ]\n"
    "           [[--preset NAME] [--file NAME=PATH] ... --save FILE]\n"
    "\n"
    "Prints a JSON object with the component's \"parameters\", \"presets\" and \"files\", or with "
    "an\n"
    "\"error\". With --save the plugin is started as its specification says, takes the preset and\n"
    "the files, and its state is written to FILE. For people vesk-list --parameters, vesk-list\n"
    "--presets and vesk-edit --save do the same.\n"
    "\n"
    "  -h, --help  this text\n"
    "  --version   the program's version\n";

// Whoever asked has given up by then, or is gone.
constexpr unsigned longest_life_s = 90;

struct Question {
  std::string specification;
  double sample_rate_hz = 0.0;
  PluginSettings settings;
  std::string save_path;
};

std::optional<Question> read_question(const std::vector<std::string>& words, std::string& error) {
  Question question;
  const Option options[] = {
      {"--sample-rate", nullptr,
       [&question](const std::string& value, std::string& reason) {
         if (to_number(value, question.sample_rate_hz)) return true;
         reason = "takes a number";
         return false;
       }},
      {"--preset", nullptr, takes_path(question.settings.preset)},
      {"--file", nullptr,
       [&question](const std::string& value, std::string& reason) {
         const std::size_t sign = value.find('=');
         if (sign == value.npos) reason = "takes NAME=PATH";
         if (sign == value.npos) return false;
         question.settings.files.emplace_back(value.substr(0, sign), value.substr(sign + 1));
         return true;
       }},
      {"--save", nullptr, takes_path(question.save_path)},
  };
  if (!read_command_line(words, options, question.specification, error)) return std::nullopt;
  if (question.specification.empty()) error = "no specification";
  return question.specification.empty() ? std::nullopt : std::optional(std::move(question));
}

/// The plugin stays open in `plugin`.
std::optional<PluginDescription> answer_to(const Question& question,
                                           std::optional<OpenPlugin>& plugin, std::string& error) {
  std::string reason;
  const auto spec = PluginSpec::parse(question.specification, reason);
  if (!spec) {
    error = question.specification + ": " + syntax_error(reason);
    return std::nullopt;
  }
  plugin.emplace(*spec);
  if (!plugin->open(question.sample_rate_hz, error)) return std::nullopt;
  if (!question.save_path.empty() &&
      (!plugin->start(question.settings, error) || !plugin->save(question.save_path, error)))
    return std::nullopt;
  return plugin->describe(error);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  std::string error;
  if (const std::string text = text_asked_for(words, "vesk-parameters", usage); !text.empty()) {
    std::fputs(text.c_str(), stdout);
    return 0;
  }
  const auto question = read_question(words, error);
  if (!question) {
    std::fputs(usage, stderr);
    return 2;
  }
  alarm(longest_life_s);
  // What the plugin prints must not come between.
  const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  std::optional<OpenPlugin> plugin;
  const auto answer = answer_to(*question, plugin, error);
  const bool is_told = print(output, answer_text(answer, error), error);
  // Nothing is left to do, and a plugin may crash on the way out.
  std::_Exit(is_told && answer ? 0 : 1);
}
