#include "platform/linux/audio_toolbox/diagnostics.hpp"

#include <unistd.h>

namespace vesk::platform {

void print_line(const std::string& message) {
  const std::string line = "plugin host: " + message + "\n";
  // A closed standard error is nobody's concern here.
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace vesk::platform
