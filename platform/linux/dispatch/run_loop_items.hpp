#pragma once

/// The parts of a run loop and who may touch them.
///
/// Design: a loop belongs to one thread, which alone runs it. What others may change (timers,
/// sources, blocks, descriptors, modes) is guarded by one lock for all loops; callbacks and
/// releases of what callers handed in happen outside it. A wait is one poll over the loop's
/// eventfd and, on the main thread, the registered descriptors. Waking: change what is guarded,
/// then `wake`; the waiter reads the eventfd, takes the flag back (acquire) and only then looks at
/// the guarded parts, so no change is missed and at most one write goes out a wait.

#include <poll.h>
#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "platform/linux/core_foundation/object.hpp"
#include "platform/linux/dispatch/run_loop.hpp"

namespace vesk::platform::loop {

/// A set of modes: a bit a name, and one that stands for the common modes of the loop.
using ModeSet = std::uint32_t;
inline constexpr ModeSet default_mode = 1;
inline constexpr ModeSet common_modes = 1u << 31;

struct Loop;

struct Timer : cf::Object {
  static constexpr cf::Type type_of = cf::Type::run_loop_timer;
  static constexpr std::uint64_t firing = UINT64_MAX;
  static constexpr std::uint64_t never = UINT64_MAX - 1;
  Timer() : Object(type_of, cf::plain) {}
  ~Timer() { release_context(); }
  void release_context();

  CFRunLoopTimerCallBack callback = nullptr;
  void (^handler)(CFRunLoopTimerRef) = nullptr;
  CFRunLoopTimerContext context{};
  std::uint64_t interval = 0;  ///< Nanoseconds; 0 fires once.
  double tolerance = 0;
  std::atomic<bool> has_context{true};
  // Guarded.
  std::uint64_t due = never;  ///< CLOCK_MONOTONIC; `firing` inside the callback until it is set.
  std::uint64_t pass = 0;     ///< The pass of the loop that fired it last.
  bool is_valid = true;
  bool is_calling = false;  ///< Its context is in use and goes when the callback is over.
  Loop* loop = nullptr;
  ModeSet modes = 0;
};

struct Source : cf::Object {
  static constexpr cf::Type type_of = cf::Type::run_loop_source;
  Source() : Object(type_of, cf::plain) {}
  ~Source();

  CFRunLoopSourceContext context{};
  std::atomic<bool> is_signalled{false};
  // Guarded.
  bool is_valid = true;
  std::vector<Loop*> loops;
};

struct Loop : cf::Object {
  static constexpr cf::Type type_of = cf::Type::run_loop;
  explicit Loop(bool is_main_);
  ~Loop();

  struct SourceEntry {
    Source* source;
    ModeSet modes;
  };
  struct Block {
    void (^block)(void);
    ModeSet modes;
  };

  const bool is_main;
  const pthread_t thread;  ///< Not of the main loop, which any thread may make.
  const int wake_descriptor;
  std::atomic<std::uint32_t> is_wake_pending{0};  ///< A flag, and the word to wait on.
  std::atomic<bool> is_stopped{false};
  std::atomic<bool> is_waiting{false};
  // Of the loop's thread.
  CFStringRef current_mode = nullptr;
  std::uint64_t pass = 0;
  std::vector<pollfd> polled;
  // Guarded.
  ModeSet common = default_mode;
  std::vector<Timer*> timers;        ///< Each with a reference.
  std::vector<SourceEntry> sources;  ///< Each with a reference.
  std::vector<Block> blocks;         ///< Copied.

  bool serves(ModeSet item, ModeSet mode) const {
    return (item & mode) != 0 || ((item & common_modes) != 0 && (common & mode) != 0);
  }
};

/// Guards what is marked so, and the table of mode names.
extern std::mutex mutex;

/// The set that a mode's name stands for; the lock is not held. 0 when 30 other names are taken.
ModeSet mode_set(CFStringRef mode);

/// Ends a wait of `loop`. Any thread.
void wake(Loop& loop);
/// The same after a change of its timers, unless its own thread made it and will see it anyway.
void wake_for_timers(Loop& loop);

Loop& main_loop();
Loop& current_loop();

/// Fires the timers of `mode` that are due, in their order, each once; whether there was one.
void fire_timers(Loop& loop, ModeSet mode, std::uint64_t time);
/// Performs the signalled sources of `mode`; whether there was one.
bool perform_sources(Loop& loop, ModeSet mode);

/// Descriptors: the main loop's part of a wait. `append_descriptors` adds them to `polled`,
/// `note_ready` takes the result back, `serve_ready` calls back; whether there was one.
void append_descriptors(std::vector<pollfd>& polled);
void note_ready(const std::vector<pollfd>& polled);
bool serve_ready();
bool has_descriptors();
/// Whether `main_loop_descriptor` has been asked for, so that somebody waits elsewhere.
bool is_watched();

}  // namespace vesk::platform::loop
