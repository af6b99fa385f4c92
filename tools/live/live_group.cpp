#include "tools/live/live_group.hpp"

#include <algorithm>
#include <cmath>
#include <thread>

namespace vesk::tools {
namespace {

using client::Answer;
using client::MidiEvent;
using std::chrono::nanoseconds;
using Clock = std::chrono::steady_clock;

constexpr unsigned longest_piece = host::buffer_frames;
constexpr std::size_t events_of_a_period = host::max_midi_events;

/// Looks until it is so, or the time is up.
void wait_until(std::chrono::milliseconds limit, const auto& is_so) {
  const auto deadline = Clock::now() + limit;
  while (!is_so() && Clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

}  // namespace

LiveGroup::LiveGroup(std::vector<std::unique_ptr<client::HostProcess>> hosts,
                     Accompaniment* accompaniment)
    : hosts_(std::move(hosts)),
      successors_(hosts_.size()),
      accompaniment_(accompaniment),
      queues_(hosts_.size()) {
  for (const auto& host : hosts_) group_.add(*host);
}

void LiveGroup::replace(std::size_t chain, std::unique_ptr<client::HostProcess> host,
                        std::chrono::milliseconds limit) {
  // Placed among the CPUs as a member of the group would be.
  client::HostGroup().add(*host);
  successors_[chain].store(host.get(), std::memory_order_release);
  wait_until(limit, [&] { return successors_[chain].load(std::memory_order_acquire) == nullptr; });
  // Nobody has taken it: no cycle is under way, and none will begin while this is exchanged.
  if (client::HostProcess* left = successors_[chain].exchange(nullptr)) group_[chain].host = left;
  std::swap(hosts_[chain], host);
}

void LiveGroup::rest(std::chrono::milliseconds limit) {
  rest_.store(++last_rest_, std::memory_order_relaxed);
  wait_until(limit, [&] { return rested_.load(std::memory_order_acquire) == last_rest_; });
}

void LiveGroup::take_successors() noexcept VESK_REALTIME {
  for (std::size_t chain = 0; chain < successors_.size(); ++chain) {
    client::HostProcess* const next = successors_[chain].load(std::memory_order_acquire);
    if (next == nullptr) continue;
    group_[chain].host = next;
    // What its predecessor was not given is of the past.
    queues_[chain].count = 0;
    successors_[chain].store(nullptr, std::memory_order_release);
  }
}

void LiveGroup::play(unsigned frames, client::Transport transport, std::span<ChainBuffers> chains,
                     nanoseconds limit) noexcept VESK_REALTIME {
  if (const unsigned rest = rest_.load(std::memory_order_relaxed); rest != 0) {
    for (const ChainBuffers& chain : chains)
      for (float* const output : chain.output)
        if (output != nullptr) std::fill_n(output, frames, 0.0f);
    // Release: whatever was done with the hosts in earlier cycles.
    return rested_.store(rest, std::memory_order_release);
  }
  take_successors();
  const double beats_a_frame = transport.frame > 0 ? transport.beat / transport.frame : 0;
  unsigned piece = 0;
  for (unsigned start = 0; start < frames; start += piece) {
    piece = std::min(frames - start, longest_piece);
    song_ = accompaniment_ != nullptr ? accompaniment_->next(piece) : Period{piece};
    piece = song_.frames;
    group_.set_transport(song_.transport.value_or(transport));
    play_piece(start, piece, chains, limit * piece / frames);
    transport.frame += piece;
    transport.beat += piece * beats_a_frame;
  }
}

void LiveGroup::play_piece(unsigned start, unsigned frames, std::span<ChainBuffers> chains,
                           nanoseconds limit) noexcept VESK_REALTIME {
  for (std::size_t chain = 0; chain < chains.size(); ++chain) {
    client::HostGroup::Member& member = group_[chain];
    queue(chain, chains[chain].events, start, frames);
    Queue& waiting = queues_[chain];
    waiting.sent = std::min(waiting.count, events_of_a_period);
    member.events = {waiting.events.data(), waiting.sent};
    if (!member.host->is_pending()) fill_input(chain, chains[chain], start, frames);
  }
  group_.request(frames, time_);
  group_.collect(limit);
  time_ += frames;
  bool has_missed = false;
  for (std::size_t chain = 0; chain < chains.size(); ++chain) {
    Queue& waiting = queues_[chain];
    if (group_[chain].events.empty()) {
      std::copy(waiting.events.begin() + static_cast<std::ptrdiff_t>(waiting.sent),
                waiting.events.begin() + static_cast<std::ptrdiff_t>(waiting.count),
                waiting.events.begin());
      waiting.count -= waiting.sent;
    }
    has_missed |= !copy_output(chain, chains[chain], start, frames);
  }
  if (has_missed) missed_.fetch_add(1, std::memory_order_relaxed);
}

void LiveGroup::fill_input(std::size_t chain, const ChainBuffers& buffers, unsigned start,
                           unsigned frames) noexcept VESK_REALTIME {
  const auto tones =
      chain == 0 && accompaniment_ != nullptr ? accompaniment_->tones() : std::span<const float>{};
  for (const unsigned side : {0u, 1u}) {
    const float* const input = buffers.input[side];
    if (input == nullptr) continue;
    const std::span<float> target = group_[chain].host->input(side).first(frames);
    std::copy_n(input + start, frames, target.begin());
    for (std::size_t i = 0; i < tones.size(); ++i) target[i] += tones[i];
  }
}

/// Adds the events of this piece. What has waited since an earlier one is due at once.
void LiveGroup::queue(std::size_t chain, std::span<const MidiEvent> events, unsigned start,
                      unsigned frames) noexcept VESK_REALTIME {
  Queue& waiting = queues_[chain];
  for (std::size_t i = 0; i < waiting.count; ++i) waiting.events[i].offset = 0;
  for (MidiEvent event : events) {
    if (event.offset < start || event.offset - start >= frames) continue;
    event.offset -= start;
    add(waiting, event);
  }
  if (chain == 0)
    for (const MidiEvent& event : song_.events) add(waiting, event);
}

/// At its time, behind those that are there for the same one.
void LiveGroup::add(Queue& waiting, const MidiEvent& event) noexcept VESK_REALTIME {
  if (waiting.count == Queue::size) {
    lost_events_.fetch_add(1, std::memory_order_relaxed);
    return;
  }
  std::size_t place = waiting.count++;
  for (; place > 0 && waiting.events[place - 1].offset > event.offset; --place)
    waiting.events[place] = waiting.events[place - 1];
  waiting.events[place] = event;
}

/// False when a living host had no answer in time.
bool LiveGroup::copy_output(std::size_t chain, const ChainBuffers& buffers, unsigned start,
                            unsigned frames) noexcept VESK_REALTIME {
  const client::HostGroup::Member& member = group_[chain];
  const bool has_answered = member.answer == Answer::answered;
  for (const unsigned side : {0u, 1u}) {
    float* const output = buffers.output[side];
    if (output == nullptr) continue;
    // What is not finite would reach a loudspeaker.
    if (has_answered)
      std::ranges::transform(member.host->output(side).first(frames), output + start,
                             [](float sample) { return std::isfinite(sample) ? sample : 0.0f; });
    else
      std::fill_n(output + start, frames, 0.0f);
  }
  return has_answered || member.answer == Answer::host_gone;
}

}  // namespace vesk::tools
