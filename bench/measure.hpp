#pragma once

#include <sched.h>
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vesk::bench {

/// Nanoseconds on the monotonic clock.
std::uint64_t now_ns();
/// Sleeps at least this long.
void sleep_us(unsigned microseconds);

/// CPU time of all threads of a process so far, in nanoseconds, from /proc/PID/task/*/schedstat.
std::uint64_t cpu_time_ns(pid_t process);

/// The value below which the given share (0 to 1) of the samples lie. Reorders them.
double quantile(std::vector<double>& samples, double share);

/// Scheduling of the calling thread for as long as the object lives.
class RealTime {
 public:
  /// Asks for SCHED_FIFO; `granted` says whether it came.
  explicit RealTime(int priority);
  ~RealTime();
  bool granted() const { return granted_; }

 private:
  bool granted_;
};

/// The calling thread on one CPU, or on any (-1), for as long as the object lives.
class OnCpu {
 public:
  explicit OnCpu(int cpu);
  ~OnCpu();

 private:
  cpu_set_t before_;
};

/// The folder of this build's programs.
std::string program_folder();

/// Starts a program with arguments, its output thrown away; its process id, or -1.
pid_t start_program(const std::vector<std::string>& arguments);

}  // namespace vesk::bench
