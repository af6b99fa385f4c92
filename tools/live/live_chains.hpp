#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "spec/chain_text.hpp"
#include "tools/live/editors.hpp"
#include "tools/live/kept_presets.hpp"
#include "tools/live/live_group.hpp"
#include "tools/program/temporary_folder.hpp"

namespace vesk::tools {

/// Tells the user one thing.
using Say = std::function<void(const std::string& line)>;

/// What hosts are started for.
struct Pace {
  unsigned sample_rate = 0;  ///< Hz
  unsigned period = 0;       ///< frames
  int priority = 0;          ///< SCHED_FIFO, of the thread that plays; 0: none
};

/// Chains in hosts of their own, which are started again when they die, with their editors. One
/// thread, beside the one that plays `group()`.
class LiveChains {
 public:
  /// `presets` has kept the preset files of these chains, in their order, where editors are shown.
  LiveChains(std::vector<ChainElements> chains, bool shows_editors, KeptPresets& presets, Say say);

  /// Starts the hosts. `accompaniment` may be null, and must outlive this. False with a sentence in
  /// `error`.
  bool start(const Pace& pace, Accompaniment* accompaniment, std::string& error);
  LiveGroup& group() { return *group_; }
  /// Opens the editors, where they are to be shown.
  void open_editors();

  /// Tells what has become of hosts and editors, ends hosts that hang, and puts successors in the
  /// places of those that have died. Call often.
  void watch();
  /// Starts all hosts again for another sample rate, with the state that they have.
  void follow(const Pace& pace);
  /// Whether an editor is open, or will be.
  bool has_editors();
  /// Whether one ever was.
  bool has_shown_editors() const { return has_shown_editors_; }
  /// Whether no chain plays, nor ever will.
  bool are_silent() const;

  /// Stops the hosts, which saves. The group may not play any more. False with a sentence in
  /// `error` when the state of one could not be saved.
  bool stop(std::string& error);

 private:
  using Clock = std::chrono::steady_clock;

  struct Successor {
    std::unique_ptr<client::HostProcess> host;
    std::string failure;  ///< why there is none
  };

  /// What is known of a chain beside its host.
  struct Chain {
    ChainElements shown;                  ///< as messages and titles call it
    ChainElements elements;               ///< as hosts are given it
    EditorFailures failures;              ///< of its present host
    std::vector<Clock::time_point> ends;  ///< of the last minute
    bool is_opening = false;              ///< its editors
    bool is_given_up = false;             ///< it stays silent
    std::future<Successor> successor;     ///< while that one loads
  };

  client::Options options_for(const Chain& chain) const;
  void watch(std::size_t index);
  void end_if_hung(std::size_t index);
  void tell_news(std::size_t index);
  void give_up(std::size_t index, const std::string& reason);
  void begin_again(std::size_t index);
  void take_successor(std::size_t index);
  void open_editors(std::size_t index);

  const bool shows_editors_;
  KeptPresets& presets_;
  const Say say_;
  Pace pace_;
  /// State of plugins whose editors are open and that have no preset file.
  std::unique_ptr<TemporaryFolder> state_folder_;
  bool has_shown_editors_ = false;
  std::vector<Chain> chains_;
  std::unique_ptr<LiveGroup> group_;
};

}  // namespace vesk::tools
