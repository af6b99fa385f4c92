#pragma once

/// The layer's side of the run loop: descriptors that modules want served on the main thread, and
/// what a module needs that waits for events in its own way (a window system) and serves the main
/// loop meanwhile.

#include <cstdint>

namespace vesk::platform {

using DescriptorCallback = void (*)(int descriptor, void* context);

/// Calls `callback` on the main thread, in every common mode, while `descriptor` can be read (or
/// has failed). It is asked again until the callback has read what there is. A descriptor that is
/// already known gets the new callback. Any thread.
void add_descriptor(int descriptor, DescriptorCallback callback, void* context);

/// Ends that; the caller closes the descriptor afterwards. Main thread only, also from a callback.
void remove_descriptor(int descriptor);

/// A descriptor that can be read whenever the main loop has something to do other than a timer:
/// a main-queue task, a block, a signalled source, a stop, a descriptor of the above. Made at the
/// first call and kept for good; -1 when there is none left to be had. Do not read it; call
/// `service_once`. Any thread.
__attribute__((visibility("default"))) int main_loop_descriptor();

/// When the main loop's next timer or delayed main-queue task is due, in CLOCK_MONOTONIC
/// nanoseconds; UINT64_MAX when there is none. Changes when timers do, after which
/// `main_loop_descriptor` becomes readable once. Any thread.
__attribute__((visibility("default"))) std::uint64_t next_deadline();

/// Does what is due on the main loop in its default mode and returns: timers, sources, blocks,
/// descriptors and, unless this is called from inside one, main-queue tasks. Main thread only.
/// Costs one poll when nothing is due.
__attribute__((visibility("default"))) void service_once();

}  // namespace vesk::platform

/// Between the loop and the queues.
namespace vesk::platform::loop {

/// CLOCK_MONOTONIC in nanoseconds.
std::uint64_t now();
__attribute__((visibility("default"))) bool is_main_thread();

/// Ends a wait of the main loop. Any thread.
void wake_main_loop();

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
