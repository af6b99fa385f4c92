#pragma once

#include <cstdint>

namespace vesk::platform {

/// From here on whatever waits in NSRunLoop on the main thread, the wait for window events
/// included, also serves the main loop of CoreFoundation: main-queue tasks, sources, timers. Once.
void serve_main_loop_in_ns_run_loop();

/// Sleeps until there is an event, something of the main loop is served, or the parent rings, but
/// no longer than `limit_ns`. Main thread.
void sleep_until_event(std::uint64_t limit_ns);

/// To be called for every event that is taken or posted: there may be more of them in the queue
/// before the main thread sleeps next. Main thread.
void note_event();

}  // namespace vesk::platform
