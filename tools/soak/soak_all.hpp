#pragma once

#include <vector>

#include "tools/soak/life.hpp"

namespace vesk::tools {

/// Soaks all candidates, `jobs` at a time, and returns what became of each, in their order. With
/// `shows_progress` a bar on the terminal tells which are under way and in what stage. After a
/// signal that this program watches for, the lives under way end at once, and those not begun are
/// left out.
std::vector<SoakResult> soak_all(const SoakSettings& settings,
                                 const std::vector<Candidate>& candidates, int jobs,
                                 bool shows_progress);

}  // namespace vesk::tools
