#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tools/program/command_line.hpp"
#include "tools/program/interruption.hpp"
#include "tools/program/standard_output.hpp"
#include "tools/render/arguments.hpp"
#include "tools/render/render_song.hpp"
#include "tools/render/summary.hpp"
#include "vesk/plugin_names.hpp"

namespace {

using namespace vesk::tools;

constexpr int differs_status = 8;

void say(const std::string& sentence) {
  std::fprintf(stderr, "vesk-render: %s\n", sentence.c_str());
}

bool tell(const std::string& text, int descriptor = STDOUT_FILENO) {
  std::string error;
  if (print(descriptor, text, error)) return true;
  say(error);
  return false;
}

/// Renders, and says on standard error what went wrong or might have.
int run(const RenderArguments& arguments, RenderReport& report, std::string& error) {
  const RenderOutcome outcome = render_song(arguments, report, error);
  if (outcome == RenderOutcome::interrupted) end_by_signal(interruption());
  if (outcome == RenderOutcome::failed) {
    say(error);
    return 1;
  }
  if (outcome == RenderOutcome::differs) {
    say(error);
    return differs_status;
  }
  for (const Warning& warning : report.warnings) say(warning.text);
  if (outcome == RenderOutcome::done) return 0;
  say("nothing is written, because of --strict");
  return strict_status(report.warnings);
}

}  // namespace

int main(int argc, char** argv) {
  make_size_limit_an_error();
  const std::vector<std::string> words(argv + 1, argv + argc);
  std::string error;
  if (const std::string text = text_asked_for(words, "vesk-render", render_help.c_str());
      !text.empty())
    return tell(text) ? 0 : 1;
  const auto refuse = [&error] {
    say(error + "; vesk-render --help tells how");
    return 2;
  };
  auto arguments = parse_render_arguments(words, error);
  if (!arguments) return refuse();
  const std::string& chain = arguments->chain_words;
  const auto specification = vesk::client::specification_of({chain, arguments->settings}, error);
  if (specification && !take_chain(*arguments, *specification, error)) return refuse();
  RenderReport report;
  int status = 1;
  if (!specification) {
    say(error);
  } else {
    if (*specification != chain && !arguments->quiet) say("the chain is " + *specification);
    status = run(*arguments, report, error);
  }
  std::string summary;
  if (arguments->as_json)
    summary = summary_json(*arguments, report, status, error);
  else if (status == 0 && !arguments->quiet)
    summary = summary_text(*arguments, report);
  const bool gave_audio = arguments->output_path == "-";
  return tell(summary, gave_audio ? STDERR_FILENO : STDOUT_FILENO) ? status : 1;
}
