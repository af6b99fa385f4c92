#include "client/src/period_driver.hpp"

#include <algorithm>

#include "client/src/address_wait.hpp"
#include "client/src/deadline.hpp"
#include "client/src/pipe.hpp"
#include "client/src/placement.hpp"
#include "host/atomics.hpp"

namespace vesk::client {

using std::chrono::nanoseconds;

namespace {

/// No period of a parent has a negative time, so a plugin that looks takes a probe for what it is:
/// something before the start.
constexpr double probe_time = -1e15;

/// The end of the host is told by a wake that may come just before the driving thread sleeps; it
/// looks again after this long.
constexpr std::int64_t wait_slice_ns = 10'000'000;

/// Waking a host that sleeps on another CPU takes about 40 us. A parent that stops spinning before
/// that sleeps itself when the answer comes. Its next request is then so late that the host sleeps
/// again, and every period costs two wakes.
constexpr float wake_us = 50;
/// A longer spin is not worth the CPU time.
constexpr float longest_spin_us = 200;
/// A shorter spin is left out.
constexpr float shortest_spin_us = 4;
/// Spins in vain make the next ones shorter; after this many periods the full length is tried
/// again.
constexpr std::uint32_t spin_retry_periods = 64;

float full_spin_us(float recent_us) noexcept {
  return std::min(2 * recent_us + wake_us, longest_spin_us);
}

/// A thread not seen on its CPU for this many periods in a row has moved for good.
constexpr unsigned moved_for_good_periods = 8;

}  // namespace

bool PeriodDriver::probe(nanoseconds limit) noexcept {
  if (sent_ == 0) {
    block_.frames = 0;
    block_.midi_count = 0;
    block_.sample_time = probe_time;
  }
  const std::uint32_t done = host::load_acquire(block_.render_done);
  // Once one has been heard, no more are sent: the rest will be answered.
  if (done == 0) {
    host::store_release(block_.render_request, ++sent_);
    wake_one(block_.render_request);
  }
  wait_while(block_.render_done, done, limit);
  if (host::load_acquire(block_.render_done) != sent_) return false;
  listening_.store(true, std::memory_order_release);
  return true;
}

bool PeriodDriver::await_announcement(nanoseconds limit) noexcept {
  const std::uint32_t& thread = settings_.record->render_thread();
  if (host::load_acquire(thread) == 0) wait_while(thread, 0, limit);
  if (host::load_acquire(thread) == 0) return false;
  listening_.store(true, std::memory_order_release);
  return true;
}

Answer PeriodDriver::render(unsigned frames, double sample_time, std::span<const MidiEvent> events,
                            nanoseconds limit) noexcept VESK_REALTIME {
  const DrivingCall call(threads_);
  std::int64_t now = now_ns();
  const std::int64_t deadline = deadline_after(now, limit);
  if (pending_) {
    const Answer earlier = wait(now, deadline, settings_.spins);
    if (earlier == Answer::timed_out) return Answer::not_sent;
    if (earlier != Answer::answered) return earlier;
    now = now_ns();
  }
  if (settings_.places) note_place(current_cpu());
  const Answer sent = send(frames, sample_time, events, now);
  return sent == Answer::answered ? wait(now, deadline, settings_.spins) : sent;
}

Answer PeriodDriver::request(unsigned frames, double sample_time,
                             std::span<const MidiEvent> events) noexcept VESK_REALTIME {
  const DrivingCall call(threads_);
  if (settings_.places) note_place(anywhere);
  return send(frames, sample_time, events, now_ns());
}

Answer PeriodDriver::collect(nanoseconds limit) noexcept VESK_REALTIME {
  const DrivingCall call(threads_);
  const std::int64_t now = now_ns();
  return wait(now, deadline_after(now, limit), settings_.spins);
}

Answer PeriodDriver::collect_asleep(nanoseconds limit) noexcept VESK_REALTIME {
  const DrivingCall call(threads_);
  const std::int64_t now = now_ns();
  return wait(now, deadline_after(now, limit), false);
}

Answer PeriodDriver::send(unsigned frames, double sample_time, std::span<const MidiEvent> events,
                          std::int64_t now) noexcept VESK_REALTIME {
  if (is_gone()) return Answer::host_gone;
  if (!is_listening() || frames > settings_.max_frames || events.size() > host::max_midi_events)
    return Answer::refused;
  // The description is the host's until it has answered.
  if (pending_ && !look()) return Answer::not_sent;
  block_.frames = frames;
  block_.sample_time = sample_time;
  block_.midi_count = static_cast<std::uint32_t>(events.size());
  std::copy(events.begin(), events.end(), block_.midi);
  tell_transport();
  sent_ = host::load_relaxed(block_.render_request) + 1;
  sent_ns_.store(now, std::memory_order_relaxed);
  pending_ = true;
  host::store_release(block_.render_request, sent_);
  wake_one(block_.render_request);
  return Answer::answered;
}

void PeriodDriver::tell_transport() noexcept VESK_REALTIME {
  if (!has_transport_ || settings_.record == nullptr) return;
  const bool changed = transport_.playing != was_playing_ || transport_.looping != was_looping_;
  was_playing_ = transport_.playing;
  was_looping_ = transport_.looping;
  settings_.record->write(transport_, changed);
}

Answer PeriodDriver::wait(std::int64_t now, std::int64_t deadline,
                          bool spin) noexcept VESK_REALTIME {
  if (!pending_ || look()) return Answer::answered;
  if (spin) {
    if (spin_for_answer(now, deadline)) return Answer::answered;
    now = now_ns();
  }
  for (;;) {
    const std::uint32_t done = host::load_acquire(block_.render_done);
    if (done == sent_) {
      note_answer();
      return Answer::answered;
    }
    if (is_gone()) return Answer::host_gone;
    if (now >= deadline) return Answer::timed_out;
    wait_while(block_.render_done, done, nanoseconds(std::min(wait_slice_ns, deadline - now)));
    if (look()) return Answer::answered;
    now = now_ns();
  }
}

bool PeriodDriver::spin_for_answer(std::int64_t start,
                                   std::int64_t deadline) noexcept VESK_REALTIME {
  const std::uint32_t periods = periods_.load(std::memory_order_relaxed);
  if (periods % spin_retry_periods == 0) spin_us_ = full_spin_us(recent_us_);
  if (spin_us_ < shortest_spin_us) return false;
  const std::int64_t end =
      std::min(deadline, start + static_cast<std::int64_t>(spin_us_ * 1000.0f));
  while (now_ns() < end) {
    if (!look()) continue;
    spin_us_ = full_spin_us(recent_us_);
    return true;
  }
  // In vain: the host takes longer, or waits for the CPU on which this thread spins.
  spin_us_ /= 2;
  return false;
}

bool PeriodDriver::look() noexcept VESK_REALTIME {
  if (host::load_acquire(block_.render_done) != sent_) return false;
  note_answer();
  return true;
}

void PeriodDriver::note_answer() noexcept VESK_REALTIME {
  pending_ = false;
  const std::int64_t sent = sent_ns_.exchange(0, std::memory_order_relaxed);
  const float us = static_cast<float>(now_ns() - sent) / 1000.0f;
  const std::uint32_t periods = periods_.load(std::memory_order_relaxed);
  recent_us_ = periods == 0 ? us : recent_us_ + (us - recent_us_) / 16;
  shown_recent_us_.store(recent_us_, std::memory_order_relaxed);
  last_us_.store(us, std::memory_order_relaxed);
  if (us > longest_us_.load(std::memory_order_relaxed))
    longest_us_.store(us, std::memory_order_relaxed);
  periods_.store(periods + 1, std::memory_order_relaxed);
}

void PeriodDriver::note_place(int cpu) noexcept VESK_REALTIME {
  if (cpu == cpu_.load(std::memory_order_relaxed)) {
    away_ = 0;
    return;
  }
  if (++away_ < moved_for_good_periods) return;
  away_ = 0;
  // The background thread moves the host: the system calls for that may sleep.
  driver_.store(current_thread(), std::memory_order_relaxed);
  cpu_.store(cpu, std::memory_order_relaxed);
  notify(settings_.notify_descriptor);
}

void PeriodDriver::mark_gone() noexcept {
  gone_.store(true, std::memory_order_relaxed);
  wake_one(block_.render_done);
}

AnswerTimes PeriodDriver::answer_times() const noexcept VESK_REALTIME {
  AnswerTimes times;
  times.periods = periods_.load(std::memory_order_relaxed);
  times.last_us = last_us_.load(std::memory_order_relaxed);
  times.recent_us = shown_recent_us_.load(std::memory_order_relaxed);
  times.longest_us = longest_us_.load(std::memory_order_relaxed);
  return times;
}

}  // namespace vesk::client
