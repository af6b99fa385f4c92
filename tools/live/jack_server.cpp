#include "tools/live/jack_server.hpp"

#include <jack/midiport.h>
#include <jack/thread.h>

#include <algorithm>
#include <cmath>

namespace vesk::tools {
namespace {

using Clock = std::chrono::steady_clock;

/// libjack prints what this program says itself.
void keep_quiet(const char*) {}

std::string reason_of(jack_status_t status) {
  if ((status & JackServerFailed) != 0) return "no JACK server runs (jackd, or PipeWire's)";
  if ((status & JackVersionError) != 0) return "the JACK server is of another version";
  return "the JACK server takes no client (status " + std::to_string(status) + ")";
}

/// Names of ports; freed by libjack.
struct FreeNames {
  void operator()(const char** names) const { jack_free(names); }
};
using Names = std::unique_ptr<const char*, FreeNames>;

}  // namespace

std::unique_ptr<JackServer> JackServer::join(const std::string& name,
                                             const std::vector<ChainKind>& chains, double tempo,
                                             std::string& error) {
  jack_set_error_function(keep_quiet);
  jack_set_info_function(keep_quiet);
  jack_status_t status{};
  std::unique_ptr<JackServer> server(new JackServer);
  server->client_.reset(jack_client_open(name.c_str(), JackNoStartServer, &status));
  if (!server->client_) {
    error = reason_of(status);
    return nullptr;
  }
  server->tempo_ = tempo;
  server->sample_rate_ = jack_get_sample_rate(server->client_.get());
  server->period_ = jack_get_buffer_size(server->client_.get());
  if (!server->register_ports(chains)) {
    error = "the JACK server gives no more ports";
    return nullptr;
  }
  return server;
}

bool JackServer::register_ports(const std::vector<ChainKind>& chains) {
  ports_.resize(chains.size());
  events_.resize(chains.size());
  buffers_.resize(chains.size());
  bool has_all = true;
  const auto add = [&](const std::string& name, const char* type, JackPortFlags flags) {
    jack_port_t* port =
        jack_port_register(client_.get(), name.c_str(), type, static_cast<unsigned long>(flags), 0);
    has_all = has_all && port != nullptr;
    return port;
  };
  for (std::size_t i = 0; i < chains.size(); ++i) {
    // One chain needs no number.
    const std::string number = chains.size() > 1 ? std::to_string(i + 1) + "-" : "";
    if (chains[i].takes_midi)
      ports_[i].midi = add(number + "midi", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput);
    for (const int side : {0, 1}) {
      const std::string name = side == 0 ? "left" : "right";
      if (chains[i].takes_audio)
        ports_[i].input[side] =
            add(number + "in-" + name, JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput);
      ports_[i].output[side] =
          add(number + "out-" + name, JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput);
    }
  }
  return has_all;
}

JackServer::~JackServer() {
  stop();
}

int JackServer::priority() const {
  return jack_is_realtime(client_.get()) != 0
             ? std::max(jack_client_real_time_priority(client_.get()), 0)
             : 0;
}

std::string JackServer::name() const {
  return jack_get_client_name(client_.get());
}

bool JackServer::start(LiveGroup& group, std::string& error) {
  group_ = &group;
  jack_client_t* const client = client_.get();
  jack_set_process_callback(
      client,
      [](jack_nframes_t frames, void* self) {
        static_cast<JackServer*>(self)->play(frames);
        return 0;
      },
      this);
  jack_set_buffer_size_callback(
      client,
      [](jack_nframes_t frames, void* self) {
        static_cast<JackServer*>(self)->period_ = frames;
        return 0;
      },
      this);
  jack_set_sample_rate_callback(
      client,
      [](jack_nframes_t rate, void* self) {
        static_cast<JackServer*>(self)->sample_rate_ = rate;
        return 0;
      },
      this);
  jack_set_xrun_callback(
      client,
      [](void* self) {
        ++static_cast<JackServer*>(self)->server_misses_;
        return 0;
      },
      this);
  // Not the one that is told a reason: the PipeWire of Debian 12 never calls that.
  jack_on_shutdown(
      client,
      [](void* self) {
        static_cast<JackServer*>(self)->has_ended_.store(true, std::memory_order_release);
      },
      this);
  if (jack_activate(client) == 0) return true;
  error = "the JACK server does not let this client play";
  return false;
}

void JackServer::stop() {
  if (client_ && !has_ended()) jack_deactivate(client_.get());
}

bool JackServer::connect(std::string& error) {
  jack_client_t* const client = client_.get();
  const Names speakers(jack_get_ports(client, nullptr, JACK_DEFAULT_AUDIO_TYPE,
                                      JackPortIsPhysical | JackPortIsInput));
  const Names keys(jack_get_ports(client, nullptr, JACK_DEFAULT_MIDI_TYPE,
                                  JackPortIsPhysical | JackPortIsOutput));
  if (!speakers) {
    error = "the JACK server has no physical outputs to connect to";
    return false;
  }
  // One loudspeaker plays both sides.
  const char* const sides[] = {
      speakers.get()[0], speakers.get()[1] != nullptr ? speakers.get()[1] : speakers.get()[0]};
  for (const Ports& chain : ports_) {
    for (const int side : {0, 1})
      jack_connect(client, jack_port_name(chain.output[side]), sides[side]);
    if (chain.midi == nullptr || !keys) continue;
    for (const char** key = keys.get(); *key != nullptr; ++key)
      jack_connect(client, *key, jack_port_name(chain.midi));
  }
  return true;
}

CycleFigures JackServer::take_figures() {
  CycleFigures figures;
  const double period_ns = 1e9 * period() / std::max(sample_rate(), 1u);
  figures.cycles = static_cast<unsigned>(cycles_.exchange(0));
  const auto busy = static_cast<double>(busy_ns_.exchange(0));
  if (figures.cycles > 0) figures.mean = busy / figures.cycles / period_ns;
  figures.longest = static_cast<double>(longest_ns_.exchange(0)) / period_ns;
  figures.server_misses = server_misses_.exchange(0);
  return figures;
}

// The server's thread. libjack says of these calls that they may be made there, and no more.

#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wfunction-effects"

void JackServer::read_events(std::size_t chain, jack_nframes_t frames) noexcept VESK_REALTIME {
  buffers_[chain].events = {};
  if (ports_[chain].midi == nullptr) return;
  void* const buffer = jack_port_get_buffer(ports_[chain].midi, frames);
  const std::size_t count =
      std::min<std::size_t>(jack_midi_get_event_count(buffer), events_[chain].size());
  std::size_t kept = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    jack_midi_event_t event;
    // System messages are left out: a plugin is sent three bytes at most.
    if (jack_midi_event_get(&event, buffer, i) != 0 || event.size == 0 || event.size > 3 ||
        event.buffer[0] < 0x80 || event.buffer[0] >= 0xF0)
      continue;
    events_[chain][kept++] = {event.buffer[0], event.size > 1 ? event.buffer[1] : std::uint8_t{0},
                              event.size > 2 ? event.buffer[2] : std::uint8_t{0}, 0, event.time};
  }
  buffers_[chain].events = {events_[chain].data(), kept};
}

client::Transport JackServer::transport() noexcept VESK_REALTIME {
  jack_position_t position{};
  client::Transport transport;
  transport.playing = jack_transport_query(client_.get(), &position) == JackTransportRolling;
  transport.frame = position.frame;
  transport.tempo = tempo_;
  transport.beat = transport.frame * tempo_ / 60 / std::max<double>(position.frame_rate, 1);
  transport.bar_start = transport.beat - std::fmod(transport.beat, 4);
  if ((position.valid & JackPositionBBT) == 0 || position.beat_type <= 0 ||
      position.ticks_per_beat <= 0)
    return transport;
  // Its beats are those of the meter, ours are quarter notes.
  const double quarters = 4.0 / static_cast<double>(position.beat_type);
  const double beats_per_bar = static_cast<double>(position.beats_per_bar);
  transport.tempo = position.beats_per_minute * quarters;
  transport.beats_per_bar = beats_per_bar;
  transport.beat_unit = static_cast<unsigned>(position.beat_type);
  transport.bar_start = (position.bar - 1) * beats_per_bar * quarters;
  transport.beat = transport.bar_start +
                   (position.beat - 1 + position.tick / position.ticks_per_beat) * quarters;
  return transport;
}

void JackServer::play(jack_nframes_t frames) noexcept VESK_REALTIME {
  const auto begin = Clock::now();
  for (std::size_t chain = 0; chain < ports_.size(); ++chain) {
    for (const int side : {0, 1}) {
      const Ports& ports = ports_[chain];
      buffers_[chain].output[side] =
          static_cast<float*>(jack_port_get_buffer(ports.output[side], frames));
      if (ports.input[side] != nullptr)
        buffers_[chain].input[side] =
            static_cast<const float*>(jack_port_get_buffer(ports.input[side], frames));
    }
    read_events(chain, frames);
  }
  // Nine tenths of the period are ours; the server and its other clients need some of it as well.
  const auto limit = std::chrono::nanoseconds(
      static_cast<std::int64_t>(0.9e9 * frames / std::max(sample_rate(), 1u)));
  group_->play(frames, transport(), buffers_, limit);
  const std::int64_t busy_ns = std::chrono::nanoseconds(Clock::now() - begin).count();
  busy_ns_.fetch_add(busy_ns, std::memory_order_relaxed);
  longest_ns_.store(std::max(longest_ns_.load(std::memory_order_relaxed), busy_ns),
                    std::memory_order_relaxed);
  cycles_.fetch_add(1, std::memory_order_relaxed);
}

#pragma clang diagnostic pop

}  // namespace vesk::tools
