#pragma once

// What a worker has read ahead for a voice.

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "components/sampler/samples/sample_data.hpp"
#include "platform/realtime.hpp"

namespace vesk::sampler {

/// Frames to be read from a file, one after the other.
struct Run {
  const SampleData* data = nullptr;
  std::int64_t frame = 0;
  int step = 1;
  std::int64_t count = 0;  ///< 0: nothing
  std::uint32_t number = 0;
};

/// Design: one voice and one worker. The voice leaves the run that it wants in a mailbox of three
/// places: its own, the worker's, and one between that either side swaps for its own (acquire and
/// release), so the latest run wins and nobody waits. The worker takes it up by noting in `first_`
/// how many frames it has ever written, then the run's number in `running_` (release); the voice
/// reads nothing before it has seen that number (acquire), so frames of an earlier run are never
/// heard. `written_` and `taken_` count frames and never wrap in practice; each is stored with
/// release by its owner after the frames were copied. What lies before `first_` is free for the
/// worker: who asked for this run had stopped reading the one before.
class Feed {
 public:
  static constexpr std::uint32_t ring_frames = 65'536;

  Feed() : left_(ring()), right_(ring()) {}
  Feed(const Feed&) = delete;
  Feed& operator=(const Feed&) = delete;

  // The voice.

  /// Instead of what was wanted until now. `lead` frames are played before it.
  void want(Run run, std::int64_t lead) noexcept VESK_REALTIME {
    run.number = ++wanted_;
    is_new_ = true;
    set_lead(lead);
    mailbox_[mine_] = run;
    mine_ = between_.exchange(mine_ | unread, std::memory_order_acq_rel) & place;
  }
  void set_lead(std::int64_t frames) noexcept VESK_REALTIME {
    lead_.store(frames, std::memory_order_relaxed);
  }
  /// How many frames of the run wanted last can be taken now.
  std::uint64_t ready() noexcept VESK_REALTIME {
    if (running_.load(std::memory_order_acquire) != wanted_) return 0;
    if (is_new_) {
      is_new_ = false;
      taken_.store(first_.load(std::memory_order_relaxed), std::memory_order_relaxed);
    }
    return written_.load(std::memory_order_acquire) - taken_.load(std::memory_order_relaxed);
  }
  /// At most as many as are ready; one channel is written to both.
  void take(unsigned count, unsigned channels, float* left, float* right) noexcept VESK_REALTIME {
    const std::uint64_t taken = taken_.load(std::memory_order_relaxed);
    copy(left_.get(), taken, count, left);
    copy(channels == 1 ? left_.get() : right_.get(), taken, count, right);
    taken_.store(taken + count, std::memory_order_release);
  }

  // The worker.

  /// Takes up the run that is wanted; true while there is something to read.
  bool look() {
    if (between_.load(std::memory_order_relaxed) & unread) {
      theirs_ = between_.exchange(theirs_, std::memory_order_acq_rel) & place;
      run_ = mailbox_[theirs_];
      first_.store(written_.load(std::memory_order_relaxed), std::memory_order_relaxed);
      running_.store(run_.number, std::memory_order_release);
    }
    return run_.count > 0;
  }
  /// What is still to be read.
  const Run& run() const { return run_; }
  /// Frames read and not played yet.
  std::uint64_t buffered() const {
    return written_.load(std::memory_order_relaxed) -
           std::max(taken_.load(std::memory_order_acquire), first_.load(std::memory_order_relaxed));
  }
  /// How many frames the voice can play without any that are not read yet.
  std::uint64_t frames_left() const {
    return buffered() + static_cast<std::uint64_t>(lead_.load(std::memory_order_relaxed));
  }
  /// The next frames of the run, interleaved in the order of the file; there is room for them.
  void write(const float* samples, unsigned count) {
    const unsigned channels = run_.data->format().channels;
    const std::uint64_t written = written_.load(std::memory_order_relaxed);
    for (unsigned i = 0; i < count; ++i) {
      const float* const frame = samples + channels * (run_.step > 0 ? i : count - 1 - i);
      const std::uint64_t at = (written + i) % ring_frames;
      left_[at] = frame[0];
      if (channels > 1) right_[at] = frame[1];
    }
    run_.frame += run_.step * std::int64_t{count};
    run_.count -= count;
    written_.store(written + count, std::memory_order_release);
  }

 private:
  static constexpr unsigned place = 3, unread = 4;

  static std::unique_ptr<float[]> ring() {
    return std::make_unique_for_overwrite<float[]>(ring_frames);
  }
  static void copy(const float* ring, std::uint64_t from, unsigned count,
                   float* to) noexcept VESK_REALTIME {
    const auto at = static_cast<unsigned>(from % ring_frames);
    const unsigned to_the_end = std::min(count, ring_frames - at);
    std::copy_n(ring + at, to_the_end, to);
    std::copy_n(ring, count - to_the_end, to + to_the_end);
  }

  std::unique_ptr<float[]> left_, right_;
  std::array<Run, 3> mailbox_;
  std::atomic<unsigned> between_{1};
  std::atomic<std::uint64_t> written_{0}, taken_{0}, first_{0};
  std::atomic<std::uint32_t> running_{0};
  std::atomic<std::int64_t> lead_{0};
  // the voice's
  unsigned mine_ = 0;
  std::uint32_t wanted_ = 0;
  bool is_new_ = false;
  // the worker's
  unsigned theirs_ = 2;
  Run run_;
};

}  // namespace vesk::sampler
