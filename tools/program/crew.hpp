#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "tools/program/progress_bar.hpp"

namespace vesk::tools {

/// Says on the progress bar what is being done about a piece of work.
using Doing = std::function<void(const std::string& words)>;

/// Does `count` pieces of work, `jobs` (at least 1) at a time, each on one of so many threads, and
/// returns when all are done. `bar` shows how many are, and what is being done about the others.
/// After a signal that this program watches for, pieces that are not begun are left out.
void work_side_by_side(std::size_t count, int jobs, ProgressBar& bar,
                       const std::function<void(std::size_t piece, const Doing& doing)>& work);

}  // namespace vesk::tools
