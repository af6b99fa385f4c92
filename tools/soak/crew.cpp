#include "tools/soak/crew.hpp"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "tools/naming/installed.hpp"
#include "tools/program/interruption.hpp"
#include "tools/program/progress_bar.hpp"
#include "tools/program/temporary_folder.hpp"

namespace vesk::tools {
namespace {

constexpr auto look_interval = std::chrono::milliseconds(100);

/// The work that its threads share, and what the main thread shows of it.
class Crew {
 public:
  Crew(const SoakSettings& settings, const std::vector<Candidate>& candidates, int jobs)
      : settings_(settings),
        candidates_(candidates),
        results_(candidates.size()),
        doing_(static_cast<std::size_t>(jobs)) {
    for (std::size_t i = 0; i < doing_.size(); ++i) threads_.emplace_back([this, i] { work(i); });
  }

  std::vector<SoakResult> wait(ProgressBar& bar) {
    std::unique_lock lock(mutex_);
    while (ended_ < threads_.size()) {
      changed_.wait_for(lock, look_interval);
      std::string note = std::to_string(done_) + " of " + std::to_string(candidates_.size());
      for (const std::string& each : doing_)
        if (!each.empty()) note += "  " + each;
      bar.show(static_cast<double>(done_) / static_cast<double>(candidates_.size()), note);
    }
    lock.unlock();
    for (std::thread& thread : threads_) thread.join();
    std::vector<SoakResult> results;
    for (std::optional<SoakResult>& each : results_)
      if (each) results.push_back(*std::move(each));
    return results;
  }

 private:
  void work(std::size_t place) {
    for (std::size_t i = next_++; i < candidates_.size() && interruption() == 0; i = next_++) {
      std::string error;
      const auto folder = TemporaryFolder::make(error);
      const Candidate& candidate = candidates_[i];
      const std::string name = candidate.name.empty() ? candidate.element.name
                                                      : without_maker(candidate.name).substr(0, 24);
      const auto tell = [&](const std::string& stage) {
        const std::lock_guard lock(mutex_);
        doing_[place] = std::string(name).append(" (").append(stage).append(")");
      };
      SoakResult result;
      if (folder) {
        result = soak(settings_, candidate, folder->path(), tell);
      } else {
        result.specification = candidate.element.name;
        result.name = candidate.name;
        result.outcome = Outcome::unfinished;
        result.reason = error;
      }
      const std::lock_guard lock(mutex_);
      results_[i] = std::move(result);
      ++done_;
    }
    const std::lock_guard lock(mutex_);
    doing_[place].clear();
    ++ended_;
    changed_.notify_one();
  }

  const SoakSettings& settings_;
  const std::vector<Candidate>& candidates_;
  std::atomic<std::size_t> next_{0};
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::optional<SoakResult>> results_;
  std::vector<std::string> doing_;
  std::size_t done_ = 0;
  std::size_t ended_ = 0;
  std::vector<std::thread> threads_;
};

}  // namespace

std::vector<SoakResult> soak_all(const SoakSettings& settings,
                                 const std::vector<Candidate>& candidates, int jobs,
                                 bool shows_progress) {
  ProgressBar bar("soak", shows_progress);
  const int most = static_cast<int>(std::max<std::size_t>(candidates.size(), 1));
  Crew crew(settings, candidates, std::min(jobs, most));
  return crew.wait(bar);
}

}  // namespace vesk::tools
