#include "tools/render/batch.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <set>
#include <system_error>
#include <thread>
#include <utility>

#include "tools/program/child_program.hpp"
#include "tools/program/crew.hpp"
#include "tools/program/interruption.hpp"
#include "tools/program/progress_bar.hpp"
#include "tools/render/finished_work.hpp"

namespace vesk::tools {
namespace {

namespace fs = std::filesystem;

constexpr int most_attempts = 2;
constexpr auto no_limit = std::chrono::hours(24 * 365);

struct Attempt {
  bool is_done = false;
  bool may_be_repeated = false;
  std::string error;
  Json told;
};

/// A sentence about an input, which it may begin with already.
std::string about(const std::string& input, const std::string& sentence) {
  const bool is_named = sentence.starts_with(input + ":") || sentence.starts_with(input + " ");
  return "vesk-render: " + (is_named ? sentence : input + ": " + sentence);
}

std::string text_in(const Json& object, const char* name) {
  return object.is_object() && object.contains(name) && object[name].is_string()
             ? object[name].get<std::string>()
             : "";
}

std::vector<Json> warnings_in(const Json& told) {
  if (!told.is_object() || !told.contains("warnings") || !told["warnings"].is_array()) return {};
  return {told["warnings"].begin(), told["warnings"].end()};
}

/// Why a process that had an answer, or none, wrote nothing.
std::string reason_of(const ChildAnswer& answer, const Json& told) {
  if (!answer.ending.empty()) return "its process " + answer.ending;
  if (std::string error = text_in(told, "error"); !error.empty()) return error;
  for (const Json& warning : warnings_in(told))
    if (text_in(warning, "kind") != "note")
      return "refused by --strict: " + text_in(warning, "text");
  // It ended before it could say so in JSON.
  std::string line = answer.errors.substr(0, answer.errors.find('\n'));
  if (line.starts_with("vesk-render: ")) line.erase(0, 13);
  return line.empty() ? "its process ended with status " + std::to_string(answer.status) : line;
}

Attempt attempt(const RenderArguments& arguments, const BatchJob& job) {
  std::error_code ignored;  // what cannot be made is told of when the output is opened
  fs::create_directories(fs::path(job.output).parent_path(), ignored);
  const bool takes_audio = arguments.chain.front().is_effect();
  std::vector<std::string> words{chain_text(arguments.chain),
                                 (takes_audio ? "--input=" : "--midi=") + job.input,
                                 "--output=" + job.output, "--json", "--quiet"};
  words.insert(words.end(), arguments.rendering_words.begin(), arguments.rendering_words.end());
  const std::chrono::seconds limit =
      arguments.limit_seconds > 0 ? std::chrono::seconds(arguments.limit_seconds) : no_limit;
  Attempt made;
  const auto answer = run_child(path_of_program("vesk-render"), words, limit, true, made.error,
                                [] { return interruption() != 0; });
  if (!answer) return made;
  made.told = Json::parse(answer->output, nullptr, false);
  made.is_done = answer->status == 0 && answer->ending.empty();
  const bool had_host = !made.told.is_object() || made.told.value("had_host", false);
  made.may_be_repeated = answer->status == 1 && had_host;
  if (!made.is_done) made.error = reason_of(*answer, made.told);
  return made;
}

class Batch {
 public:
  explicit Batch(const RenderArguments& arguments)
      : arguments_(arguments), finished_(arguments.out_dir), bar_("rendering", !arguments.quiet) {}

  std::vector<BatchResult> render(const std::vector<BatchJob>& jobs) {
    std::vector<BatchResult> results(jobs.size());
    for (std::size_t i = 0; i < jobs.size(); ++i) results[i].job = jobs[i];
    const int jobs_at_a_time = arguments_.jobs > 0
                                   ? arguments_.jobs
                                   : static_cast<int>(std::thread::hardware_concurrency());
    work_side_by_side(jobs.size(), jobs_at_a_time, bar_, [&](std::size_t i, const Doing& doing) {
      doing(fs::path(jobs[i].input).filename().string().substr(0, 24));
      render_one(results[i]);
    });
    return results;
  }

 private:
  void render_one(BatchResult& result) {
    const BatchJob& job = result.job;
    // From before it is rendered: a file that changes meanwhile is another one to the next call.
    const std::string recipe = recipe_of(arguments_, job);
    if (!arguments_.does_again && finished_.has(job, recipe)) {
      result.state = BatchState::finished;
      return;
    }
    Attempt made;
    do {
      if (result.attempts > 0) bar_.say(about(job.input, made.error + "; tried once more"));
      made = attempt(arguments_, job);
      ++result.attempts;
      if (!made.is_done && interruption() != 0) return;
    } while (!made.is_done && made.may_be_repeated && result.attempts < most_attempts);
    result.told = std::move(made.told);
    result.error = std::move(made.error);
    for (const Json& warning : warnings_in(result.told)) warn(job, text_in(warning, "text"));
    result.state = made.is_done ? BatchState::written : BatchState::failed;
    std::string error;
    if (!made.is_done)
      bar_.say(about(job.input, result.error));
    else if (!finished_.add(job, recipe, error))
      bar_.say(about(job.input, "is written, and will be once more by a later call: " + error));
  }

  /// What is wrong with the chain is so for every input, and said once.
  void warn(const BatchJob& job, const std::string& text) {
    const bool is_about_chain =
        std::ranges::any_of(arguments_.chain, [&text](const ChainElement& plugin) {
          return text.find(plugin.name) != std::string::npos;
        });
    if (!is_about_chain) return bar_.say(about(job.input, text));
    const std::lock_guard lock(mutex_);
    if (said_.insert(text).second) bar_.say("vesk-render: " + text);
  }

  const RenderArguments& arguments_;
  std::mutex mutex_;
  std::set<std::string> said_;
  FinishedWork finished_;
  ProgressBar bar_;
};

std::size_t count(const std::vector<BatchResult>& results, BatchState state) {
  return static_cast<std::size_t>(std::ranges::count(results, state, &BatchResult::state));
}

const char* name_of(BatchState state) {
  switch (state) {
    case BatchState::written:
      return "written";
    case BatchState::finished:
      return "finished";
    case BatchState::failed:
      return "failed";
    case BatchState::not_done:
      break;
  }
  return "not_done";
}

}  // namespace

std::vector<BatchResult> render_batch(const RenderArguments& arguments,
                                      const std::vector<BatchJob>& jobs) {
  watch_for_interruption();
  return Batch(arguments).render(jobs);
}

int status_of(const std::vector<BatchResult>& results) {
  return std::ranges::all_of(results,
                             [](const BatchResult& result) {
                               return result.state == BatchState::written ||
                                      result.state == BatchState::finished;
                             })
             ? 0
             : 1;
}

std::string batch_text(const RenderArguments& arguments, const std::vector<BatchResult>& results,
                       double seconds) {
  double audio_seconds = 0;
  for (const BatchResult& result : results)
    if (result.state == BatchState::written && result.told.is_object())
      audio_seconds += static_cast<double>(result.told.value("seconds", 0.0f));
  std::string text =
      arguments.out_dir + ": " + std::to_string(count(results, BatchState::written)) + " written";
  const std::pair<BatchState, const char*> others[] = {
      {BatchState::finished, " finished before"},
      {BatchState::failed, " failed"},
      {BatchState::not_done, " not done"},
  };
  for (const auto& [state, words] : others)
    if (const std::size_t number = count(results, state); number > 0)
      text += ", " + std::to_string(number) + words;
  char figures[96];
  std::snprintf(figures, sizeof figures, "; %.1f s of audio in %.1f s\n", audio_seconds, seconds);
  return text + figures;
}

std::string batch_json(const std::vector<BatchResult>& results, double seconds) {
  Json summary{{"status", status_of(results)}};
  for (const BatchState state :
       {BatchState::written, BatchState::finished, BatchState::failed, BatchState::not_done})
    summary[name_of(state)] = count(results, state);
  summary["seconds"] = seconds;
  summary["results"] = Json::array();
  for (const BatchResult& result : results) {
    Json entry{{"input", result.job.input},
               {"output", result.job.output},
               {"state", name_of(result.state)},
               {"attempts", result.attempts}};
    if (!result.error.empty()) entry["error"] = result.error;
    // Its own words for what stands above go.
    if (result.told.is_object())
      for (const auto& [name, value] : result.told.items())
        if (!entry.contains(name)) entry[name] = value;
    summary["results"].push_back(std::move(entry));
  }
  return json_text(summary);
}

}  // namespace vesk::tools
