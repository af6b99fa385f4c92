// The module's one way in: the window manager of this image behind a table of plain functions.

#import <AppKit/AppKit.h>

#include <new>
#include <stdexcept>

#import "platform/linux/app_kit/application.hpp"
#import "platform/linux/app_kit/bridge/bridge.hpp"
#include "platform/linux/app_kit/display.hpp"
#import "platform/linux/app_kit/editors.hpp"
#include "platform/linux/app_kit/main_loop_watch.hpp"
#include "platform/linux/dispatch/run_loop.hpp"
#include "platform/linux/window_proxy/window_module.hpp"
#include "windows/windows.hpp"

namespace vesk::platform {
namespace {

host::Windows& manager_of(void* manager) { return *static_cast<host::Windows*>(manager); }

/// Runs `work`, and lets out what it throws as what a plain C++ unit can read. C++ exceptions pass
/// through; Objective-C ones are thrown anew once their own handler is left. What the toolkit says
/// without a server to ask is not what is wrong.
template <class Work>
void with_readable_exceptions(const Work& work) {
  const ViewCode within;
  std::string reason;
  @try {
    work();
    return;
  } @catch (NSException* exception) {
    if ([[exception name] isEqual:NSMallocException]) throw std::bad_alloc();
    NSString* text = [exception reason] ? [exception reason] : [exception name];
    reason = text ? [text UTF8String] : "exception";
  } @catch (id object) {
    reason = [[object description] UTF8String];
  }
  throw std::runtime_error(display_has_gone() ? "the X server has gone" : reason);
}

void* create(std::function<void(unsigned)> on_close) {
  return new host::Windows(std::move(on_close));
}

void destroy(void* manager) {
  with_readable_exceptions([&] { delete static_cast<host::Windows*>(manager); });
}

bool open(void* manager, unsigned plugin, ComponentInstanceRecord* unit, const std::string& title,
          bool as_panel) {
  forget_editor_turns();
  bool opened = false;
  with_readable_exceptions([&] {
    if (!prepare_application()) return;
    opened = as_panel ? manager_of(manager).open_panel(plugin, unit, title)
                      : manager_of(manager).open(plugin, unit, title);
  });
  return opened;
}

void close_all(void* manager) {
  forget_editor_turns();
  with_readable_exceptions([&] { manager_of(manager).close_all(); });
}

std::uint32_t open_mask(const void* manager) {
  return static_cast<const host::Windows*>(manager)->open_mask();
}

void pump(void* manager, double seconds) {
  forget_editor_turns();
  with_readable_exceptions([&] {
    manager_of(manager).pump(sleep_until_rung(seconds, sleep_until_event));
    raise_kept_failure();
  });
}

void close_one(unsigned plugin) {
  with_readable_exceptions([&] { close_editor(plugin); });
}

constexpr WindowModule module = {
    create, destroy, open, close_all, open_mask, pump, close_one, visible_editors, failed_editors};

}  // namespace
}  // namespace vesk::platform

extern "C" __attribute__((visibility("default"))) const vesk::platform::WindowModule*
vesk_window_module() {
  vesk::platform::join_foundation();
  return &vesk::platform::module;
}
