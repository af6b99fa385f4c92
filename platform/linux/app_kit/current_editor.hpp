#pragma once

#import <AppKit/AppKit.h>

#include <optional>
#include <vector>

namespace vesk::platform {

/// The index of the plugin that `window` edits; none for windows that are no editor's.
std::optional<unsigned> plugin_of(NSWindow* window);

/// Notes whose view code is about to run. What that code throws leaves the note behind, so that
/// the guard can tell which editor failed: `end` is called only where nothing was thrown.
class EditorTurn {
 public:
  explicit EditorTurn(NSWindow* window);
  void end() const;

 private:
  std::optional<unsigned> outer_;
};

/// The editors that the last failure came out of: the noted one, or every one that is open where
/// the code ran for none in particular. Forgets the note.
std::vector<NSWindow*> failed_editors();

}  // namespace vesk::platform
