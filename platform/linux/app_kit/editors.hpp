#pragma once

#import <AppKit/AppKit.h>

#include <functional>
#include <optional>

namespace vesk::platform {

/// The index of the plugin that `window` edits; none for windows that are no editor's.
std::optional<unsigned> plugin_of(NSWindow* window);

/// Calls `visit` with the plugin of every editor on screen, in ascending order.
void visible_editors(const std::function<void(unsigned)>& visit);

/// Closes the window of `plugin`'s editor if it is on screen.
void close_editor(unsigned plugin);

/// Closes every editor on screen.
void close_every_editor();

/// Notes whose view code is about to run. What that code throws leaves the note behind, so that
/// the guard can tell which editor failed: `end` is called only where nothing was thrown.
class EditorTurn {
 public:
  explicit EditorTurn(NSWindow* window);
  void end() const;

 private:
  std::optional<unsigned> outer_;
};

/// Keeps an exception that the toolkit would swallow, to be raised by `raise_kept_failure` in the
/// same turn of the pump as one of the editor in `window`.
void keep_failure(NSWindow* window, NSException* exception);
void raise_kept_failure();

/// Calls `visit` with the editor whose note was left behind, on screen or not, or with every one on
/// screen when the code that threw ran for none in particular. Forgets the note.
void failed_editors(const std::function<void(unsigned)>& visit);

/// Drops a note that nobody asked about, and what the autorelease pools held that were thrown past.
/// For the head of what the host asks for, outside of every pool.
void forget_editor_turns();

}  // namespace vesk::platform
