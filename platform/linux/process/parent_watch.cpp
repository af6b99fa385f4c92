#include "platform/parent_watch.hpp"

#include <poll.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>

#include "platform/linux/dispatch/run_loop.hpp"
#include "platform/linux/process/parent.hpp"
#include "platform/linux/records/parent_record.hpp"
#include "platform/linux/records/workgroup_record.hpp"

namespace vesk::platform {

namespace {

constexpr time_t seconds_to_stir = 5;
constexpr time_t seconds_to_save = 10;

// Set by the guard thread, so that the main thread's question costs no system call a turn.
std::atomic<bool> g_parent_ended = false;
std::atomic<bool> g_is_guarded = false;
std::atomic<bool> g_is_ending = false;
std::atomic<int> g_saves = 0;

pid_t find_parent() {
  const pid_t now = getppid();
  if (now == 0) return now;
  // A record is right even when the parent died before this process looked for the first time.
  if (const pid_t recorded = recorded_parent(); recorded > 0) return recorded;
  VeskWorkgroupRecord record;
  if (read_workgroup_record(VESK_WORKGROUP_DESCRIPTOR, &record) && record.parent > 0)
    return record.parent;
  return now;
}

bool is_orphan() {
  return getppid() != original_parent();
}

void sleep_seconds(time_t seconds) {
  timespec left = {seconds, 0};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

/// Returns when the parent has ended.
void await_end_of_parent() {
  // Open first, then compare: a parent that ended between the two is noticed, and the descriptor
  // keeps meaning that process though its id may be used again. -1 (no such process, an old
  // kernel, a sandbox) makes poll a plain sleep.
  const int parent = static_cast<int>(syscall(SYS_pidfd_open, original_parent(), 0));
  const int interval_ms = parent < 0 ? 1000 : -1;
  while (!is_orphan()) {
    pollfd watched = {.fd = parent, .events = POLLIN, .revents = 0};
    // Ready means ended, also while nobody has reaped it and it is still our parent by number.
    if (poll(&watched, 1, interval_ms) > 0) break;
  }
  if (parent >= 0) close(parent);
}

void* guard(void*) {
  await_end_of_parent();
  g_parent_ended.store(true, std::memory_order_relaxed);
  loop::wake_main_loop();
  sleep_seconds(seconds_to_stir);
  if (g_is_ending.load(std::memory_order_relaxed) || g_saves.load(std::memory_order_relaxed) > 0)
    sleep_seconds(seconds_to_save);
  // Not `exit`: whatever holds the main thread may hold locks that an orderly end needs.
  _exit(1);
}

}  // namespace

pid_t original_parent() {
  static const pid_t parent = find_parent();
  return parent;
}

bool parent_has_gone() {
  return g_is_guarded.load(std::memory_order_relaxed)
             ? g_parent_ended.load(std::memory_order_relaxed)
             : is_orphan();
}

void announce_end() {
  g_is_ending.store(true, std::memory_order_relaxed);
}

SaveUnderWay::SaveUnderWay() {
  g_saves.fetch_add(1, std::memory_order_relaxed);
}

SaveUnderWay::~SaveUnderWay() {
  g_saves.fetch_sub(1, std::memory_order_relaxed);
}

void start_parent_guard() {
  // Now, on this thread: asked later, the kernel may already name the one who adopted us.
  g_parent_ended.store(is_orphan(), std::memory_order_relaxed);
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return;
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_attr_setstacksize(&attributes, 64 * 1024);
  // The process's signals are for its other threads.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  pthread_t thread;
  // Without the thread the host still ends by `parent_has_gone`, unless it is stuck.
  const bool started = pthread_create(&thread, &attributes, guard, nullptr) == 0;
  g_is_guarded.store(started, std::memory_order_relaxed);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  pthread_attr_destroy(&attributes);
}

}  // namespace vesk::platform
