#import "platform/linux/app_kit/editors.hpp"

#include <map>
#include <utility>

#import "windows/window_delegate.h"

namespace vesk::platform {
namespace {

std::optional<unsigned> current;
NSException* kept_failure = nil;
std::optional<unsigned> kept_plugin;

/// Held, since closing one may free it while the others are walked.
std::map<unsigned, NSWindow*> windows_on_screen() {
  std::map<unsigned, NSWindow*> windows;
  for (NSWindow* window in [NSApp windows]) {
    const auto plugin = plugin_of(window);
    if (plugin && [window isVisible]) windows[*plugin] = [[window retain] autorelease];
  }
  return windows;
}

}  // namespace

std::optional<unsigned> plugin_of(NSWindow* window) {
  id delegate = [window delegate];
  if (![delegate isKindOfClass:[VeskWindowDelegate class]]) return std::nullopt;
  return [(VeskWindowDelegate*)delegate plugin];
}

void visible_editors(const std::function<void(unsigned)>& visit) {
  @autoreleasepool {
    for (const auto& [plugin, window] : windows_on_screen()) visit(plugin);
  }
}

void close_editor(unsigned plugin) {
  @autoreleasepool {
    const auto windows = windows_on_screen();
    if (const auto found = windows.find(plugin); found != windows.end()) [found->second close];
  }
}

void close_every_editor() {
  for (const auto& [plugin, window] : windows_on_screen()) {
    const EditorTurn turn(window);
    [window close];
    turn.end();
  }
}

EditorTurn::EditorTurn(NSWindow* window) : outer_(current) {
  // A menu or a panel that the editor opened has no plugin: the editor under it keeps its turn.
  if (const auto plugin = plugin_of(window)) current = plugin;
}

void EditorTurn::end() const { current = outer_; }

void keep_failure(NSWindow* window, NSException* exception) {
  if (kept_failure) return;
  kept_failure = [exception retain];
  kept_plugin = plugin_of(window);
}

void raise_kept_failure() {
  NSException* failure = std::exchange(kept_failure, nil);
  if (!failure) return;
  current = kept_plugin;
  [[failure autorelease] raise];
}

void failed_editors(const std::function<void(unsigned)>& visit) {
  // What threw while it drew leaves its view focused.
  while (NSView* focused = [NSView focusView]) [focused unlockFocus];
  const auto failed = std::exchange(current, std::nullopt);
  if (failed) {
    // Perhaps gone already: what threw while its window closed.
    visit(*failed);
  } else {
    visible_editors(visit);
  }
}

void forget_editor_turns() {
  current.reset();
  // What is thrown past a pool leaves it, and all that is in it, to the pool around it.
  static NSAutoreleasePool* outermost = nil;
  [outermost release];
  outermost = [[NSAutoreleasePool alloc] init];
}

}  // namespace vesk::platform
