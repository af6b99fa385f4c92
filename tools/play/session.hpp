#pragma once

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "tools/play/arguments.hpp"
#include "tools/play/jack_server.hpp"
#include "tools/play/live_group.hpp"
#include "tools/program/temporary_folder.hpp"

namespace vesk::tools {

/// Chains that play until somebody interrupts, and are started again when they die.
class Session {
 public:
  explicit Session(const PlayArguments& arguments);
  ~Session();

  /// Plays. False with a sentence in `error` when it cannot begin, or the server ends.
  bool run(std::string& error);

 private:
  using Clock = std::chrono::steady_clock;

  struct Successor {
    std::unique_ptr<client::HostProcess> host;
    std::string failure;  ///< why there is none
  };

  /// What is known of a chain beside its host.
  struct Chain {
    ChainElements elements;               ///< as hosts are given them
    std::string label;                    ///< as messages call it
    std::vector<Clock::time_point> ends;  ///< of the last minute
    bool is_given_up = false;
    std::future<Successor> successor;  ///< while that one loads
  };

  bool start_hosts(std::string& error);
  client::Options options_for(const Chain& chain) const;
  void watch(std::size_t index);
  void begin_again(std::size_t index);
  void take_successor(std::size_t index);
  void open_editors(std::size_t index);
  void follow_server();
  void show_status();
  void sum_up();
  void say(const std::string& line);

  const PlayArguments& arguments_;
  std::vector<Chain> chains_;
  /// Of plugins whose editors are open and that have no preset file.
  std::unique_ptr<TemporaryFolder> state_folder_;
  unsigned sample_rate_ = 0;
  std::unique_ptr<LiveGroup> group_;
  std::unique_ptr<JackServer> server_;  // first to go: it plays the group
  bool has_status_ = false;
  Clock::time_point next_status_{};
  unsigned missed_ = 0, server_misses_ = 0, lost_events_ = 0;
  std::uint64_t cycles_ = 0;
};

}  // namespace vesk::tools
