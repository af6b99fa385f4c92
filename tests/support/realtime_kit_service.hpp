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
  const std::string& bus() const { return address_; }

  /// What MakeThreadRealtime was called with, and the caller's limits at that moment.
  struct Request {
    uint64_t thread;
    uint32_t priority;
    uint64_t soft_limit_us;
    uint64_t hard_limit_us;
  };
  std::optional<Request> request() const;

 private:
  void start_bus();
  void start_service(Mode mode);

  const ScratchFolder folder_;
  std::string address_;
  std::string why_not_;
  pid_t bus_ = -1;
  pid_t service_ = -1;
  int requests_ = -1;
};

}  // namespace vesk::tests
