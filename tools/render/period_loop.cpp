#include "tools/render/period_loop.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <vector>

#include "tools/hosting/host_words.hpp"
#include "tools/program/interruption.hpp"
#include "tools/program/progress_bar.hpp"

namespace vesk::tools {
namespace {

using client::Answer;
using client::HostProcess;
using Clock = std::chrono::steady_clock;

// Long enough for any plugin that works, short enough for a person who waits.
constexpr auto longest_answer = std::chrono::seconds(10);
constexpr auto look_interval = std::chrono::milliseconds(100);

// Frames that may wait to be measured and written, and how many are taken at a time.
constexpr std::size_t longest_backlog_frames = 16384;
constexpr std::size_t work_slice_frames = 64;
// Of the time that a host takes, this much is not used: a slice of work lasts some microseconds and
// no two periods cost the same, while a host that has to be woken costs tens of them.
constexpr auto unused_time = std::chrono::microseconds(6);
constexpr std::chrono::nanoseconds longest_allowance = std::chrono::milliseconds(10);

std::string clock_text(double seconds) {
  char text[48];
  const auto minutes = static_cast<long long>(seconds / 60.0);
  std::snprintf(text, sizeof text, "%lld:%06.3f", minutes,
                seconds - 60.0 * static_cast<double>(minutes));
  return text;
}

/// Drives one host through the song, one period ahead: while the host renders a period, what came
/// before it is measured and written and the one after it is made ready.
///
/// A host that finds no new period goes to sleep, and waking it costs as much as rendering one. So
/// the work on what came back stops short of the time that the host takes for a period, and the
/// answer is awaited, not found. What cannot be worked off in that time gathers in a backlog, which
/// is emptied at one go when it has grown.
class PeriodLoop {
 public:
  PeriodLoop(HostProcess& host, const ChainElements& chain, SongSource& source, SongSink& sink,
             std::uint32_t period, bool is_quiet)
      : host_(host),
        chain_(chain),
        source_(source),
        sink_(sink),
        period_(period),
        progress_("rendering", !is_quiet) {}

  RenderOutcome run(std::string& error) {
    const auto start = Clock::now();
    if (!source_.prepare(period_, error) || !send(error)) return RenderOutcome::failed;
    while (!sink_.is_over()) {
      if (!source_.prepare(period_, error)) return RenderOutcome::failed;
      if (!work_while_host_renders(error)) return RenderOutcome::failed;
      if (const RenderOutcome outcome = collect(error); outcome != RenderOutcome::done)
        return outcome;
      keep_output();
      if (!send(error)) return RenderOutcome::failed;
      was_drained_ = backlog_[0].size() - done_ >= longest_backlog_frames;
      if (was_drained_ && !work(2 * longest_backlog_frames, error)) return RenderOutcome::failed;
      show_progress(start);
    }
    return RenderOutcome::done;
  }

  /// Periods whose output has been collected.
  std::uint64_t periods() const { return collected_; }

 private:
  bool send(std::string& error) {
    if (!source_.left().empty()) {
      std::ranges::copy(source_.left(), host_.input(0).begin());
      std::ranges::copy(source_.right(), host_.input(1).begin());
    }
    if (source_.transport()) host_.set_transport(*source_.transport());
    const auto sample_time = static_cast<double>(sent_frames_);
    if (host_.request(source_.frames(), sample_time, source_.events()) != Answer::answered) {
      error = ending_at(sent_frames_);
      return false;
    }
    last_sent_ = Clock::now();
    pending_frames_ = source_.frames();
    sent_frames_ += pending_frames_;
    return true;
  }

  /// Puts the period's output behind what waits already.
  void keep_output() {
    for (unsigned side : {0u, 1u}) {
      std::vector<float>& waiting = backlog_[side];
      if (done_ >= longest_backlog_frames)
        waiting.erase(waiting.begin(), waiting.begin() + static_cast<std::ptrdiff_t>(done_));
      const auto output = host_.output(side).first(pending_frames_);
      waiting.insert(waiting.end(), output.begin(), output.end());
    }
    if (done_ >= longest_backlog_frames) done_ = 0;
  }

  /// Measures and writes at most `frames` frames of the backlog.
  bool work(std::size_t frames, std::string& error) {
    frames = std::min(frames, backlog_[0].size() - done_);
    if (!sink_.take(&backlog_[0][done_], &backlog_[1][done_], static_cast<std::uint32_t>(frames),
                    source_.end_frame(), error)) {
      return false;
    }
    done_ += frames;
    if (done_ == backlog_[0].size()) {
      for (std::vector<float>& side : backlog_) side.clear();
      done_ = 0;
    }
    return true;
  }

  bool work_while_host_renders(std::string& error) {
    while (done_ < backlog_[0].size() && Clock::now() - last_sent_ < allowance_ - unused_time)
      if (!work(work_slice_frames, error)) return false;
    return true;
  }

  /// Keeps the allowance just below what the host takes: an answer that was there already says that
  /// it was too long, and that the host has gone to sleep meanwhile. Never from the measured times:
  /// they hold the waking as well.
  void adapt_allowance(bool came_too_late) {
    allowance_ += came_too_late ? -allowance_ / 8 : allowance_ / 512 + std::chrono::nanoseconds(10);
    // Where answers never come early, more time than anyone needs would grow without end.
    allowance_ = std::min(allowance_, longest_allowance);
  }

  RenderOutcome collect(std::string& error) {
    const auto start = Clock::now();
    Answer answer = host_.collect(std::chrono::nanoseconds(0));
    if (!was_drained_) adapt_allowance(answer == Answer::answered);
    for (;; answer = host_.collect(look_interval)) {
      if (interruption() != 0) return RenderOutcome::interrupted;
      if (answer == Answer::answered) {
        ++collected_;
        return RenderOutcome::done;
      }
      if (answer != Answer::timed_out) {
        error = ending_at(sent_frames_ - pending_frames_);
        return RenderOutcome::failed;
      }
      if (Clock::now() - start > longest_answer) {
        const bool spins = host_.diagnose() == client::Health::hung_spinning;
        error = "no answer for 10 seconds to " + place(sent_frames_ - pending_frames_) + ": " +
                hung_plugin() +
                (spins ? " does not come back from its work"
                       : " waits for something that does not come");
        return RenderOutcome::failed;
      }
    }
  }

  /// Ends the host, which tells where it hangs as far as it can.
  std::string hung_plugin() {
    host_.end_hung();
    const auto plugin = blamed_plugin(host_.obituary(), chain_);
    return plugin ? name_in_chain(chain_, *plugin) : "a plugin";
  }

  /// The period after those that were collected, which starts at `frame`.
  std::string place(std::uint64_t frame) const {
    return "period " + std::to_string(collected_) + " (at " +
           clock_text(static_cast<double>(frame) / source_.sample_rate()) + ")";
  }

  std::string ending_at(std::uint64_t frame) const {
    std::string reason = by_name(host_.obituary(), chain_);
    if (reason.empty()) reason = "the host took no more periods";
    return place(frame) + ": " + reason;
  }

  void show_progress(Clock::time_point start) {
    if (!progress_.is_due()) return;
    const double rate = source_.sample_rate();
    const double done = static_cast<double>(sink_.frames_written()) / rate;
    const double whole =
        std::max(1.0 / rate, static_cast<double>(source_.expected_frames()) / rate);
    char note[64];
    std::snprintf(
        note, sizeof note, "%s, %.0f times as fast as played", clock_text(done).c_str(),
        done / std::max(1e-6, std::chrono::duration<double>(Clock::now() - start).count()));
    progress_.show(done / whole, done > whole ? std::string(note) + ", ringing out" : note);
  }

  HostProcess& host_;
  const ChainElements& chain_;
  SongSource& source_;
  SongSink& sink_;
  std::uint32_t period_;
  std::array<std::vector<float>, 2> backlog_;  // left, right
  std::size_t done_ = 0;                       // frames of it that have been worked off
  bool was_drained_ = false;  // since the last period was sent: its answer tells nothing
  Clock::time_point last_sent_;
  std::chrono::nanoseconds allowance_{20'000};  // reckoned time of the host for a period
  std::uint64_t sent_frames_ = 0;
  std::uint32_t pending_frames_ = 0;  // of the period that was sent last
  std::uint64_t collected_ = 0;       // periods
  ProgressBar progress_;
};

}  // namespace

RenderOutcome run_periods(HostProcess& host, const ChainElements& chain, SongSource& source,
                          SongSink& sink, std::uint32_t period, bool is_quiet,
                          std::uint64_t& periods, std::string& error) {
  PeriodLoop loop(host, chain, source, sink, period, is_quiet);
  const RenderOutcome outcome = loop.run(error);
  periods = loop.periods();
  return outcome;
}

}  // namespace vesk::tools
