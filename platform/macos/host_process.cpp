#include "platform/host_process.hpp"

#include <fcntl.h>
#include <unistd.h>
#include <xlocale.h>

#include <csignal>
#include <initializer_list>

namespace vesk::platform {

namespace {

/// A standard descriptor that came closed would be given to the next file opened, perhaps a preset
/// that is being saved, and what is printed would end up in it.
void fill_standard_descriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (fcntl(descriptor, F_GETFD) == -1) open("/dev/null", O_RDWR);
}

}  // namespace

// Crashes are reported by the system, with a stack of every thread, so the label is not needed.
void prepare_host_process(const char*) {
  fill_standard_descriptors();
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  // Toolkits set the process's locale; this thread keeps a decimal point.
  if (locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr)) uselocale(locale);
}

}  // namespace vesk::platform
