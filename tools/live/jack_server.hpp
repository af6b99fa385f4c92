#pragma once

#include <jack/jack.h>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/realtime.hpp"
#include "tools/live/live_group.hpp"

namespace vesk::tools {

/// What a chain has ports for: audio out always.
struct ChainKind {
  bool takes_audio = false;
  bool takes_midi = false;
};

/// How busy the cycles were since the last look.
struct CycleFigures {
  double longest = 0;  ///< the longest cycle, as a share of its period
  double mean = 0;
  unsigned cycles = 0;
  unsigned server_misses = 0;  ///< periods that the server says it missed
};

/// A client of a JACK server, with the ports of several chains.
class JackServer {
 public:
  /// Joins the server that runs; it is not started. Null with a sentence in `error`.
  static std::unique_ptr<JackServer> join(const std::string& name,
                                          const std::vector<ChainKind>& chains, double tempo,
                                          std::string& error);
  ~JackServer();
  JackServer(const JackServer&) = delete;
  JackServer& operator=(const JackServer&) = delete;

  unsigned sample_rate() const { return sample_rate_.load(std::memory_order_relaxed); }
  unsigned period() const { return period_.load(std::memory_order_relaxed); }
  /// SCHED_FIFO priority of the thread that plays; 0: the server has no real-time policy.
  int priority() const;
  /// The name that the server gave, which may have a number behind it.
  std::string name() const;

  /// Plays from now on. `group` must have as many chains, and outlive this or `stop`.
  bool start(LiveGroup& group, std::string& error);
  void stop();
  /// Outputs to the first two that are physical, MIDI from all that are. False with a sentence when
  /// there is nothing to connect to.
  bool connect(std::string& error);

  bool has_ended() const { return has_ended_.load(std::memory_order_acquire); }
  CycleFigures take_figures();

 private:
  struct Ports {
    jack_port_t* input[2] = {};
    jack_port_t* midi = nullptr;
    jack_port_t* output[2] = {};
  };
  /// Events of a cycle, as plugins take them.
  using Events = std::array<client::MidiEvent, 1024>;

  JackServer() = default;
  bool register_ports(const std::vector<ChainKind>& chains);
  void read_events(std::size_t chain, jack_nframes_t frames) noexcept VESK_REALTIME;
  client::Transport transport() noexcept VESK_REALTIME;
  void play(jack_nframes_t frames) noexcept VESK_REALTIME;

  struct Close {
    void operator()(jack_client_t* client) const { jack_client_close(client); }
  };
  std::vector<Ports> ports_;
  std::vector<Events> events_;
  std::vector<ChainBuffers> buffers_;
  double tempo_ = 120;
  LiveGroup* group_ = nullptr;
  std::atomic<unsigned> sample_rate_{0}, period_{0};
  std::atomic<bool> has_ended_{false};
  std::atomic<std::int64_t> busy_ns_{0}, longest_ns_{0}, cycles_{0};
  std::atomic<unsigned> server_misses_{0};
  std::unique_ptr<jack_client_t, Close> client_;  // first to go: it calls this
};

}  // namespace vesk::tools
