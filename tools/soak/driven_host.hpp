#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/soak/call_counts.hpp"
#include "tools/soak/life.hpp"
#include "tools/soak/signal_source.hpp"
#include "vesk/host_process.hpp"

namespace vesk::tools {

/// A host with the component of a life in it, whose every answer is looked at. What goes wrong ends
/// the life with the right words; all that can fail is then false.
class DrivenHost {
 public:
  struct Settings {
    client::Mode mode = client::Mode::offline;
    int rate = usual_rate;
    unsigned max_frames = 512;
    unsigned period = 512;
    bool watches_calls = false;
    std::string preset_path = {};
    std::vector<std::string> environment = {};
  };

  /// Loads the component; null when it cannot be, and then the life has ended.
  static std::unique_ptr<DrivenHost> start(Life& life, const Settings& settings);

  ~DrivenHost();

  /// A period of notes or noise, and one of rest.
  bool play(unsigned frames);
  bool rest(unsigned frames);
  /// So many seconds of notes or noise in usual periods.
  bool play_seconds(double seconds);
  /// A period whose input is in place.
  bool render(unsigned frames, std::span<const client::MidiEvent> events);

  /// Sends parameters, which `value_of` gives, and waits until they have been taken.
  bool set_parameters(const std::function<float(const ParameterDescription&)>& value_of);
  /// Waits until the host has taken what it was sent.
  bool settle();

  /// Stops the host.
  bool close();

  client::HostProcess& host() { return *host_; }
  const Settings& settings() const { return settings_; }

 private:
  DrivenHost(Life& life, Settings settings, ChainElements chain, std::unique_ptr<CallCounts> counts,
             std::unique_ptr<client::HostProcess> host);
  bool listen(unsigned frames);
  bool end_of_host();
  void tell_calls();

  Life& life_;
  const Settings settings_;
  const ChainElements chain_;  ///< as the host names it
  std::unique_ptr<CallCounts> counts_;
  std::unique_ptr<client::HostProcess> host_;
  SignalSource source_;
  double time_ = 0;
  std::uint64_t periods_ = 0;
};

/// What a plugin may be set to by hand: writable, with limits. `at` is 0..1 between them.
float value_within(const ParameterDescription& parameter, double at);
bool can_be_set(const ParameterDescription& parameter);

}  // namespace vesk::tools
