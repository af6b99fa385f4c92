#include "tools/soak/report.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

namespace vesk::tools {
namespace {

constexpr std::array<const char*, 7> outcome_words{"ok",    "refused", "silent",    "not finite",
                                                   "crash", "hang",    "unfinished"};

}  // namespace

const char* words_of(Outcome outcome) {
  return outcome_words[static_cast<std::size_t>(outcome)];
}

bool has_passed(const SoakResult& result, bool is_strict) {
  return result.outcome == Outcome::ok &&
         std::ranges::none_of(result.remarks,
                              [&](const Remark& remark) { return remark.is_fault || is_strict; });
}

std::string summary_of(const SoakResult& result) {
  std::string text = words_of(result.outcome);
  for (const Remark& remark : result.remarks) text += ", " + remark.kind;
  return text;
}

std::string totals_of(const std::vector<SoakResult>& results, bool is_strict) {
  std::array<std::size_t, outcome_words.size()> counts{};
  std::size_t passed = 0;
  std::size_t remarked = 0;
  for (const SoakResult& result : results) {
    ++counts[static_cast<std::size_t>(result.outcome)];
    passed += has_passed(result, is_strict);
    remarked += result.outcome == Outcome::ok && !result.remarks.empty();
  }
  std::string text = std::to_string(passed) + " of " + std::to_string(results.size()) + " passed: ";
  text += std::to_string(counts[0]) + " ok (" + std::to_string(remarked) + " with remarks)";
  for (std::size_t i = 1; i < counts.size(); ++i)
    if (counts[i] > 0) text += ", " + std::to_string(counts[i]) + " " + outcome_words[i];
  return text;
}

}  // namespace vesk::tools
