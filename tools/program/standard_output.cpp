#include "tools/program/standard_output.hpp"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vesk::tools {

bool print(int descriptor, const std::string& text, std::string& error) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t count = write(descriptor, text.data() + done, text.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      error = "standard output cannot be written: " + std::generic_category().message(errno);
      return false;
    }
    done += static_cast<std::size_t>(count);
  }
  return true;
}

}  // namespace vesk::tools
