#include "tools/program/crew.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "tools/program/interruption.hpp"

namespace vesk::tools {
namespace {

constexpr auto look_interval = std::chrono::milliseconds(100);

using Work = std::function<void(std::size_t piece, const Doing& doing)>;

/// The work that its threads share, and what the main thread shows of it.
class Crew {
 public:
  Crew(std::size_t count, std::size_t threads, const Work& work)
      : count_(count), work_(work), doing_(threads) {
    for (std::size_t i = 0; i < threads; ++i) threads_.emplace_back([this, i] { run(i); });
  }

  void wait(ProgressBar& bar) {
    std::unique_lock lock(mutex_);
    while (ended_ < threads_.size()) {
      changed_.wait_for(lock, look_interval);
      std::string note = std::to_string(done_) + " of " + std::to_string(count_);
      for (const std::string& each : doing_)
        if (!each.empty()) note += "  " + each;
      bar.show(static_cast<double>(done_) / static_cast<double>(count_), note);
    }
    lock.unlock();
    for (std::thread& thread : threads_) thread.join();
  }

 private:
  void run(std::size_t place) {
    const Doing doing = [this, place](const std::string& words) {
      const std::lock_guard lock(mutex_);
      doing_[place] = words;
    };
    for (std::size_t i = next_++; i < count_ && interruption() == 0; i = next_++) {
      work_(i, doing);
      const std::lock_guard lock(mutex_);
      ++done_;
    }
    const std::lock_guard lock(mutex_);
    doing_[place].clear();
    ++ended_;
    changed_.notify_one();
  }

  const std::size_t count_;
  const Work& work_;
  std::atomic<std::size_t> next_{0};
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> doing_;
  std::size_t done_ = 0;
  std::size_t ended_ = 0;
  std::vector<std::thread> threads_;
};

}  // namespace

void work_side_by_side(std::size_t count, int jobs, ProgressBar& bar, const Work& work) {
  if (count == 0) return;
  Crew crew(count, std::min(static_cast<std::size_t>(std::max(jobs, 1)), count), work);
  crew.wait(bar);
}

}  // namespace vesk::tools
