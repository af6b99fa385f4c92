#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/realtime.hpp"
#include "tools/live/accompaniment.hpp"
#include "vesk/host_group.hpp"

namespace vesk::tools {

/// What one chain is given and gives in one cycle. Channels are left and right; null for those that
/// it does not have.
struct ChainBuffers {
  const float* input[2] = {};
  float* output[2] = {};
  std::span<const client::MidiEvent> events;
};

/// Chains that are heard side by side. A host that dies is silence, and its successor is put in its
/// place while the others play on.
class LiveGroup {
 public:
  /// Each chain's first host, all of them ready. The first chain plays the accompaniment too,
  /// unless it is null; it must outlive this.
  explicit LiveGroup(std::vector<std::unique_ptr<client::HostProcess>> hosts,
                     Accompaniment* accompaniment = nullptr);

  // ---- The audio thread; real-time safe. ----

  /// Plays a cycle of any length; `limit` is for all of it. What does not answer is silent. Where
  /// an accompaniment knows its tempo, that is plugins' and not `transport`.
  void play(unsigned frames, client::Transport transport, std::span<ChainBuffers> chains,
            std::chrono::nanoseconds limit) noexcept VESK_REALTIME;

  // ---- One other thread. ----

  std::size_t size() const { return hosts_.size(); }
  /// The host that plays, or the one that has died.
  client::HostProcess& host(std::size_t chain) { return *hosts_[chain]; }
  /// Puts a ready host in the place of the chain's. Waits for a cycle at most `limit`, and goes on
  /// without when none comes, since then nobody plays.
  void replace(std::size_t chain, std::unique_ptr<client::HostProcess> host,
               std::chrono::milliseconds limit);
  /// Makes cycles silent, so that hosts can be stopped. Waits for one as `replace` does.
  void rest(std::chrono::milliseconds limit);
  void go_on() { rest_.store(0, std::memory_order_relaxed); }
  /// Cycles in which a chain had no answer in time, since the last call.
  unsigned take_missed() { return missed_.exchange(0, std::memory_order_relaxed); }
  /// Events that a chain could not be given, since the last call.
  unsigned take_lost_events() { return lost_events_.exchange(0, std::memory_order_relaxed); }

 private:
  /// Events that wait for their period: more than fit into one, or those of a late host.
  struct Queue {
    static constexpr std::size_t size = 1024;
    std::array<client::MidiEvent, size> events;
    std::size_t count = 0, sent = 0;
  };

  void take_successors() noexcept VESK_REALTIME;
  void play_piece(unsigned start, unsigned frames, std::span<ChainBuffers> chains,
                  std::chrono::nanoseconds limit) noexcept VESK_REALTIME;
  void queue(std::size_t chain, std::span<const client::MidiEvent> events, unsigned start,
             unsigned frames) noexcept VESK_REALTIME;
  void add(Queue& waiting, const client::MidiEvent& event) noexcept VESK_REALTIME;
  void fill_input(std::size_t chain, const ChainBuffers& buffers, unsigned start,
                  unsigned frames) noexcept VESK_REALTIME;
  bool copy_output(std::size_t chain, const ChainBuffers& buffers, unsigned start,
                   unsigned frames) noexcept VESK_REALTIME;

  std::vector<std::unique_ptr<client::HostProcess>> hosts_;
  client::HostGroup group_;
  std::vector<std::atomic<client::HostProcess*>> successors_;
  Accompaniment* const accompaniment_;
  // Rests have numbers: the one that is asked for (0: none), and the one that a cycle has made.
  std::atomic<unsigned> rest_{0}, rested_{0};
  unsigned last_rest_ = 0;

  // The audio thread.
  std::vector<Queue> queues_;
  Period song_;  // what the first chain plays along in this piece
  double time_ = 0;

  std::atomic<unsigned> missed_{0};
  std::atomic<unsigned> lost_events_{0};
};

}  // namespace vesk::tools
