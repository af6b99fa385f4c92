#include "tools/program/progress_bar.hpp"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace vesk::tools {
namespace {

constexpr auto interval = std::chrono::milliseconds(100);
constexpr int longest_bar = 40;

int terminal_columns() {
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

}  // namespace

ProgressBar::ProgressBar(std::string label, bool is_wanted)
    : label_(std::move(label)),
      is_active_(is_wanted && isatty(STDERR_FILENO) == 1),
      next_(std::chrono::steady_clock::now() + interval) {}

ProgressBar::~ProgressBar() {
  if (was_drawn_) std::fputs("\r\033[K", stderr);
}

bool ProgressBar::is_due() const {
  const std::lock_guard lock(mutex_);
  return is_active_ && std::chrono::steady_clock::now() >= next_;
}

void ProgressBar::show(double share, const std::string& note) {
  if (!is_due()) return;
  const std::lock_guard lock(mutex_);
  next_ = std::chrono::steady_clock::now() + interval;
  const int taken = static_cast<int>(label_.size() + note.size()) + 12;
  const int length = std::clamp(terminal_columns() - taken, 0, longest_bar);
  const double clamped = std::clamp(share, 0.0, 1.0);
  const int filled = static_cast<int>(clamped * length);
  std::string bar;
  for (int i = 0; i < length; ++i) bar += i < filled ? "\u2588" : "\u2591";
  std::fprintf(stderr, "\r%s %s %3.0f %% %s\033[K", label_.c_str(), bar.c_str(), clamped * 100.0,
               note.c_str());
  std::fflush(stderr);
  was_drawn_ = true;
}

void ProgressBar::say(const std::string& line) {
  const std::lock_guard lock(mutex_);
  std::fprintf(stderr, "%s%s\n", was_drawn_ ? "\r\033[K" : "", line.c_str());
  was_drawn_ = false;
}

}  // namespace vesk::tools
