#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace vesk::tools {

/// Says on a terminal what is going on once it has taken a second, counts the seconds from then
/// on, and wipes the line at the end. Without a terminal it stays silent.
class WaitingNote {
 public:
  explicit WaitingNote(std::string text);
  ~WaitingNote();
  WaitingNote(const WaitingNote&) = delete;
  WaitingNote& operator=(const WaitingNote&) = delete;

 private:
  void run();

  std::string text_;
  std::mutex mutex_;
  std::condition_variable condition_;
  bool is_over_ = false;
  std::thread thread_;
};

}  // namespace vesk::tools
