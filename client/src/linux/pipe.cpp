#include "client/src/pipe.hpp"

#include <fcntl.h>
#include <unistd.h>

namespace vesk::client {

bool Pipe::open() noexcept {
  return pipe2(ends_, O_CLOEXEC | O_NONBLOCK) == 0;
}

}  // namespace vesk::client
