#include "client/src/linux/host_places.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace vesk::client {

int above_places(int descriptor) noexcept {
  if (descriptor < 0 || descriptor > last_place) return descriptor;
  const int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, last_place + 1);
  const int error = errno;
  close(descriptor);
  errno = error;
  return copy;
}

}  // namespace vesk::client
