#include "platform/host_process.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <initializer_list>

#include "platform/linux/process/characters.hpp"
#include "platform/linux/process/crash_report.hpp"
#include "platform/linux/process/parent.hpp"
#include "platform/linux/process/report.hpp"
#include "platform/linux/process/signal_stack.hpp"
#include "platform/linux/records/parent_record.hpp"
#include "platform/linux/records/workgroup_record.hpp"

namespace vesk::platform {

namespace {

/// Keeps a decimal comma out of the main thread: what a toolkit sets later with `setlocale` is the
/// process's locale, and this thread has its own, "C" in every category.
void pin_locale() {
  if (const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr)) uselocale(locale);
}

/// A standard descriptor that came closed would be given to the next file opened, perhaps a preset
/// that is being saved, and what is printed would end up in it.
void fill_standard_descriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (fcntl(descriptor, F_GETFD) == -1) open("/dev/null", O_RDWR);
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
  fill_standard_descriptors();
  set_report_label(label);
  keep_record_to_this_process();
  attach_parent_record();
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  pin_locale();
  install_signal_stack();
  report_crashes();
  start_parent_guard();
}

}  // namespace vesk::platform
