#pragma once

#include <cstdint>
#include <functional>
#include <string>

struct ComponentInstanceRecord;

namespace vesk::platform {

/// What the window module offers the proxy. All on the main thread. What an editor throws comes
/// out as a C++ exception, Objective-C ones as std::runtime_error with their reason.
struct WindowModule {
  /// A manager of the module's own, to be handed to every other call.
  void* (*create)(std::function<void(unsigned)> on_close);
  void (*destroy)(void* manager);
  bool (*open)(void* manager, unsigned plugin, ComponentInstanceRecord* unit,
               const std::string& title);
  void (*close_all)(void* manager);
  std::uint32_t (*open_mask)(const void* manager);
  void (*pump)(void* manager, double seconds);

  /// Closes the editors that what was thrown last came out of, all where that is not known, and
  /// calls `closed` with the index of each. Throws nothing.
  void (*close_failed)(const std::function<void(unsigned)>& closed);
};

inline constexpr const char* window_module_file = "windows.so";
inline constexpr const char* window_module_entry = "vesk_window_module";
/// The type of the module's one exported function. Called once.
using WindowModuleEntry = const WindowModule*();

}  // namespace vesk::platform
