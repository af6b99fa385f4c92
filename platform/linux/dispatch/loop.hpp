#pragma once

/// The parts of a run loop and who may touch them.
///
/// Design: a loop belongs to one thread, which alone runs it. Its timers, which others may change
/// too, are guarded by one lock for all loops; callbacks and releases of what callers handed in
/// happen outside it. A wait is one futex wait on the loop's flag. Waking: change what is guarded,
/// then `wake`; the waiter takes the flag back (acquire) and only then looks at the guarded parts,
/// so no change is missed. The main loop's eventfd says the same to whoever waits in poll.

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "platform/linux/core_foundation/object.hpp"
#include "platform/linux/dispatch/run_loop.hpp"

namespace vesk::platform::loop {

struct Loop;

struct Timer : cf::Object {
  static constexpr cf::Type type_of = cf::Type::run_loop_timer;
  static constexpr std::uint64_t firing = UINT64_MAX;
  static constexpr std::uint64_t never = UINT64_MAX - 1;
  Timer() : Object(type_of, cf::plain) {}
  ~Timer() { release_context(); }
  void release_context();

  CFRunLoopTimerCallBack callback = nullptr;
  CFRunLoopTimerContext context{};
  std::uint64_t interval = 0;  ///< Nanoseconds; 0 fires once.
  std::atomic<bool> has_context{true};
  // Guarded.
  std::uint64_t due = never;  ///< CLOCK_MONOTONIC; `firing` inside the callback until it is set.
  std::uint64_t pass = 0;     ///< The pass of the loop that fired it last.
  bool is_valid = true;
  bool is_calling = false;  ///< Its context is in use and goes when the callback is over.
  Loop* loop = nullptr;
};

struct Loop : cf::Object {
  static constexpr cf::Type type_of = cf::Type::run_loop;
  explicit Loop(bool is_main_);
  ~Loop();

  const bool is_main;
  const pthread_t thread;     ///< Not of the main loop, which any thread may make.
  const int wake_descriptor;  ///< Of the main loop, or -1.
  std::atomic<std::uint32_t> is_wake_pending{0};  ///< A flag, and the word to wait on.
  std::uint64_t pass = 0;                         ///< Of the loop's thread.
  std::vector<Timer*> timers;                     ///< Guarded; each with a reference.
};

/// Guards what is marked so.
extern std::mutex mutex;

/// Whether the calling thread is the one that runs it.
bool is_own(const Loop& loop);
/// Ends a wait of `loop`. Any thread.
void wake(Loop& loop);
/// The same after a change of its timers, unless its own thread made it and will see it anyway.
void wake_for_timers(Loop& loop);

/// Whether the mode is the default one, by either of its names.
bool is_default_mode(CFStringRef mode);

/// Fires the timers that are due, in their order, each once.
void fire_timers(Loop& loop, std::uint64_t time);

}  // namespace vesk::platform::loop
