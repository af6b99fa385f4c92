// Running: what a pass does and how a loop waits.

#include <Block.h>
#include <linux/futex.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>

#include "platform/linux/core_foundation/object.hpp"
#include "platform/linux/dispatch/run_loop_items.hpp"

namespace vesk::platform::loop {

constinit std::mutex mutex;

namespace {

constinit std::vector<CFStringRef>* mode_names = nullptr;  // bit 1 and up
constinit std::atomic<Loop*> the_main_loop{nullptr};

ModeSet named_mode(CFStringRef mode) {
  constexpr std::size_t most = 30;
  if (!mode_names) mode_names = new std::vector<CFStringRef>;
  for (std::size_t i = 0; i < mode_names->size(); ++i)
    if (CFEqual((*mode_names)[i], mode)) return ModeSet{2} << i;
  if (mode_names->size() == most) return 0;
  mode_names->push_back(CFStringCreateCopy(nullptr, mode));
  return ModeSet{2} << (mode_names->size() - 1);
}

/// The loop of a thread other than the main one ends with the thread.
struct ThreadLoop {
  Loop* loop = nullptr;
  ~ThreadLoop() {
    if (!loop) return;
    std::vector<Timer*> timers;
    std::vector<Loop::SourceEntry> sources;
    std::vector<Loop::Block> blocks;
    {
      std::lock_guard lock(mutex);
      timers.swap(loop->timers);
      sources.swap(loop->sources);
      blocks.swap(loop->blocks);
      for (Timer* timer : timers) timer->loop = nullptr;
      for (const Loop::SourceEntry& entry : sources) std::erase(entry.source->loops, loop);
    }
    for (Timer* timer : timers) CFRelease(timer);
    for (const Loop::SourceEntry& entry : sources) CFRelease(entry.source);
    for (const Loop::Block& entry : blocks) Block_release(entry.block);
    CFRelease(loop);
  }
};

bool run_blocks(Loop& loop, ModeSet mode) {
  std::vector<Loop::Block> due;
  {
    std::lock_guard lock(mutex);
    if (loop.blocks.empty()) return false;
    std::vector<Loop::Block> later;
    for (const Loop::Block& entry : loop.blocks)
      (loop.serves(entry.modes, mode) ? due : later).push_back(entry);
    loop.blocks.swap(later);
  }
  for (const Loop::Block& entry : due) {
    entry.block();
    Block_release(entry.block);
  }
  return !due.empty();
}

/// Whether the main queue is part of this run.
bool serves_main_queue(const Loop& loop, ModeSet mode) {
  return loop.is_main && (loop.common & mode) != 0 && !is_draining_main_queue();
}

/// One look at everything but descriptors; whether a source was handled.
bool make_pass(Loop& loop, ModeSet mode, std::uint64_t time) {
  ++loop.pass;
  run_blocks(loop, mode);
  bool has_handled = perform_sources(loop, mode);
  if (serves_main_queue(loop, mode)) has_handled |= drain_main_queue(time);
  fire_timers(loop, mode, time);
  return has_handled;
}

bool is_empty(Loop& loop, ModeSet mode) {
  if (serves_main_queue(loop, mode)) return false;
  if (loop.is_main && (loop.common & mode) != 0 && has_descriptors()) return false;
  std::lock_guard lock(mutex);
  const auto serves = [&](const auto& item) { return loop.serves(item.modes, mode); };
  return std::none_of(loop.timers.begin(), loop.timers.end(),
                      [&](const Timer* timer) { return serves(*timer); }) &&
         std::none_of(loop.sources.begin(), loop.sources.end(), serves) &&
         std::none_of(loop.blocks.begin(), loop.blocks.end(), serves);
}

/// When the loop must look again, at the latest at `deadline`; 0 when there is work already.
std::uint64_t next_look(Loop& loop, ModeSet mode, std::uint64_t time, std::uint64_t deadline) {
  std::uint64_t next = deadline;
  if (serves_main_queue(loop, mode)) {
    if (main_queue_has_work(time)) return 0;
    next = std::min(next, main_queue_deadline());
  }
  std::lock_guard lock(mutex);
  for (const Timer* timer : loop.timers)
    if (loop.serves(timer->modes, mode)) next = std::min(next, timer->due);
  for (const Loop::Block& entry : loop.blocks)
    if (loop.serves(entry.modes, mode)) return 0;
  for (const Loop::SourceEntry& entry : loop.sources) {
    if (loop.serves(entry.modes, mode) &&
        entry.source->is_signalled.load(std::memory_order_relaxed)) {
      return 0;
    }
  }
  return next;
}

/// Whether nothing is there that a look could find. A loop that merely waits, as that of a host
/// without editors does a hundred times a second, then touches little that its sleep left cold.
bool is_quiet(Loop& loop, std::uint64_t time) {
  if (loop.is_main && (main_queue_has_work(time) || main_queue_deadline() != UINT64_MAX))
    return false;
  std::lock_guard lock(mutex);
  return loop.timers.empty() && loop.sources.empty() && loop.blocks.empty();
}

enum class Woken { in_time, by_descriptor, when_time_was_up };

timespec to_timespec(std::uint64_t nanoseconds) {
  return {static_cast<time_t>(nanoseconds / 1000000000),
          static_cast<long>(nanoseconds % 1000000000)};
}

/// Takes a wake back, if one came.
void take_wake(Loop& loop) {
  std::uint64_t ignored;
  [[maybe_unused]] const ssize_t size = ::read(loop.wake_descriptor, &ignored, sizeof ignored);
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

/// Waits for a wake alone. The word of the flag costs less than a poll of the descriptor beside
/// it: for a hundred idle turns a second that is most of what can be saved.
Woken wait_for_wake(Loop& loop, std::uint64_t until, std::uint64_t left) {
  const timespec deadline = to_timespec(shared_moment(until, left));
  loop.is_waiting.store(true, std::memory_order_relaxed);
  const long result =
      ::syscall(SYS_futex, &loop.is_wake_pending, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, 0,
                until != UINT64_MAX ? &deadline : nullptr, nullptr, FUTEX_BITSET_MATCH_ANY);
  const bool is_over = result != 0 && errno == ETIMEDOUT;
  loop.is_waiting.store(false, std::memory_order_relaxed);
  if (is_over) return Woken::when_time_was_up;
  if (loop.is_wake_pending.load(std::memory_order_relaxed) != 0) take_wake(loop);
  return Woken::in_time;
}

/// Waits until `until`, a wake or a descriptor, which it serves.
Woken wait(Loop& loop, ModeSet mode, std::uint64_t time, std::uint64_t until) {
  const std::uint64_t left = until > time ? until - time : 0;
  const bool has_descriptors_too = loop.is_main && (loop.common & mode) != 0 && has_descriptors();
  if (!has_descriptors_too && left > 0) return wait_for_wake(loop, until, left);

  loop.polled.clear();
  loop.polled.push_back({loop.wake_descriptor, POLLIN, 0});
  if (has_descriptors_too) append_descriptors(loop.polled);
  const timespec timeout = to_timespec(left);
  loop.is_waiting.store(true, std::memory_order_relaxed);
  const int count = ::ppoll(loop.polled.data(), loop.polled.size(),
                            until == UINT64_MAX ? nullptr : &timeout, nullptr);
  loop.is_waiting.store(false, std::memory_order_relaxed);
  if (count == 0) return Woken::when_time_was_up;
  if (count < 0) return Woken::in_time;  // a signal: look again
  if (loop.polled[0].revents != 0) take_wake(loop);
  if (!has_descriptors_too || loop.polled.size() == 1) return Woken::in_time;
  note_ready(loop.polled);
  return serve_ready() ? Woken::by_descriptor : Woken::in_time;
}

/// What belongs to one run and is put back when it ends.
struct Run {
  Run(Loop& loop_, CFStringRef mode)
      : loop(loop_),
        outer_mode(std::exchange(loop_.current_mode, mode)),
        // A stop that was meant for the run outside waits for its turn.
        outer_stop(loop_.is_stopped.exchange(false, std::memory_order_relaxed)) {}
  ~Run() {
    loop.current_mode = outer_mode;
    if (outer_stop && outer_mode) loop.is_stopped.store(true, std::memory_order_relaxed);
  }
  Loop& loop;
  const CFStringRef outer_mode;
  const bool outer_stop;
};

CFRunLoopRunResult run(Loop& loop, CFStringRef mode_name, std::uint64_t deadline,
                       bool returns_after_source) {
  const ModeSet mode = mode_set(mode_name);
  if (mode == 0 || mode == common_modes) return kCFRunLoopRunFinished;
  const Run this_run(loop, mode_name);
  for (bool has_waited = false;; has_waited = true) {
    std::uint64_t time = now();
    const bool quiet = is_quiet(loop, time);
    const bool has_handled = !quiet && make_pass(loop, mode, time);
    if (loop.is_stopped.exchange(false, std::memory_order_acquire)) return kCFRunLoopRunStopped;
    if (has_handled && returns_after_source) return kCFRunLoopRunHandledSource;
    if (is_empty(loop, mode)) return kCFRunLoopRunFinished;
    // Even a run without time looks once at the descriptors.
    if (has_waited && time >= deadline) return kCFRunLoopRunTimedOut;
    const std::uint64_t until = quiet ? deadline : next_look(loop, mode, time, deadline);
    const Woken woken = wait(loop, mode, time, until);
    if (woken == Woken::by_descriptor && returns_after_source) return kCFRunLoopRunHandledSource;
    // Nobody woke it and nothing was due before: there is nothing to look for either.
    if (woken == Woken::when_time_was_up && quiet) return kCFRunLoopRunTimedOut;
  }
}

std::uint64_t deadline_after(CFTimeInterval seconds) {
  if (!(seconds > 0)) return now();
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

ModeSet mode_set(CFStringRef mode) {
  // Objective-C code has the same two modes under names of its own.
  if (!mode) return 0;
  if (mode == kCFRunLoopDefaultMode) return default_mode;
  if (mode == kCFRunLoopCommonModes) return common_modes;
  if (CFEqual(mode, kCFRunLoopDefaultMode) || CFEqual(mode, CFSTR("NSDefaultRunLoopMode")))
    return default_mode;
  if (CFEqual(mode, kCFRunLoopCommonModes) || CFEqual(mode, CFSTR("NSRunLoopCommonModes")))
    return common_modes;
  std::lock_guard lock(mutex);
  return named_mode(mode);
}

Loop::Loop(bool is_main_)
    : Object(type_of, cf::plain),
      is_main(is_main_),
      thread(::pthread_self()),
      wake_descriptor(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
  if (!is_main) return;
  // The modes of menus and dialogues: tasks and timers go on while one is open.
  common |= mode_set(CFSTR("NSEventTrackingRunLoopMode"));
  common |= mode_set(CFSTR("NSModalPanelRunLoopMode"));
}

Loop::~Loop() {
  if (wake_descriptor >= 0) ::close(wake_descriptor);
}

void wake(Loop& loop) {
  // Release: what was changed before is visible to the waiter that takes the flag back.
  if (loop.is_wake_pending.exchange(1, std::memory_order_acq_rel) != 0) return;
  // Both, as the loop may wait on either, and others on the descriptor.
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t size = ::write(loop.wake_descriptor, &one, sizeof one);
  ::syscall(SYS_futex, &loop.is_wake_pending, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

void wake_for_timers(Loop& loop) {
  const bool is_own = loop.is_main ? is_main_thread() : pthread_equal(loop.thread, pthread_self());
  if (!is_own || (loop.is_main && is_watched())) wake(loop);
}

void wake_main_loop() {
  wake(main_loop());
}

Loop& main_loop() {
  Loop* loop = the_main_loop.load(std::memory_order_acquire);
  if (loop) return *loop;
  // Two first callers: one loop stays, the other goes.
  Loop* made = cf::make<Loop>(0, true);
  if (the_main_loop.compare_exchange_strong(loop, made, std::memory_order_acq_rel)) return *made;
  CFRelease(made);
  return *loop;
}

Loop& current_loop() {
  if (is_main_thread()) return main_loop();
  thread_local ThreadLoop own;
  if (!own.loop) own.loop = cf::make<Loop>(0, false);
  return *own.loop;
}

}  // namespace vesk::platform::loop

namespace vesk::platform {

std::uint64_t next_deadline() {
  loop::Loop& main_loop = loop::main_loop();
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
using loop::Loop;

CFTypeID CFRunLoopGetTypeID(void) {
  return static_cast<CFTypeID>(cf::Type::run_loop);
}

CFRunLoopRef CFRunLoopGetCurrent(void) {
  return cf::as_ref<CFRunLoopRef>(&loop::current_loop());
}

CFRunLoopRef CFRunLoopGetMain(void) {
  return cf::as_ref<CFRunLoopRef>(&loop::main_loop());
}

CFRunLoopMode CFRunLoopCopyCurrentMode(CFRunLoopRef ref) {
  const Loop* loop = cf::own<Loop>(ref);
  return loop && loop->current_mode ? CFStringCreateCopy(nullptr, loop->current_mode) : nullptr;
}

void CFRunLoopAddCommonMode(CFRunLoopRef ref, CFRunLoopMode mode) {
  const loop::ModeSet set = loop::mode_set(mode);
  std::lock_guard lock(loop::mutex);
  if (Loop* loop = cf::own<Loop>(ref)) loop->common |= set & ~loop::common_modes;
}

void CFRunLoopRun(void) {
  Loop& loop = loop::current_loop();
  CFRunLoopRunResult result;
  do {
    result = loop::run(loop, kCFRunLoopDefaultMode, UINT64_MAX, false);
  } while (result != kCFRunLoopRunStopped && result != kCFRunLoopRunFinished);
}

CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds,
                                      Boolean returnAfterSourceHandled) {
  return loop::run(loop::current_loop(), mode, loop::deadline_after(seconds),
                   returnAfterSourceHandled);
}

void CFRunLoopStop(CFRunLoopRef ref) {
  Loop* loop = cf::own<Loop>(ref);
  if (!loop) return;
  loop->is_stopped.store(true, std::memory_order_release);
  loop::wake(*loop);
}

void CFRunLoopWakeUp(CFRunLoopRef ref) {
  if (Loop* loop = cf::own<Loop>(ref)) loop::wake(*loop);
}

Boolean CFRunLoopIsWaiting(CFRunLoopRef ref) {
  const Loop* loop = cf::own<Loop>(ref);
  return loop && loop->is_waiting.load(std::memory_order_relaxed);
}

void CFRunLoopPerformBlock(CFRunLoopRef ref, CFTypeRef mode, void (^block)(void)) {
  Loop* loop = cf::own<Loop>(ref);
  if (!loop || !mode || !block) return;
  loop::ModeSet modes = 0;
  if (CFGetTypeID(mode) == CFArrayGetTypeID()) {
    const auto names = static_cast<CFArrayRef>(mode);
    for (CFIndex i = 0; i < CFArrayGetCount(names); ++i)
      modes |= loop::mode_set(static_cast<CFStringRef>(CFArrayGetValueAtIndex(names, i)));
  } else {
    modes = loop::mode_set(static_cast<CFStringRef>(mode));
  }
  void (^copy)(void) = Block_copy(block);
  std::lock_guard lock(loop::mutex);
  loop->blocks.push_back({copy, modes});
}
