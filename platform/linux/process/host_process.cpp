#include "platform/host_process.hpp"

#include "platform/linux/process/characters.hpp"
#include "platform/linux/process/crash_report.hpp"
#include "platform/linux/process/parent.hpp"
#include "platform/linux/process/report.hpp"
#include "platform/linux/process/signal_stack.hpp"
#include "platform/linux/workgroup/record.hpp"

#include <fcntl.h>
#include <clocale>
#include <csignal>

namespace vesk::platform {

namespace {

/// Keeps a decimal comma out of the main thread: what a toolkit sets later with `setlocale` is the
/// process's locale, and this thread has its own, "C" in every category.
void pin_locale() {
  if (const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr)) uselocale(locale);
}

/// Programs that a plugin starts are not hosts of this parent.
void keep_record_to_this_process() {
  if (is_workgroup_record(VESK_WORKGROUP_DESCRIPTOR))
    fcntl(VESK_WORKGROUP_DESCRIPTOR, F_SETFD, FD_CLOEXEC);
}

}  // namespace

void follow_environment_characters() {
  if (const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr)) uselocale(locale);
}

void prepare_host_process(const char* label) {
  set_report_label(label);
  keep_record_to_this_process();
  std::signal(SIGPIPE, SIG_IGN);
  pin_locale();
  install_signal_stack();
  report_crashes();
  guard_against_orphanhood();
}

}  // namespace vesk::platform
