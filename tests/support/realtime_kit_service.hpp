#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

#include "tests/support/scratch_folder.hpp"

namespace vesk::tests {

/// A bus of the test's own with RealtimeKit's service on it, in a process each, until destruction.
/// MaxRealtimePriority is 15 and RTTimeUSecMax 100000.
class RealtimeKitService {
 public:
  enum Mode { grants, refuses_grants, is_silent, is_missing };

  explicit RealtimeKitService(Mode mode);
  ~RealtimeKitService();
  RealtimeKitService(const RealtimeKitService&) = delete;
  RealtimeKitService& operator=(const RealtimeKitService&) = delete;

  /// Why there is no bus, empty when there is one.
  const std::string& why_not() const { return why_not_; }
  const std::string& bus() const { return bus_; }

  /// What MakeThreadRealtime was called with, and the caller's limits at that moment.
  struct Request {
    uint64_t thread;
    uint32_t priority;
    uint64_t soft_limit_us;
    uint64_t hard_limit_us;
  };
  std::optional<Request> request() const;

 private:
  const ScratchFolder folder_;
  const std::string bus_;
  std::string why_not_;
  pid_t processes_[2] = {};  // the bus and the service
};

}  // namespace vesk::tests
