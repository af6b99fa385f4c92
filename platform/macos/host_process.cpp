#include "platform/host_process.hpp"

#include <xlocale.h>
#include <csignal>

namespace vesk::platform {

// Crashes are reported by the system, with a stack of every thread, so the label is not needed.
void prepare_host_process(const char*) {
  std::signal(SIGPIPE, SIG_IGN);
  // Toolkits set the process's locale; this thread keeps a decimal point.
  if (locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr)) uselocale(locale);
}

}  // namespace vesk::platform
