#include "tools/soak/soak_all.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "tools/naming/installed.hpp"
#include "tools/program/crew.hpp"
#include "tools/program/temporary_folder.hpp"

namespace vesk::tools {

std::vector<SoakResult> soak_all(const SoakSettings& settings,
                                 const std::vector<Candidate>& candidates, int jobs,
                                 bool shows_progress) {
  ProgressBar bar("soak", shows_progress);
  std::vector<std::optional<SoakResult>> done(candidates.size());
  work_side_by_side(candidates.size(), jobs, bar, [&](std::size_t i, const Doing& doing) {
    const Candidate& candidate = candidates[i];
    const std::string name = candidate.name.empty() ? candidate.element.name
                                                    : without_maker(candidate.name).substr(0, 24);
    std::string error;
    if (const auto folder = TemporaryFolder::make(error)) {
      done[i] = soak(settings, candidate, folder->path(), [&](const std::string& stage) {
        doing(std::string(name).append(" (").append(stage).append(")"));
      });
      return;
    }
    SoakResult& result = done[i].emplace();
    result.specification = candidate.element.name;
    result.name = candidate.name;
    result.outcome = Outcome::unfinished;
    result.reason = error;
  });
  std::vector<SoakResult> results;
  for (std::optional<SoakResult>& each : done)
    if (each) results.push_back(*std::move(each));
  return results;
}

}  // namespace vesk::tools
