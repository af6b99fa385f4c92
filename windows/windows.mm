#include "windows/windows.hpp"

#import <AppKit/AppKit.h>
#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>

#include <cstdlib>
#include <map>
#include <set>
#include <utility>

#import "windows/editor_view.hpp"
#import "windows/strong.hpp"
#include "windows/title_text.hpp"
#import "windows/window_delegate.h"

namespace vesk::host {
namespace {

constexpr const char* offscreen_variable = "VESK_PLUGIN_WINDOWS_OFFSCREEN";
constexpr NSPoint offscreen_origin = {-10000, -10000};
constexpr unsigned mask_bits = 32;

bool wants_offscreen() { return std::getenv(offscreen_variable) != nullptr; }

/// Takes the view and the delegate out of a closed window. The window system may hold on to a
/// window for a while, a window does not hold its delegate, and what a view throws as it leaves is
/// better thrown here than in the middle of the window's end.
void empty(NSWindow* window) {
  struct DelegateRelease {
    NSWindow* window;
    ~DelegateRelease() { [window setDelegate:nil]; }
  };
  const DelegateRelease at_last{window};
  [window setContentView:nil];
}

void bring_to_front(NSWindow* window) {
  [NSApp activateIgnoringOtherApps:YES];
  [window makeKeyAndOrderFront:nil];
}

}  // namespace

struct Windows::Impl : std::enable_shared_from_this<Windows::Impl> {
  std::function<void(unsigned)> on_close;
  bool app_started = false;
  std::map<unsigned, Strong<NSWindow>> windows;
  std::map<unsigned, Strong<VeskWindowDelegate>> delegates;
  std::map<unsigned, Strong<NSViewController>> controllers;
  /// Closed and not yet removed. A window that is shown again leaves it, which makes the removal
  /// that its closing left behind a stale one.
  std::set<unsigned> closing;

  ~Impl();
  bool open(unsigned plugin, ComponentInstanceRecord* unit, const std::string& title,
            EditorView (*view_of)(ComponentInstanceRecord*));
  void start_application();
  void place(NSWindow* window, NSString* autosave_name);
  void show_again(unsigned plugin, NSString* title);
  void remove_closed(unsigned plugin);
};

Windows::Impl::~Impl() {
  for (const auto& [plugin, window] : windows) [window.get() setDelegate:nil];
}

void Windows::Impl::start_application() {
  if (app_started) return;
  [NSApplication sharedApplication];
  [NSApp setActivationPolicy:NSApplicationActivationPolicyAccessory];
  [NSApp finishLaunching];
  app_started = true;
}

void Windows::Impl::show_again(unsigned plugin, NSString* title) {
  closing.erase(plugin);
  NSWindow* window = windows[plugin].get();
  [window setTitle:title];
  bring_to_front(window);
}

void Windows::Impl::place(NSWindow* window, NSString* autosave_name) {
  // Named before it is placed, so that the placing itself is what is remembered.
  [window setFrameAutosaveName:autosave_name];
  if (wants_offscreen())
    [window setFrameOrigin:offscreen_origin];
  else if (![window setFrameUsingName:[window frameAutosaveName]])
    [window center];
}

void Windows::Impl::remove_closed(unsigned plugin) {
  if (closing.erase(plugin) == 0) return;
  // Out of the maps before any code of the view's runs, which may throw.
  const auto controller = controllers.extract(plugin);
  const auto delegate = delegates.extract(plugin);
  const auto window = windows.extract(plugin);
  empty(window.mapped().get());
}

Windows::Windows(std::function<void(unsigned)> on_close) : impl_(std::make_shared<Impl>()) {
  impl_->on_close = std::move(on_close);
}

Windows::~Windows() { close_all(); }

bool Windows::open(unsigned plugin, ComponentInstanceRecord* unit, const std::string& title) {
  return impl_->open(plugin, unit, title, editor_view);
}

bool Windows::open_panel(unsigned plugin, ComponentInstanceRecord* unit, const std::string& title) {
  return impl_->open(plugin, unit, title, panel_view);
}

bool Windows::Impl::open(unsigned plugin, ComponentInstanceRecord* unit, const std::string& title,
                         EditorView (*view_of)(ComponentInstanceRecord*)) {
  @autoreleasepool {
    start_application();
    NSString* window_title = [NSString stringWithUTF8String:readable_utf8(title).c_str()];
    if (windows.contains(plugin)) {
      show_again(plugin, window_title);
      return true;
    }

    const EditorView editor = view_of(unit);
    if (!editor.view) return false;
    const NSSize size = [editor.view.get() frame].size;
    const auto window = Strong<NSWindow>::adopt([[NSWindow alloc]
        initWithContentRect:NSMakeRect(0, 0, size.width, size.height)
                  styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable |
                            NSWindowStyleMaskMiniaturizable
                    backing:NSBackingStoreBuffered
                      defer:NO]);
    // The map owns it.
    [window.get() setReleasedWhenClosed:NO];
    [window.get() setTitle:window_title];
    [window.get() setContentView:editor.view.get()];
    place(window.get(), [NSString stringWithFormat:@"%@ %u", window_title, plugin]);

    const auto delegate = Strong<VeskWindowDelegate>::adopt([[VeskWindowDelegate alloc] init]);
    [delegate.get() setPlugin:plugin];
    // The removal comes later, on the main queue: the window system is still using the window
    // while it closes. By then the manager may be gone, and with it its windows.
    Impl* impl = this;
    const std::weak_ptr<Impl> alive = weak_from_this();
    [delegate.get() setOnClose:^(unsigned int closed) {
      impl->on_close(closed);
      impl->closing.insert(closed);
      dispatch_async(dispatch_get_main_queue(), ^{
        if (const auto manager = alive.lock()) manager->remove_closed(closed);
      });
    }];
    [window.get() setDelegate:delegate.get()];

    windows[plugin] = window;
    delegates[plugin] = delegate;
    if (editor.controller) controllers[plugin] = editor.controller;

    if (wants_offscreen())
      [window.get() orderBack:nil];
    else
      bring_to_front(window.get());
    return true;
  }
}

void Windows::close_all() {
  @autoreleasepool {
    const auto snapshot = impl_->windows;
    for (const auto& [plugin, window] : snapshot) [window.get() close];
  }
}

std::uint32_t Windows::open_mask() const {
  std::uint32_t mask = 0;
  for (const auto& [plugin, window] : impl_->windows)
    if (plugin < mask_bits && [window.get() isVisible]) mask |= std::uint32_t{1} << plugin;
  return mask;
}

void Windows::pump(double seconds) {
  if (!impl_->app_started) {
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, false);
    return;
  }
  @autoreleasepool {
    NSDate* deadline = [NSDate dateWithTimeIntervalSinceNow:seconds];
    while (NSEvent* event = [NSApp nextEventMatchingMask:NSEventMaskAny
                                               untilDate:deadline
                                                  inMode:NSDefaultRunLoopMode
                                                 dequeue:YES]) {
      [NSApp sendEvent:event];
    }
    [NSApp updateWindows];
  }
}

}  // namespace vesk::host
