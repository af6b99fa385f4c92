#include "client/src/pipe.hpp"

#include <fcntl.h>
#include <unistd.h>

namespace vesk::client {

bool Pipe::open() noexcept {
  if (pipe(ends_) != 0) return false;
  for (const int end : ends_) {
    fcntl(end, F_SETFD, FD_CLOEXEC);
    fcntl(end, F_SETFL, O_NONBLOCK);
  }
  return true;
}

}  // namespace vesk::client
