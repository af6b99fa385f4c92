#pragma once

namespace vesk::platform {

/// What the calling thread does inside a plugin (`PluginCall`), for the crash line.
struct CurrentCall {
  unsigned plugin;
  const char* phase;  // NULL: not inside a plugin
};

/// The calling thread's. Async-signal-safe.
CurrentCall current_call();

/// Called when an exception ends the process: it may have unwound the plugin call that threw it
/// before it met a function that must not throw. That call becomes the current one again.
void blame_thrower();

}  // namespace vesk::platform
