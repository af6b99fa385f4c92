#include "platform/linux/mach/realtime_threads.hpp"

#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>

#include "platform/linux/process/report.hpp"

#if __has_feature(realtime_sanitizer)
#include <sanitizer/rtsan_interface.h>
#endif

namespace vesk::platform {

namespace {

std::mutex g_mutex;
std::atomic<pid_t> g_threads[32];  // 0: free; the handler reads them without the lock

bool lives_here(pid_t thread) {
  return tgkill(getpid(), thread, 0) == 0;
}

void at_realtime_limit(int) {
#if __has_feature(realtime_sanitizer)
  // It interrupts real-time code, and takes its thread out of real time.
  const __rtsan::ScopedDisabler no_longer_real_time;
#endif
  const int saved_errno = errno;
  bool demoted = false;
  // The kernel interrupts the thread that used its time up, unless that one blocks the signal.
  const pid_t own = gettid();
  bool own_is_known = false;
  for (const std::atomic<pid_t>& entry : g_threads)
    own_is_known |= entry.load(std::memory_order_relaxed) == own;
  for (const std::atomic<pid_t>& entry : g_threads) {
    const pid_t thread = entry.load(std::memory_order_relaxed);
    if (thread == 0 || (own_is_known && thread != own)) continue;
    // An ended thread's id may by now be another process's.
    if (lives_here(thread)) demoted |= make_ordinary(thread);
  }
  if (demoted) report({"real-time limit reached, ordinary scheduling"});
  errno = saved_errno;
}

}  // namespace

void remember_realtime_thread(pid_t thread) {
  const std::lock_guard lock(g_mutex);
  std::atomic<pid_t>* place = nullptr;
  for (std::atomic<pid_t>& entry : g_threads) {
    const pid_t known = entry.load(std::memory_order_relaxed);
    if (known == thread) return;
    if (place == nullptr && (known == 0 || !lives_here(known))) place = &entry;
  }
  if (place != nullptr) place->store(thread, std::memory_order_relaxed);
}

void forget_realtime_thread(pid_t thread) {
  const std::lock_guard lock(g_mutex);
  for (std::atomic<pid_t>& entry : g_threads)
    if (entry.load(std::memory_order_relaxed) == thread) entry.store(0, std::memory_order_relaxed);
}

void catch_realtime_limit() {
  struct sigaction current = {};
  if (sigaction(SIGXCPU, nullptr, &current) != 0 || current.sa_handler != SIG_DFL) return;
  struct sigaction action = {};
  action.sa_handler = at_realtime_limit;
  action.sa_flags = SA_RESTART | SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  sigaction(SIGXCPU, &action, nullptr);
}

bool make_ordinary(pid_t thread) {
  // With the flag: an unprivileged thread that has it may not drop it.
  const sched_param none = {};
  return sched_setscheduler(thread, SCHED_OTHER | SCHED_RESET_ON_FORK, &none) == 0;
}

}  // namespace vesk::platform
