#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>

namespace vesk::platform {

/// RealtimeKit, the service on the system bus that gives real-time scheduling to processes that
/// may not take it.
///
/// The bus library is opened here and not before: most hosts never need it. All that one object
/// does takes at most 500 ms. Not real-time safe; one thread.
class RealtimeKit {
 public:
  /// Connects to `$DBUS_SYSTEM_BUS_ADDRESS` or the bus's usual socket.
  RealtimeKit();
  ~RealtimeKit();
  RealtimeKit(const RealtimeKit&) = delete;
  RealtimeKit& operator=(const RealtimeKit&) = delete;

  bool is_connected() const { return connection_ != nullptr; }

  struct Limits {
    int priority;        // the highest that is granted
    uint64_t rttime_us;  // what the hard RLIMIT_RTTIME may be
  };
  /// What the service says, its documented defaults (20, 200 ms) where it does not say.
  Limits limits();

  /// Asks for SCHED_RR with SCHED_RESET_ON_FORK; false when refused or not answered in time.
  bool make_realtime(pid_t thread, int priority);

 private:
  struct Bus;
  std::unique_ptr<Bus> bus_;
  void* connection_ = nullptr;
  uint64_t deadline_ns_;
};

}  // namespace vesk::platform
