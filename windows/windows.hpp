#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

struct ComponentInstanceRecord;

namespace vesk::host {

/// The editor windows of a chain: opens them, tells when one closes, and is the one place where
/// the process dispatches window-system events.
///
/// Main thread only, callbacks included; nothing here is real-time safe. Costs nothing until the
/// first editor is asked for: before it no window-system object exists and `pump` merely runs the
/// run loop.
class Windows {
 public:
  /// `on_close` must not be empty. It gets the plugin index of every window that closes, while it
  /// closes, and may get an index again for a window that was told to close twice.
  explicit Windows(std::function<void(unsigned)> on_close);

  /// Closes every window (each calls `on_close`) and releases everything.
  ~Windows();

  Windows(const Windows&) = delete;
  Windows& operator=(const Windows&) = delete;

  /// Shows the editor of plugin `plugin`, whose loaded Audio Unit is `unit`, in a window titled
  /// `title` (UTF-8; bytes that are none show as replacement characters). A plugin that has a
  /// window already gets it back in front under the new title. Any index is accepted; those
  /// beyond 31 never show in `open_mask`.
  ///
  /// Can hold the thread for about 2 s, when a unit does not answer the request for its view
  /// controller. False when no view could be made, or when there is no window server to show it.
  bool open(unsigned plugin, ComponentInstanceRecord* unit, const std::string& title);

  /// The same with the generic panel, whatever view the unit has.
  bool open_panel(unsigned plugin, ComponentInstanceRecord* unit, const std::string& title);

  /// Closes every window, in the order of the plugins.
  void close_all();

  /// Bit i: plugin i (0 to 31) has a window that is on screen.
  std::uint32_t open_mask() const;

  /// Dispatches events and main-queue tasks for up to `seconds`, longer only while events keep
  /// coming.
  void pump(double seconds);

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};

}  // namespace vesk::host
