#pragma once

#include <chrono>
#include <mutex>
#include <string>

namespace vesk::tools {

/// One line on a terminal that is drawn over itself and removed at the end. On anything but a
/// terminal, or switched off, it prints nothing. Any thread.
class ProgressBar {
 public:
  ProgressBar(std::string label, bool is_wanted);
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  /// Shows `share` (0..1) and a note behind it. Draws at most ten times a second, so it may be
  /// called for every period.
  void show(double share, const std::string& note);

  /// Whether `show` would draw now; saves the making of notes that nobody sees.
  bool is_due() const;

  /// Prints a line on standard error, above the bar where there is one.
  void say(const std::string& line);

 private:
  mutable std::mutex mutex_;
  std::string label_;
  bool is_active_;
  bool was_drawn_ = false;
  std::chrono::steady_clock::time_point next_;
};

}  // namespace vesk::tools
