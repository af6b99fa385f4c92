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

/// The phase of the calling thread's `current_call`, for a library that is preloaded into a host to
/// watch what plugins do there (tools/soak/watch). Async-signal-safe.
extern "C" __attribute__((visibility("default"))) const char* vesk_plugin_phase() noexcept;
