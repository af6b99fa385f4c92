// Running: what a pass does and how a loop waits.

#include <linux/futex.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>

#include "platform/linux/dispatch/loop.hpp"

namespace vesk::platform::loop {

constinit std::mutex mutex;

namespace {

constinit std::atomic<Loop*> the_main_loop{nullptr};
/// Whether `main_loop_descriptor` has been asked for, so that somebody waits elsewhere.
constinit std::atomic<bool> is_watched{false};

Loop& main_loop() {
  Loop* loop = the_main_loop.load(std::memory_order_acquire);
  if (loop) return *loop;
  // Two first callers: one loop stays, the other goes.
  Loop* made = cf::make<Loop>(0, true);
  if (the_main_loop.compare_exchange_strong(loop, made, std::memory_order_acq_rel)) return *made;
  CFRelease(made);
  return *loop;
}

/// The loop of a thread other than the main one ends with the thread.
struct ThreadLoop {
  Loop* loop = nullptr;
  ~ThreadLoop() {
    if (!loop) return;
    std::vector<Timer*> timers;
    {
      std::lock_guard lock(mutex);
      timers.swap(loop->timers);
      for (Timer* timer : timers) timer->loop = nullptr;
    }
    for (Timer* timer : timers) CFRelease(timer);
    CFRelease(loop);
  }
};

Loop& current_loop() {
  if (is_main_thread()) return main_loop();
  thread_local ThreadLoop own;
  if (!own.loop) own.loop = cf::make<Loop>(0, false);
  return *own.loop;
}

/// Whether the main queue is part of this run.
bool serves_main_queue(const Loop& loop) {
  return loop.is_main && !is_draining_main_queue();
}

/// Whether nothing is there that a look could find. A loop that merely waits, as that of a host
/// without editors does a hundred times a second, then touches little that its sleep left cold.
bool is_quiet(Loop& loop, std::uint64_t time) {
  if (loop.is_main && (main_queue_has_work(time) || main_queue_deadline() != UINT64_MAX))
    return false;
  std::lock_guard lock(mutex);
  return loop.timers.empty();
}

bool is_empty(Loop& loop) {
  if (serves_main_queue(loop)) return false;
  std::lock_guard lock(mutex);
  return loop.timers.empty();
}

/// When the loop must look again, at the latest at `deadline`; 0 when there is work already.
std::uint64_t next_look(Loop& loop, std::uint64_t time, std::uint64_t deadline) {
  std::uint64_t next = deadline;
  if (serves_main_queue(loop)) {
    if (main_queue_has_work(time)) return 0;
    next = std::min(next, main_queue_deadline());
  }
  std::lock_guard lock(mutex);
  for (const Timer* timer : loop.timers) next = std::min(next, timer->due);
  return next;
}

/// Takes a wake back, if one came.
void take_wake(Loop& loop) {
  if (loop.is_wake_pending.load(std::memory_order_relaxed) == 0) return;
  std::uint64_t ignored;
  if (loop.is_main) [[maybe_unused]]
    const ssize_t size = ::read(loop.wake_descriptor, &ignored, sizeof ignored);
  // Acquire: pairs with the waker's exchange, so that its change is seen from here on.
  loop.is_wake_pending.exchange(0, std::memory_order_acq_rel);
}

/// The moment at which a wait until `until` ends: up to a fifth of the wait later, where the clock
/// of every process shows a round number. The turns of many idle hosts then share their wake-ups,
/// and each costs a fourth less. (The kernel's own slack does that as well, but is two more calls a
/// turn, since threads inherit it and it must not be left on.)
std::uint64_t shared_moment(std::uint64_t until, std::uint64_t left) {
  std::uint64_t grid = 1;
  while (grid < 10'000'000 && grid * 50 <= left) grid *= 10;
  return until / grid < UINT64_MAX / grid ? (until + grid - 1) / grid * grid : until;
}

/// Waits until `until` or a wake; whether the time was up.
bool wait(Loop& loop, std::uint64_t time, std::uint64_t until) {
  if (until <= time) return false;
  const std::uint64_t moment = shared_moment(until, until - time);
  const timespec deadline{static_cast<time_t>(moment / 1000000000),
                          static_cast<long>(moment % 1000000000)};
  const long result =
      ::syscall(SYS_futex, &loop.is_wake_pending, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, 0,
                until != UINT64_MAX ? &deadline : nullptr, nullptr, FUTEX_BITSET_MATCH_ANY);
  return result != 0 && errno == ETIMEDOUT;
}

CFRunLoopRunResult run(Loop& loop, std::uint64_t deadline, bool returns_after_source) {
  while (true) {
    take_wake(loop);
    const std::uint64_t time = now();
    const bool quiet = is_quiet(loop, time);
    if (!quiet) {
      ++loop.pass;
      const bool has_handled = serves_main_queue(loop) && drain_main_queue(time);
      fire_timers(loop, time);
      if (has_handled && returns_after_source) return kCFRunLoopRunHandledSource;
    }
    if (is_empty(loop)) return kCFRunLoopRunFinished;
    if (time >= deadline) return kCFRunLoopRunTimedOut;
    const bool is_over = wait(loop, time, quiet ? deadline : next_look(loop, time, deadline));
    // Nobody woke it and nothing was due before: there is nothing to look for either.
    if (is_over && quiet) return kCFRunLoopRunTimedOut;
  }
}

std::uint64_t deadline_after(CFTimeInterval seconds) {
  if (!(seconds > 0)) return 0;
  constexpr double longest = 1e9;  // three decades: for ever
  return seconds > longest ? UINT64_MAX
                           : now() + static_cast<std::uint64_t>(std::llround(seconds * 1e9));
}

}  // namespace

std::uint64_t now() {
  timespec time;
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<std::uint64_t>(time.tv_sec) * 1000000000u +
         static_cast<std::uint64_t>(time.tv_nsec);
}

bool is_main_thread() {
  thread_local const bool is_main = ::gettid() == ::getpid();
  return is_main;
}

bool is_default_mode(CFStringRef mode) {
  // Objective-C code has the mode under a name of its own.
  return mode == kCFRunLoopDefaultMode || CFEqual(mode, kCFRunLoopDefaultMode) ||
         CFEqual(mode, CFSTR("NSDefaultRunLoopMode"));
}

Loop::Loop(bool is_main_)
    : Object(type_of, cf::plain),
      is_main(is_main_),
      thread(::pthread_self()),
      wake_descriptor(is_main ? ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC) : -1) {}

Loop::~Loop() {
  if (wake_descriptor >= 0) ::close(wake_descriptor);
}

void wake(Loop& loop) {
  // Release: what was changed before is visible to the waiter that takes the flag back.
  if (loop.is_wake_pending.exchange(1, std::memory_order_acq_rel) != 0) return;
  const std::uint64_t one = 1;
  if (loop.is_main) [[maybe_unused]]
    const ssize_t size = ::write(loop.wake_descriptor, &one, sizeof one);
  ::syscall(SYS_futex, &loop.is_wake_pending, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

bool is_own(const Loop& loop) {
  return loop.is_main ? is_main_thread() : pthread_equal(loop.thread, pthread_self()) != 0;
}

void wake_for_timers(Loop& loop) {
  if (!is_own(loop) || (loop.is_main && is_watched.load(std::memory_order_acquire))) wake(loop);
}

void wake_main_loop() {
  wake(main_loop());
}

int wake_descriptor() {
  return main_loop().wake_descriptor;
}

}  // namespace vesk::platform::loop

namespace vesk::platform {

int main_loop_descriptor() {
  loop::is_watched.store(true, std::memory_order_release);
  return loop::main_loop().wake_descriptor;
}

std::uint64_t next_deadline() {
  const loop::Loop& main_loop = loop::main_loop();
  std::uint64_t next = loop::main_queue_deadline();
  std::lock_guard lock(loop::mutex);
  for (const loop::Timer* timer : main_loop.timers)
    if (timer->due < loop::Timer::never) next = std::min(next, timer->due);
  return next;
}

void service_once() {
  CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false);
}

const cf::TypeOperations cf::run_loop_operations{"CFRunLoop", destroy<loop::Loop>, nullptr, nullptr,
                                                 nullptr};

}  // namespace vesk::platform

using namespace vesk::platform;

const CFRunLoopMode kCFRunLoopDefaultMode = CFSTR("kCFRunLoopDefaultMode");
const CFRunLoopMode kCFRunLoopCommonModes = CFSTR("kCFRunLoopCommonModes");

CFRunLoopRef CFRunLoopGetCurrent(void) {
  return cf::as_ref<CFRunLoopRef>(&loop::current_loop());
}

CFRunLoopRef CFRunLoopGetMain(void) {
  return cf::as_ref<CFRunLoopRef>(&loop::main_loop());
}

CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds,
                                      Boolean returnAfterSourceHandled) {
  if (!loop::is_default_mode(mode)) return kCFRunLoopRunFinished;
  return loop::run(loop::current_loop(), loop::deadline_after(seconds), returnAfterSourceHandled);
}

void CFRunLoopWakeUp(CFRunLoopRef ref) {
  if (auto* loop = cf::own<loop::Loop>(ref)) loop::wake(*loop);
}
