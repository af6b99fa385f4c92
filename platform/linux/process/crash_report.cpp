#include "platform/linux/process/crash_report.hpp"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <exception>

#include "platform/linux/process/current_call.hpp"
#include "platform/linux/process/report.hpp"

namespace vesk::platform {

namespace {

#ifdef VESK_SANITIZER
constexpr bool sanitizer_reports = true;
#else
constexpr bool sanitizer_reports = false;
#endif

struct NamedSignal {
  int number;
  const char* name;
};
constexpr NamedSignal crash_signals[] = {
    {SIGSEGV, "SIGSEGV"}, {SIGBUS, "SIGBUS"},   {SIGFPE, "SIGFPE"}, {SIGILL, "SIGILL"},
    {SIGABRT, "SIGABRT"}, {SIGTRAP, "SIGTRAP"}, {SIGSYS, "SIGSYS"},
};

std::atomic<pid_t> g_crashing = 0;

const char* name_of(int number) {
  for (const NamedSignal& crash : crash_signals)
    if (crash.number == number) return crash.name;
  return "unknown signal";
}

void report_end(const char* cause) {
  const CurrentCall call = current_call();
  if (call.phase != nullptr)
    report({"plugin ", Digits(call.plugin).text(), " died in ", call.phase, ": ", cause});
  else
    report({"died outside its plugins: ", cause});
}

void at_crash(int number) {
  const pid_t own = gettid();
  pid_t none = 0;
  if (!g_crashing.compare_exchange_strong(none, own, std::memory_order_relaxed) && none != own) {
    // Another thread crashes at this moment; its signal ends the process.
    for (;;) pause();
  }
  if (none == 0) report_end(name_of(number));
  // The status must be the signal. It is blocked in here and taken when the handler returns; a
  // fault would also come again by itself, a signal that was sent would not.
  std::signal(number, SIG_DFL);
  tgkill(getpid(), own, number);
}

std::terminate_handler g_terminate = nullptr;

void at_terminate() {
  blame_thrower();
  g_terminate();  // says what was thrown, and aborts
  std::abort();
}

void at_exit() {
  if (current_call().phase != nullptr) report_end("exit");
}

}  // namespace

void report_crashes() {
  if constexpr (sanitizer_reports) return;
  struct sigaction action = {};
  action.sa_handler = at_crash;
  action.sa_flags = SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  for (const NamedSignal& crash : crash_signals) sigaction(crash.number, &action, nullptr);
  g_terminate = std::set_terminate(at_terminate);
  std::atexit(at_exit);
}

}  // namespace vesk::platform
