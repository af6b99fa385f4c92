#include "client/src/pipe.hpp"

#include <unistd.h>

#include <utility>

#include "client/src/realtime_escape.hpp"

namespace vesk::client {

Pipe::~Pipe() {
  for (const int end : ends_)
    if (end >= 0) close(end);
}

int Pipe::take_read_end() noexcept {
  return std::exchange(ends_[0], -1);
}

void notify(int descriptor) noexcept VESK_REALTIME {
  if (descriptor < 0) return;
  // The descriptor is non-blocking; when it is full its reader has been notified already.
  VESK_TRUSTED_CALL;
  const char byte = 0;
  [[maybe_unused]] const ssize_t written = write(descriptor, &byte, 1);
}

}  // namespace vesk::client
