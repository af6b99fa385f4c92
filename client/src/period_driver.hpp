#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <span>

#include "client/src/parent_record.hpp"
#include "client/src/thread_check.hpp"
#include "host/block.hpp"
#include "platform/realtime.hpp"
#include "vesk/host_process.hpp"

namespace vesk::client {

/// The driving thread's side of one block: sends periods and waits for their answers.
///
/// All that the driving thread touches is here. It needs a mapping and nothing else, so a test
/// can put a render loop of the same process on the other side.
///
/// Design: `block.render_request` is this side's counter and `block.render_done` the other's; a
/// period is pending while they differ, and as long as it is, the description and the buffers in
/// the block are the host's. The release store of the request publishes the description, the
/// acquire load of the answer makes the outputs readable. What other threads may read (or, for
/// `listening` and `gone`, write) is atomic and relaxed but for those two.
class PeriodDriver {
 public:
  struct Settings {
    unsigned max_frames = host::buffer_frames;
    /// Spin a bounded moment before sleeping (offline, more than one CPU).
    bool spins = false;
    /// Report the CPU of the thread that calls `render` for placement (real time).
    bool places = false;
    /// Written to when the place has changed; -1: nobody listens.
    int notify_descriptor = -1;
    /// Where the host is told how the song stands; null: it is not.
    ParentRecord* record = nullptr;
  };

  PeriodDriver(host::Block& block, const Settings& settings) noexcept
      : block_(block), settings_(settings) {}

  // ---- Control thread, before the host listens. ----

  /// Sends empty periods, one a call, until one is answered; true then. A request that was made
  /// before the render thread looked for the first time is its starting point and not answered.
  bool probe(std::chrono::nanoseconds limit) noexcept;
  /// The same without a period, from a host that has found its record: waits until that says so.
  bool await_announcement(std::chrono::nanoseconds limit) noexcept;

  // ---- Driving thread, real-time safe. ----

  std::span<float> input(unsigned channel) noexcept VESK_REALTIME {
    threads_.expect_driver();
    return {channel == 0 ? block_.input_left : block_.input_right, settings_.max_frames};
  }
  std::span<const float> output(unsigned channel) const noexcept VESK_REALTIME {
    threads_.expect_driver();
    return {channel == 0 ? block_.output_left : block_.output_right, settings_.max_frames};
  }
  Answer render(unsigned frames, double sample_time, std::span<const MidiEvent> events,
                std::chrono::nanoseconds limit) noexcept VESK_REALTIME;
  Answer request(unsigned frames, double sample_time,
                 std::span<const MidiEvent> events) noexcept VESK_REALTIME;
  Answer collect(std::chrono::nanoseconds limit) noexcept VESK_REALTIME;
  /// `collect` without spinning: a group's hosts need the CPUs.
  Answer collect_asleep(std::chrono::nanoseconds limit) noexcept VESK_REALTIME;
  /// Where the next period stands in the song, and those after it until the next call.
  void set_transport(const Transport& transport) noexcept VESK_REALTIME {
    threads_.expect_driver();
    transport_ = transport;
    has_transport_ = true;
  }
  bool is_pending() const noexcept VESK_REALTIME {
    threads_.expect_driver();
    return pending_;
  }

  // ---- Any thread. ----

  /// Which threads call, in debug builds.
  const ThreadCheck& threads() const noexcept { return threads_; }
  /// Whether an answer (to a probe) has been heard.
  bool is_listening() const noexcept VESK_REALTIME {
    return listening_.load(std::memory_order_acquire);
  }
  /// The host has ended: wakes a waiting driving thread.
  void mark_gone() noexcept;
  bool is_gone() const noexcept VESK_REALTIME { return gone_.load(std::memory_order_relaxed); }
  AnswerTimes answer_times() const noexcept VESK_REALTIME;
  /// When the pending period was sent, or 0.
  std::int64_t pending_since_ns() const noexcept {
    return sent_ns_.load(std::memory_order_relaxed);
  }

  /// Where the host should run: the CPU of the driving thread, `anywhere`, or `unknown` as yet.
  struct Place {
    int cpu;
    int driver;  ///< the driving thread's id
  };
  Place place() const noexcept {
    return {cpu_.load(std::memory_order_relaxed), driver_.load(std::memory_order_relaxed)};
  }
  static constexpr int anywhere = -1;
  static constexpr int unknown = -2;

 private:
  // The clock is read once at the head of a call and handed down.
  Answer send(unsigned frames, double sample_time, std::span<const MidiEvent> events,
              std::int64_t now) noexcept VESK_REALTIME;
  Answer wait(std::int64_t now, std::int64_t deadline, bool spin) noexcept VESK_REALTIME;
  bool spin_for_answer(std::int64_t start, std::int64_t deadline) noexcept VESK_REALTIME;
  bool look() noexcept VESK_REALTIME;
  void note_answer() noexcept VESK_REALTIME;
  void tell_transport() noexcept VESK_REALTIME;
  void note_place(int cpu) noexcept VESK_REALTIME;

  host::Block& block_;
  const Settings settings_;
  [[no_unique_address]] ThreadCheck threads_;

  // Driving thread only.
  std::uint32_t sent_ = 0;
  bool pending_ = false;
  float recent_us_ = 0;
  float spin_us_ = 0;
  unsigned away_ = 0;
  Transport transport_;
  bool was_playing_ = false;
  bool was_looping_ = false;
  bool has_transport_ = false;

  // Written by the driving thread, read by any.
  std::atomic<std::int64_t> sent_ns_{0};
  std::atomic<std::uint32_t> periods_{0};
  std::atomic<float> last_us_{0};
  std::atomic<float> shown_recent_us_{0};
  std::atomic<float> longest_us_{0};
  std::atomic<int> cpu_{unknown};
  std::atomic<int> driver_{0};

  // Written by other threads.
  std::atomic<bool> listening_{false};
  std::atomic<bool> gone_{false};
};

}  // namespace vesk::client
