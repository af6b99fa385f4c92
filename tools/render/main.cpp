#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "tools/program/command_line.hpp"
#include "tools/program/interruption.hpp"
#include "tools/program/standard_output.hpp"
#include "tools/render/arguments.hpp"
#include "tools/render/batch.hpp"
#include "tools/render/batch_plan.hpp"
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

/// Renders many; what failed has been told of by then.
int run_batch(const RenderArguments& arguments, const std::vector<BatchJob>& jobs) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  const auto results = render_batch(arguments, jobs);
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  const bool is_told = arguments.as_json
                           ? tell(batch_json(results, seconds))
                           : arguments.quiet || tell(batch_text(arguments, results, seconds));
  if (interruption() != 0) end_by_signal(interruption());
  return is_told ? status_of(results) : 1;
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
  std::optional<std::vector<BatchJob>> jobs;
  if (specification && arguments->is_batch()) {
    jobs = plan_batch(*arguments, error);
    if (!jobs) return refuse();
  }
  RenderReport report;
  int status = 1;
  if (!specification) {
    say(error);
  } else {
    if (*specification != chain && !arguments->quiet) say("the chain is " + *specification);
    if (jobs) return run_batch(*arguments, *jobs);
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
