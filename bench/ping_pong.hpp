#pragma once

#include <sys/types.h>

#include <cstdint>

namespace vesk::bench {

/// The reference for a round trip: two bare processes that wake each other through two futex
/// words and sleep in between, with nothing else in either.
class PingPong {
 public:
  /// `priority` above 0 asks for SCHED_FIFO in the other process; `cpu` of 0 or more keeps it
  /// there. With `frames` each waits with a time-out, and the answer brings so many of stereo sound
  /// that the asker reads, as a host's does.
  PingPong(int priority, int cpu, unsigned frames = 0);
  ~PingPong();
  PingPong(const PingPong&) = delete;
  PingPong& operator=(const PingPong&) = delete;

  /// One round trip: wakes the other process and sleeps until it has answered.
  void round();
  pid_t process() const { return process_; }

 private:
  static constexpr unsigned most_frames = 4096;
  struct Words {
    alignas(128) std::uint32_t request;
    alignas(128) std::uint32_t done;
    alignas(128) float sound[2][most_frames];
  };
  [[noreturn]] void answer();

  Words* words_;
  const unsigned frames_;
  float heard_ = 0;
  pid_t process_;
};

}  // namespace vesk::bench
