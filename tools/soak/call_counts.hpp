#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/soak/watch/counts.h"

namespace vesk::tools {

/// Counts of what a host's plugins call in their periods, by a library that is preloaded into it.
class CallCounts {
 public:
  /// For one host; `folder` holds the file that is shared with it. Null where calls cannot be
  /// watched: on macOS, in builds with sanitizers.
  static std::unique_ptr<CallCounts> create(const std::string& folder);
  ~CallCounts();
  CallCounts(const CallCounts&) = delete;
  CallCounts& operator=(const CallCounts&) = delete;

  /// What the host's environment must have.
  std::vector<std::string> environment() const;

  /// Whether the host counts.
  bool is_watched() const { return counts_->is_watched != 0; }

  /// Notes which kinds were called since the last look: once after each period.
  void look();

  /// How many periods called something of a kind, and how often in all.
  std::uint64_t periods(SoakCallKind kind) const { return periods_[kind]; }
  std::uint64_t count(SoakCallKind kind) const { return counts_->calls[kind].count; }

  /// "malloc, first from libfoo.so": the name of the first call, and the shared object that made it
  /// as far as that can be told, while the host lives.
  std::string first_call(SoakCallKind kind, int pid) const;

 private:
  CallCounts(std::string path, std::string library, const SoakCounts* counts);

  std::string path_;
  std::string library_;
  const SoakCounts* counts_;
  std::array<std::uint64_t, soak_call_kinds> seen_{};
  std::array<std::uint64_t, soak_call_kinds> periods_{};
};

}  // namespace vesk::tools
