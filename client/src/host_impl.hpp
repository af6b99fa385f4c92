#pragma once

#include <poll.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "client/src/block_owner.hpp"
#include "client/src/child_process.hpp"
#include "client/src/line_store.hpp"
#include "client/src/options.hpp"
#include "client/src/parent_record.hpp"
#include "client/src/period_driver.hpp"
#include "client/src/placement.hpp"
#include "client/src/request_rings.hpp"
#include "client/src/watcher.hpp"
#include "vesk/host_process.hpp"

namespace vesk::client {

/// One host: its block, its process and what is known about them.
///
/// The driving thread uses `driver` and nothing else. All else is guarded by `mutex`, which the
/// control threads and the background thread hold for moments only, never while they wait for
/// the host.
struct HostImpl {
  HostImpl(const Options& options, unsigned plugins, std::unique_ptr<BlockOwner> block,
           std::unique_ptr<Placement> placement, std::unique_ptr<ParentRecord> record,
           std::shared_ptr<Watcher> watcher);
  ~HostImpl();

  static std::unique_ptr<HostImpl> spawn(const Options& options, std::string& error);

  // ---- Starting (start.cpp) ----
  bool wait_ready(std::string& error);

  // ---- Stopping (host_impl.cpp) ----
  Ending stop();
  Ending end_hung();
  std::string obituary();

  // ---- Background thread, under the watcher's lock. ----
  std::optional<std::int64_t> background_turn();
  void add_descriptors(std::vector<pollfd>& watched);

  /// Lets the host run on any CPU from now on.
  void spread();

  // ---- With `mutex` held. ----
  void drain_output();
  /// Whether the process has ended; what it leaves is taken on first sight.
  bool check_ended();
  std::string describe_ending() const;

  const Options options;
  const unsigned plugins;  // elements of the chain
  const std::unique_ptr<BlockOwner> block;
  const std::shared_ptr<Watcher> watcher;
  const std::unique_ptr<ParentRecord> record;  // null where the platform has none
  PeriodDriver driver;

  std::mutex mutex;
  std::unique_ptr<ChildProcess> child;
  std::unique_ptr<Placement> placement;
  PresetClaims presets;
  RequestRings rings;
  LineStore lines;
  LoadTimes load_times;
  double latency_seconds = 0;
  Ending ending;
  std::int64_t spawned_ns = 0;
  std::int64_t next_map_look_ns = 0;
  bool ended = false;
  bool killed = false;
  bool told_to_stop = false;
  std::string start_error;
  int render_thread = 0;
  int placed_cpu = PeriodDriver::unknown;
  bool spread_for_good = false;

 private:
  enum class StartLook { loading, ready, failed, ended };
  StartLook look_at_start();
  void unlink_when_mapped(std::uint32_t state);
  bool hears_host(std::chrono::nanoseconds limit);
  void note_listening();
  bool end_start(std::string& error, std::string reason);
  void apply_placement();
};

/// Gives the calling thread ordinary scheduling and the CPUs of the process, whatever the thread
/// that started it had.
void become_background_thread();

}  // namespace vesk::client
