#pragma once

#include "platform/realtime.hpp"

namespace vesk::client {

/// A pipe with both ends in this process: neither blocks, and no child gets one by itself.
class Pipe {
 public:
  Pipe() = default;
  ~Pipe();
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  /// False with `errno`. A platform provides it.
  bool open() noexcept;

  int read_end() const noexcept { return ends_[0]; }
  int write_end() const noexcept { return ends_[1]; }
  /// The read end, now the caller's to close.
  int take_read_end() noexcept;

 private:
  int ends_[2] = {-1, -1};
};

/// Writes to a non-blocking descriptor (-1: nothing) so that its reader wakes.
void notify(int descriptor) noexcept VESK_REALTIME;

}  // namespace vesk::client
