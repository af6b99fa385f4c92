#include "tools/soak/life.hpp"

#include <algorithm>
#include <utility>

#include "tools/parameters/question.hpp"
#include "tools/program/interruption.hpp"
#include "tools/soak/editor_stage.hpp"
#include "tools/soak/measurements.hpp"
#include "tools/soak/sound_stages.hpp"
#include "tools/soak/state_stage.hpp"

namespace vesk::tools {
namespace {

using Clock = std::chrono::steady_clock;

// -120 dBFS
constexpr float silence = 1e-6f;

bool play_usual(Life& life) {
  return play(life, usual_rate);
}

bool open_editors(Life& life) {
  for (int i = 0; i < life.level.editors; ++i)
    if (!open_editor(life)) return false;
  return true;
}

bool play_rates(Life& life) {
  for (const int rate : life.level.rates)
    if (!play(life, rate)) return false;
  return true;
}

struct Stage {
  const char* name;
  bool (*is_due)(const Life& life);
  bool (*run)(Life& life);  ///< false when it has ended the life
};

constexpr Stage stages[] = {
    {"play", [](const Life&) { return true; }, play_usual},
    {"calls", [](const Life& life) { return life.level.rounds > 0; }, watch_calls},
    {"sweep", [](const Life& life) { return life.level.rounds > 0; }, sweep},
    {"state", [](const Life& life) { return life.level.saves_state; }, keep_state},
    {"pace", [](const Life& life) { return life.level.paced_seconds > 0; }, pace},
    {"lengths", [](const Life& life) { return life.level.lengths > 0; }, change_lengths},
    {"latency", [](const Life& life) { return life.level.measures; }, measure_latency},
    {"tail", [](const Life& life) { return life.level.measures; }, measure_tail},
    {"editor", [](const Life& life) { return life.settings.opens_editors; }, open_editors},
    {"each", [](const Life& life) { return life.level.sets_each; }, set_each},
    {"rates", [](const Life&) { return true; }, play_rates},
};

bool is_wanted(const SoakSettings& settings, const std::string& stage) {
  return settings.stages.empty() ||
         std::ranges::find(settings.stages, stage) != settings.stages.end();
}

bool live(Life& life) {
  for (const Stage& stage : stages)
    if (is_wanted(life.settings, stage.name) && stage.is_due(life) && !stage.run(life))
      return false;
  return true;
}

/// Samplers and convolvers are silent until they have a file.
std::string why_silent(const Life& life) {
  std::string text = "no sound came in the whole life", ignored;
  const auto told =
      ask_plugin(life.element.name, "", usual_rate, {}, "", ignored, life.settings.patience);
  if (told && !told->files.empty() &&
      std::ranges::all_of(told->files, [](const auto& file) { return file.path.empty(); }))
    text += "; it has no file as \"" + told->files.front().label + "\"";
  return text;
}

}  // namespace

std::vector<std::string> stage_names() {
  std::vector<std::string> names;
  for (const Stage& stage : stages) names.emplace_back(stage.name);
  return names;
}

Life::Life(const SoakSettings& wanted, const Candidate& candidate, std::string scratch_folder,
           std::function<void(const std::string& stage)> tell)
    : settings(wanted),
      level(level_of(wanted.level)),
      element(candidate.element),
      is_delay(candidate.is_delay),
      folder(std::move(scratch_folder)),
      tell_(std::move(tell)),
      start_(Clock::now()) {
  result.specification = candidate.element.name;
  result.name = candidate.name;
}

bool Life::begin(const std::string& name) {
  stage_ = name;
  setting.clear();
  tell_(name);
  return is_in_time();
}

bool Life::ask_parameters() {
  if (has_parameters_) return true;
  std::string error;
  auto told =
      tools::ask_parameters(element.name, element.name, usual_rate, error, settings.patience);
  if (!told) return end_question(error);
  parameters = *std::move(told);
  return has_parameters_ = true;
}

bool Life::end(Outcome outcome, const std::string& why) {
  if (std::exchange(has_ended_, true)) return false;
  result.outcome = outcome;
  result.reason = stage_ + (setting.empty() ? "" : ", " + setting) + ": " + why;
  return false;
}

bool Life::end_question(const std::string& error) {
  const bool is_slow = error.find("took longer than") != std::string::npos;
  return end(is_slow ? Outcome::hang : Outcome::crash, error);
}

void Life::remark(const std::string& kind, const std::string& text, bool is_fault) {
  for (const Remark& known : result.remarks)
    if (known.kind == kind) return;
  result.remarks.push_back({kind, stage_ + ": " + text, is_fault});
}

bool Life::is_in_time() {
  if (interruption() != 0) return end(Outcome::unfinished, "interrupted");
  if (Clock::now() - start_ > settings.limit)
    return end(Outcome::unfinished,
               "not done after " + std::to_string(settings.limit.count()) + " s");
  return !has_ended_;
}

SoakResult soak(const SoakSettings& settings, const Candidate& candidate,
                const std::string& scratch_folder,
                const std::function<void(const std::string& stage)>& tell) {
  const auto start = Clock::now();
  Life life(settings, candidate, scratch_folder, tell);
  if (live(life) && life.has_played && life.peak < silence) {
    life.result.outcome = Outcome::silent;
    life.result.reason = why_silent(life);
  }
  life.result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return std::move(life.result);
}

}  // namespace vesk::tools
