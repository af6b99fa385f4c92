#include "host/diagnostics.hpp"

#include <unistd.h>

#include <string>

namespace vesk::host {

void print_line(std::string_view line) {
  std::string text(line);
  text += '\n';
  // A closed or full standard error is nobody's loss: there is no other place to say so.
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace vesk::host
