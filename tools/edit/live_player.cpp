#include "tools/edit/live_player.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <optional>
#include <span>
#include <utility>

#include "tools/edit/test_notes.hpp"
#include "tools/midi/period_events.hpp"

namespace vesk::tools {
namespace {

using client::Answer;
using host::MidiEvent;
using Clock = std::chrono::steady_clock;

constexpr std::size_t channels = 16;

/// What is still held when a song ends must not sound into its next round.
std::array<MidiEvent, channels> all_notes_off() {
  std::array<MidiEvent, channels> events{};
  for (std::size_t channel = 0; channel < channels; ++channel) {
    events[channel].status = static_cast<std::uint8_t>(0xB0 + channel);
    events[channel].data1 = 123;
  }
  return events;
}

/// The periods of a song that begins again when it has ended.
class Rounds {
 public:
  Rounds(const Song& song, double sample_rate)
      : song_(song), sample_rate_(sample_rate), events_(std::in_place, song, sample_rate) {}

  Period next(std::uint32_t longest) {
    if (song_.events.empty()) return {longest};
    const double seconds = static_cast<double>(frame_) / sample_rate_;
    if (events_->is_done() && seconds >= song_.length_seconds) {
      events_.emplace(song_, sample_rate_);
      frame_ = 0;
      return {longest, silence_};
    }
    const Period period = events_->next(longest);
    frame_ += period.frames;
    return period;
  }

 private:
  const Song& song_;
  double sample_rate_;
  std::optional<PeriodEvents> events_;
  std::uint64_t frame_ = 0;
  const std::array<MidiEvent, channels> silence_ = all_notes_off();
};

}  // namespace

LivePlayer::LivePlayer(client::HostProcess& host, Song song, bool as_tones)
    : host_(host),
      song_(std::move(song)),
      as_tones_(as_tones),
      period_(host.options().period_frames),
      sample_rate_(host.options().sample_rate_hz),
      thread_([this] { run(); }) {}

LivePlayer::~LivePlayer() {
  ends_.store(true, std::memory_order_relaxed);
  thread_.join();
}

void LivePlayer::listen(std::uint32_t frames) {
  float peak = peak_.load(std::memory_order_relaxed);
  for (const unsigned channel : {0u, 1u})
    for (const float sample : host_.output(channel).first(frames))
      if (std::isfinite(sample))
        peak = std::max(peak, std::abs(sample));
      else
        has_bad_samples_.store(true, std::memory_order_relaxed);
  peak_.store(peak, std::memory_order_relaxed);
}

void LivePlayer::run() {
  const auto length_of = [this](std::uint32_t frames) {
    return std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(frames / sample_rate_));
  };
  Rounds rounds(song_, sample_rate_);
  PluckedTone tone(sample_rate_);
  auto due = Clock::now();
  bool is_sent = true;
  Period period;
  for (double time = 0.0; !ends_.load(std::memory_order_relaxed); time += period.frames) {
    // What a late host could not be given is given again: a lost note-off sounds on.
    if (is_sent) period = rounds.next(period_);
    if (as_tones_ && is_sent && !host_.is_pending()) {
      tone.play(period.events, host_.input(0).first(period.frames));
      std::ranges::copy(host_.input(0).first(period.frames), host_.input(1).begin());
    }
    if (period.transport) host_.set_transport(*period.transport);
    const Answer answer = host_.render(period.frames, time, period.events, length_of(period_));
    if (answer == Answer::host_gone || answer == Answer::refused) return;
    is_sent = answer != Answer::not_sent;
    if (answer == Answer::answered) listen(period.frames);
    due += length_of(period.frames);
    // After a pause of the whole machine there is nothing to catch up with.
    if (Clock::now() - due > std::chrono::seconds(1)) due = Clock::now();
    std::this_thread::sleep_until(due);
  }
}

}  // namespace vesk::tools
