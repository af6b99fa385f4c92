#import "app_kit/current_editor.hpp"

#import "windows/window_delegate.h"

namespace vesk::platform {
namespace {

std::optional<unsigned> current;

}  // namespace

std::optional<unsigned> plugin_of(NSWindow* window) {
  id delegate = [window delegate];
  if (![delegate isKindOfClass:[VeskWindowDelegate class]]) return std::nullopt;
  return [(VeskWindowDelegate*)delegate plugin];
}

EditorTurn::EditorTurn(NSWindow* window) : outer_(current) {
  // A menu or a panel that the editor opened has no plugin: the editor under it keeps its turn.
  if (const auto plugin = plugin_of(window)) current = plugin;
}

void EditorTurn::end() const { current = outer_; }

std::vector<NSWindow*> failed_editors() {
  std::vector<NSWindow*> failed;
  for (NSWindow* window in [NSApp windows]) {
    const auto plugin = plugin_of(window);
    if (plugin && (!current || plugin == current)) failed.push_back(window);
  }
  current.reset();
  return failed;
}

}  // namespace vesk::platform
