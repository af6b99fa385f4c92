#pragma once

namespace vesk::platform {

/// From here on whatever waits in NSRunLoop on the main thread, the wait for window events
/// included, also serves the main loop of CoreFoundation: main-queue tasks, sources, timers. Once.
void serve_main_loop_in_ns_run_loop();

}  // namespace vesk::platform
