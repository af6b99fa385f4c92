#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "host/block.hpp"
#include "host/chain.hpp"
#include "host/state_saver.hpp"
#include "windows/windows.hpp"

namespace vesk::host {

/// What the main thread does while the render thread renders: it applies the parent's parameter
/// changes, serves its window requests, publishes which editors are open, saves the state of
/// plugins whose editors are, and notices when it should stop. Its end closes every editor, which
/// saves too, and code of views runs for the last time: the plugins must still be there. Main
/// thread only.
class Supervisor {
 public:
  /// `label` names the chain in messages. Requests posted before this are skipped.
  Supervisor(Block& block, Chain& chain, std::string label);

  /// Runs until the parent asks for the end or has gone itself.
  void run();

 private:
  using Clock = std::chrono::steady_clock;

  /// Acts on the slot of every entry from `read` up to the parent's `counter`, in order, and moves
  /// `read` along. Entries beyond the ring may be left for the next turn.
  template <class Act>
  void follow(const std::uint32_t& counter, std::uint32_t slots, std::uint32_t& read, Act act);
  void apply_parameters();
  void serve_windows();
  void open_editor(unsigned plugin, const char* title_field);
  void save_open_editors(std::uint32_t open_mask);

  Block& block_;
  Plugins& plugins_;
  std::string label_;
  StateSaver saver_;
  Windows windows_;
  Clock::time_point last_periodic_save_;
  std::uint32_t params_read_;
  std::uint32_t windows_read_;
};

}  // namespace vesk::host
