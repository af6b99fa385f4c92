#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

#include "tools/midi/midi_file.hpp"
#include "vesk/host_process.hpp"

namespace vesk::tools {

/// Asks a host for its periods at the pace at which they would be heard, from a thread of its own,
/// and plays a song meanwhile, over and over.
class LivePlayer {
 public:
  /// `song` may be empty, for silence. With `as_tones` the notes are sent as audio too, to a chain
  /// that starts with an effect. `host` must be ready and outlive this; nobody else may drive it.
  LivePlayer(client::HostProcess& host, Song song, bool as_tones);

  /// Stops playing, within a period and the time that its answer takes.
  ~LivePlayer();

  LivePlayer(const LivePlayer&) = delete;
  LivePlayer& operator=(const LivePlayer&) = delete;

  /// The largest finite sample that has come back so far; any thread.
  float peak() const { return peak_.load(std::memory_order_relaxed); }
  /// Whether samples have come back that are infinite or not numbers; any thread.
  bool has_bad_samples() const { return has_bad_samples_.load(std::memory_order_relaxed); }

 private:
  void run();
  void listen(std::uint32_t frames);

  client::HostProcess& host_;
  const Song song_;
  const bool as_tones_;
  const std::uint32_t period_;
  const double sample_rate_;
  std::atomic<float> peak_{0.0f};
  std::atomic<bool> has_bad_samples_{false};
  std::atomic<bool> ends_{false};
  std::thread thread_;
};

}  // namespace vesk::tools
