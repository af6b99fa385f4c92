#pragma once

#include <string>
#include <vector>

#include "tools/doctor/facts.hpp"
#include "tools/doctor/grant.hpp"

namespace vesk::tools {

/// `could_be_better` has remedies and is nothing that must be mended.
enum class Verdict { fine, could_be_better, to_mend, unknown };

/// One thing that was looked at.
struct Check {
  std::string name;
  std::string found = {};
  Verdict verdict = Verdict::fine;
  std::string meaning = {};                ///< a sentence; empty where all is fine
  std::vector<std::string> remedies = {};  ///< each a command, or a sentence that ends in one
};

/// What a period's length means here.
struct PeriodCheck {
  enum Outcome { fine, drops_when_busy, drops };
  int frames;
  Outcome outcome;
};

struct Diagnosis {
  std::vector<Check> checks;
  std::vector<PeriodCheck> periods;

  /// Whether nothing has to be mended.
  bool is_fine() const;
};

/// The period that hosts are looked at with.
inline constexpr int usual_frames = 128;
inline constexpr int usual_rate = 48'000;

/// Judges what was read and measured. A period is fine where no wake-up took more than a quarter
/// of it: both the parent and its host have to wake in one, and the plugins need the rest.
Diagnosis judge(const Facts& facts, const Grant& grant);

/// "SCHED_FIFO 52", "SCHED_RR 20", "ordinary scheduling".
std::string policy_text(const Grant& grant);

}  // namespace vesk::tools
