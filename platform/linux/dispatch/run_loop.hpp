#pragma once

/// The layer's side of the run loop: what a module needs that waits for events in its own way (a
/// window system) and serves the main loop meanwhile.

#include <cstdint>

namespace vesk::platform {

/// A descriptor that can be read whenever the main loop has something to do other than a timer,
/// and once after its timers have changed. Kept for good; -1 when there was none to be had. Do not
/// read it; call `service_once`. Any thread.
__attribute__((visibility("default"))) int main_loop_descriptor();

/// When the main loop's next timer or delayed main-queue task is due, in CLOCK_MONOTONIC
/// nanoseconds; UINT64_MAX when there is none. Any thread.
__attribute__((visibility("default"))) std::uint64_t next_deadline();

/// Does what is due on the main loop and returns: timers and, unless this is called from inside
/// one, main-queue tasks. Main thread only.
__attribute__((visibility("default"))) void service_once();

/// Something that sleeps until the main loop has work, but no longer than `limit_ns`. It must end
/// when the descriptor of `main_loop_descriptor` or `parent_bell` can be read.
using Sleep = void (*)(std::uint64_t limit_ns);

/// At the head of a pump that may last so many seconds: where the parent has a bell, sleeps unless
/// it has rung since the last call. Returns how long the pump may still last. One of no time is
/// part of a turn, and leaves the bell to the turn's end. Main thread only.
__attribute__((visibility("default"))) double sleep_until_rung(double seconds, Sleep sleep);

/// How one sleeps where no window system runs. Main thread only.
__attribute__((visibility("default"))) void sleep_without_windows(std::uint64_t limit_ns);

/// Takes what the parent has rung, if it has, and remembers it for the next turn. Whether it has.
/// Main thread only.
__attribute__((visibility("default"))) bool hear_bell();

}  // namespace vesk::platform

/// Between the loop and the queue.
namespace vesk::platform::loop {

/// CLOCK_MONOTONIC in nanoseconds.
std::uint64_t now();
__attribute__((visibility("default"))) bool is_main_thread();

/// Ends a wait of the main loop. Any thread.
void wake_main_loop();
/// The descriptor of `main_loop_descriptor`, for one who looks at the timers before each wait.
int wake_descriptor();

/// The queue's part in a pass of the main loop. Main thread only.
///
/// Whether a task waits (one that is due, for delayed ones).
bool main_queue_has_work(std::uint64_t time);
/// Runs the tasks that wait at the start of the call, in their order; false when there was none.
/// Tasks posted meanwhile are for the next call. Does nothing inside a task.
bool drain_main_queue(std::uint64_t time);
/// Whether this is called from inside a main-queue task.
bool is_draining_main_queue();
/// When the next delayed task is due; UINT64_MAX without one. Any thread.
std::uint64_t main_queue_deadline();

}  // namespace vesk::platform::loop
