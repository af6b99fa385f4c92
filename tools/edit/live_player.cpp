#include "tools/edit/live_player.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <span>
#include <utility>

#include "tools/midi/rounds.hpp"
#include "tools/midi/test_notes.hpp"

namespace vesk::tools {
namespace {

using client::Answer;
using Clock = std::chrono::steady_clock;

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
