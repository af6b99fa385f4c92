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
               const std::string& title, bool as_panel);
  void (*close_all)(void* manager);
  std::uint32_t (*open_mask)(const void* manager);
  void (*pump)(void* manager, double seconds);

  /// Closes the window of one plugin's editor, if it is on screen.
  void (*close_editor)(unsigned plugin);
  /// Calls `visit` for every editor on screen, in the order of the plugins. Throws nothing.
  void (*visible_editors)(const std::function<void(unsigned)>& visit);
  /// Calls `visit` for the editor that what was thrown last came out of, or for every one on
  /// screen when the code ran for none in particular. Throws nothing.
  void (*failed_editors)(const std::function<void(unsigned)>& visit);
};

inline constexpr const char* window_module_file = "windows.so";
inline constexpr const char* window_module_entry = "vesk_window_module";
/// The type of the module's one exported function. Called once.
using WindowModuleEntry = const WindowModule*();

}  // namespace vesk::platform
