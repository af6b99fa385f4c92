#include "tools/waiting_note.hpp"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <utility>

namespace vesk::tools {

WaitingNote::WaitingNote(std::string text) : text_(std::move(text)) {
  if (isatty(STDERR_FILENO) == 1) thread_ = std::thread([this] { run(); });
}

WaitingNote::~WaitingNote() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    is_over_ = true;
  }
  condition_.notify_one();
  thread_.join();
}

void WaitingNote::run() {
  std::unique_lock lock(mutex_);
  int seconds = 0;
  while (!condition_.wait_for(lock, std::chrono::seconds(1), [this] { return is_over_; })) {
    ++seconds;
    std::fprintf(stderr, "\r%s (%d s)", text_.c_str(), seconds);
    std::fflush(stderr);
  }
  if (seconds > 0) std::fputs("\r\033[K", stderr);
}

}  // namespace vesk::tools
