#include "tools/soak/soak_all.hpp"

#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "tools/program/crew.hpp"
#include "tools/soak/report.hpp"

namespace vesk::tools {
namespace {

namespace fs = std::filesystem;

/// A folder that goes with its owner.
class Scratch {
 public:
  Scratch() {
    std::error_code none;
    std::string name = (fs::temp_directory_path(none) / "vesk-soak-XXXXXX").string();
    if (mkdtemp(name.data())) path_ = name;
  }
  ~Scratch() {
    std::error_code ignored;
    if (!path_.empty()) fs::remove_all(path_, ignored);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  std::string path() const { return path_.string(); }

 private:
  fs::path path_;
};

}  // namespace

std::vector<SoakResult> soak_all(const SoakSettings& settings,
                                 const std::vector<Candidate>& candidates, int jobs,
                                 bool shows_progress) {
  ProgressBar bar("soak", shows_progress);
  std::vector<std::optional<SoakResult>> done(candidates.size());
  work_side_by_side(candidates.size(), jobs, bar, [&](std::size_t i, const Doing& doing) {
    const Scratch folder;
    const Candidate& candidate = candidates[i];
    const std::string name = candidate.name.empty() ? candidate.element.name
                                                    : without_maker(candidate.name).substr(0, 24);
    done[i] = soak(settings, candidate, folder.path(), [&](const std::string& stage) {
      doing(std::string(name).append(" (").append(stage).append(")"));
    });
  });
  std::vector<SoakResult> results;
  for (std::optional<SoakResult>& each : done)
    if (each) results.push_back(*std::move(each));
  return results;
}

}  // namespace vesk::tools
