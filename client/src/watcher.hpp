#pragma once

#include <poll.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "client/src/pipe.hpp"

namespace vesk::client {

struct HostImpl;

/// The one background thread for all hosts of this process: drains their standard error, sees
/// them end, sends what waits for their rings and moves them between CPUs. It lives as long as a
/// host does, takes no signal, and has ordinary scheduling; nothing on the audio path waits for it.
class Watcher {
 public:
  /// The running one, or a new one; null with a sentence in `error`.
  static std::shared_ptr<Watcher> shared(std::string& error);
  ~Watcher();
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

  void add(HostImpl& host);
  /// When this returns the thread does not touch the host any more.
  void remove(HostImpl& host);

  /// Wakes the thread. Any thread.
  void poke() const noexcept;
  /// A non-blocking descriptor; writing a byte pokes too, from the audio thread as well.
  int poke_descriptor() const noexcept { return poke_.write_end(); }

 private:
  Watcher() = default;
  void run();
  /// Looks at every host once: fills what to `poll`, and the time of the next look when one is due.
  /// False when the thread is to end.
  bool turn(std::vector<pollfd>& watched, std::optional<std::int64_t>& due);

  std::mutex mutex_;
  std::vector<HostImpl*> hosts_;
  bool ends_ = false;
  Pipe poke_;
  std::thread thread_;
};

}  // namespace vesk::client
