#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/realtime.hpp"
#include "vesk/host_process.hpp"

namespace vesk::client {

/// What one host is told beside the block: who we are, how we render and where the song stands; and
/// what it tells, namely that it listens. A platform provides it or has none.
class ParentRecord {
 public:
  /// Null without error where there is no such thing; null with `error` when it could not be made.
  static std::unique_ptr<ParentRecord> create(const Options& options, std::string& error);
  ~ParentRecord();
  ParentRecord(const ParentRecord&) = delete;
  ParentRecord& operator=(const ParentRecord&) = delete;

  /// The descriptors to hand to the host: of the record itself, and of the bell.
  int descriptor() const noexcept;
  int bell_descriptor() const noexcept;

  /// Whether the host has found the record: it will then say when it listens.
  bool is_attached() const noexcept;
  /// Holds the id of the host's render thread once each further request will be answered, 0 before;
  /// written by the host and woken then.
  const std::uint32_t& render_thread() const noexcept;

  /// Has the host's main loop look at the block. After every write to it that is for that loop. Any
  /// thread.
  void ring() const noexcept;

  /// Puts down where the next period stands; the driving thread, while none is unanswered.
  /// `changed`: it began or stopped to play or to loop since the last. Real-time safe.
  void write(const Transport& transport, bool changed) noexcept VESK_REALTIME;

 private:
  ParentRecord() = default;
  struct Memory;
  std::unique_ptr<Memory> memory_;
};

}  // namespace vesk::client
