// host::Windows in the executable. Without an editor it only runs the run loop; the first one asked
// for opens the module that holds the window manager itself, and from then on every call goes
// there.
//
// This is also where an exception out of a plugin's view code ends: the editor it came out of is
// closed, or the generic panel opened in its place if it has not opened yet, and the host goes on
// rendering. It has to be caught here: a C++ exception cannot be
// caught in an Objective-C++ unit of this runtime, while a plain C++ unit catches both kinds.

#include <CoreFoundation/CoreFoundation.h>
#include <dlfcn.h>

#include <bit>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/linux/audio_toolbox/module_folder.hpp"
#include "platform/linux/dispatch/run_loop.hpp"
#include "platform/linux/process/characters.hpp"
#include "platform/linux/process/report.hpp"
#include "platform/linux/window_proxy/window_module.hpp"
#include "platform/plugin_call.hpp"
#include "windows/windows.hpp"

// Objective-C images refer by these symbols to the classes that they use, so that a missing one
// shows when they are opened; the classes themselves are looked up by name. The module that has
// these two is opened for itself alone, so what views link against is here.
extern "C" {
__attribute__((visibility("default"))) extern const char __objc_class_name_AUGenericView = 0;
__attribute__((visibility("default"))) extern const char __objc_class_name_AUViewController = 0;
}

namespace vesk::host {
namespace {

using platform::WindowModule;

/// Turns that may end in an exception while closed windows are let go of.
constexpr int most_failed_turns = 64;

const WindowModule* open_window_module() {
  const std::string path = platform::module_folder() + "/" + platform::window_module_file;
  platform::follow_environment_characters();
  void* image = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  void* entry = image ? dlsym(image, platform::window_module_entry) : nullptr;
  if (!entry) {
    const char* cause = dlerror();
    platform::report({"no windows: ", cause ? cause : path.c_str()});
    return nullptr;
  }
  return reinterpret_cast<platform::WindowModuleEntry*>(entry)();
}

/// Null when the module cannot be opened; a later call tries again.
const WindowModule* window_module() {
  static const WindowModule* module = nullptr;
  if (!module) module = open_window_module();
  return module;
}

void report_failure(unsigned plugin, const char* reason) {
  platform::report({"editor of plugin ", platform::Digits(plugin).text(), " failed: ", reason});
}

/// Calls `work`; what it throws goes to `failed` as a text. Being out of memory is nothing that
/// closing an editor would mend, so it passes on.
template <class Work, class Failed>
void guard(const Work& work, const Failed& failed) {
  try {
    work();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& exception) {
    failed(exception.what());
  } catch (...) {
    failed("unknown exception");
  }
}

/// Closes one editor. A view that throws even then keeps its window; its state was saved before.
void close_editor(const WindowModule* module, unsigned plugin) {
  guard([&] { module->close_editor(plugin); }, [](const char*) {});
}

void close_failed(const WindowModule* module, const char* reason) {
  std::vector<unsigned> failed;
  module->failed_editors([&](unsigned plugin) { failed.push_back(plugin); });
  for (const unsigned plugin : failed) {
    report_failure(plugin, reason);
    close_editor(module, plugin);
  }
}

}  // namespace

struct Windows::Impl {
  std::function<void(unsigned)> on_close;
  const WindowModule* module = nullptr;
  void* manager = nullptr;

  bool reach_module();
  /// Nothing when the editor failed.
  std::optional<bool> open(unsigned plugin, ComponentInstanceRecord* unit, const std::string& title,
                           bool as_panel);
  /// A turn of the module's pump; false when an editor failed in it.
  bool pump(double seconds);
};

bool Windows::Impl::reach_module() {
  if (manager) return true;
  module = window_module();
  if (module) manager = module->create(on_close);
  return manager != nullptr;
}

std::optional<bool> Windows::Impl::open(unsigned plugin, ComponentInstanceRecord* unit,
                                        const std::string& title, bool as_panel) {
  std::optional<bool> opened;
  guard([&] { opened = module->open(manager, plugin, unit, title, as_panel); },
        [&](const char* reason) {
          report_failure(plugin, reason);
          close_editor(module, plugin);
        });
  return opened;
}

bool Windows::Impl::pump(double seconds) {
  bool passed = true;
  guard([&] { module->pump(manager, seconds); },
        [&](const char* reason) {
          passed = false;
          close_failed(module, reason);
        });
  return passed;
}

Windows::Windows(std::function<void(unsigned)> on_close) : impl_(std::make_shared<Impl>()) {
  impl_->on_close = std::move(on_close);
}

Windows::~Windows() {
  if (!impl_->manager) return;
  close_all();
  // Closed windows are let go of by the pump. What a view throws as it leaves its window is caught
  // there, and ends the turn; out of a destructor it would end the process.
  for (int failures = 0; failures < most_failed_turns && !impl_->pump(0); ++failures) {
  }
  guard([&] { impl_->module->destroy(impl_->manager); }, [](const char*) {});
}

bool Windows::open(unsigned plugin, ComponentInstanceRecord* unit, const std::string& title) {
  if (!impl_->reach_module()) return false;
  if (const auto opened = impl_->open(plugin, unit, title, false)) return *opened;
  // What has closed is let go of first, so that it is not what is shown.
  impl_->pump(0);
  return open_panel(plugin, unit, title);
}

bool Windows::open_panel(unsigned plugin, ComponentInstanceRecord* unit, const std::string& title) {
  return impl_->reach_module() && impl_->open(plugin, unit, title, true).value_or(false);
}

void Windows::close_all() {
  if (!impl_->manager) return;
  guard([&] { impl_->module->close_all(impl_->manager); },
        [&](const char* reason) {
          close_failed(impl_->module, reason);
          // What threw while its window closed kept the ones after it from being closed.
          std::vector<unsigned> left;
          impl_->module->visible_editors([&](unsigned plugin) { left.push_back(plugin); });
          for (const unsigned plugin : left) close_editor(impl_->module, plugin);
        });
}

std::uint32_t Windows::open_mask() const {
  return impl_->manager ? impl_->module->open_mask(impl_->manager) : 0;
}

void Windows::pump(double seconds) {
  if (!impl_->manager) {
    const double left = platform::sleep_until_rung(seconds, platform::sleep_without_windows);
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, left, false);
    return;
  }
  // While one editor alone is open, what crashes in a turn is most likely its code.
  const std::uint32_t mask = open_mask();
  std::optional<platform::PluginCall> call;
  if (std::has_single_bit(mask))
    call.emplace(static_cast<unsigned>(std::countr_zero(mask)), "editor");
  impl_->pump(seconds);
}

}  // namespace vesk::host
