#include "tools/doctor/report.hpp"

#include <algorithm>
#include <cstdio>

#include "tools/program/json.hpp"

namespace vesk::tools {
namespace {

const char* word_of(Verdict verdict) {
  switch (verdict) {
    case Verdict::fine:
      return "fine";
    case Verdict::could_be_better:
      return "could be better";
    case Verdict::to_mend:
      return "to mend";
    case Verdict::unknown:
      break;
  }
  return "cannot be known";
}

std::string sentence_of(PeriodCheck::Outcome outcome, bool is_real_time) {
  switch (outcome) {
    case PeriodCheck::fine:
      return is_real_time ? "fine" : "fine as measured, but nothing promises it";
    case PeriodCheck::drops_when_busy:
      return "will drop when another program is busy";
    case PeriodCheck::drops:
      break;
  }
  return "will drop";
}

std::string padded(const std::string& text, std::size_t columns) {
  return text + std::string(columns - std::min(columns, text.size()), ' ');
}

std::string line(const char* format, int frames, double milliseconds, const std::string& outcome) {
  char start[64];
  std::snprintf(start, sizeof start, format, frames, milliseconds);
  return start + outcome + '\n';
}

Json wake_ups_json(const WakeUps& wake_ups) {
  return {{"count", wake_ups.count},
          {"median_us", static_cast<float>(wake_ups.median_us)},
          {"worst_us", static_cast<float>(wake_ups.worst_us)}};
}

}  // namespace

std::string doctor_text(const Diagnosis& diagnosis, const Grant& grant) {
  std::size_t name_columns = 0, found_columns = 0;
  for (const Check& check : diagnosis.checks) {
    name_columns = std::max(name_columns, check.name.size() + 2);
    found_columns = std::max(found_columns, check.found.size() + 2);
  }
  std::string text, advice;
  for (const Check& check : diagnosis.checks) {
    text += padded(check.name, name_columns) + padded(check.found, found_columns) +
            word_of(check.verdict) + '\n';
    if (check.remedies.empty()) continue;
    advice += '\n' + check.name + " (" + word_of(check.verdict) + ")\n";
    if (!check.meaning.empty()) advice += "  " + check.meaning + '\n';
    for (const std::string& remedy : check.remedies) advice += "    " + remedy + '\n';
  }
  text += "\nPeriods at " + std::to_string(usual_rate / 1'000) + " kHz under " +
          policy_text(grant) + ", after " + std::to_string(grant.idle.count + grant.busy.count) +
          " wake-ups:\n";
  for (const PeriodCheck& period : diagnosis.periods)
    text += line("%6d frames, %5.2f ms  ", period.frames, 1e3 * period.frames / usual_rate,
                 sentence_of(period.outcome, grant.policy != Policy::ordinary));
  return text + advice;
}

std::string doctor_json(const Diagnosis& diagnosis, const Grant& grant) {
  Json checks = Json::array(), periods = Json::array();
  for (const Check& check : diagnosis.checks)
    checks.push_back({{"name", check.name},
                      {"found", check.found},
                      {"verdict", word_of(check.verdict)},
                      {"meaning", check.meaning},
                      {"remedies", check.remedies}});
  for (const PeriodCheck& period : diagnosis.periods)
    periods.push_back({{"frames", period.frames},
                       {"sample_rate", usual_rate},
                       {"fine_when_idle", period.outcome != PeriodCheck::drops},
                       {"fine_when_busy", period.outcome == PeriodCheck::fine}});
  const char* const policies[] = {"SCHED_OTHER", "SCHED_FIFO", "SCHED_RR"};
  const Json result = {
      {"fine", diagnosis.is_fine()},
      {"policy", policies[static_cast<int>(grant.policy)]},
      {"priority", grant.priority},
      {"checks", checks},
      {"wake_ups", {{"idle", wake_ups_json(grant.idle)}, {"busy", wake_ups_json(grant.busy)}}},
      {"periods", periods}};
  return json_text(result);
}

}  // namespace vesk::tools
