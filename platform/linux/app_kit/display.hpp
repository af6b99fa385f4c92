#pragma once

namespace vesk::platform {

/// What has to be known of the X display before AppKit opens it for good.
struct DisplayProbe {
  bool is_reachable = false;
  bool has_window_manager = false;
};

/// Opens the display that the environment names, looks, and closes it again.
DisplayProbe probe_display();

/// From here on the process survives the loss of connections to the X server, at which Xlib would
/// end it: on the main thread, within a `ViewCode`, a loss throws std::runtime_error out of the
/// call that noticed; a thread of a view's own is held there for good. To be called before AppKit
/// opens its display and again after it.
void watch_displays();

/// Makes `display` (a Display*) the one that AppKit has opened. After its loss Xlib's calls on it
/// return at once, and `display_is_lost` says so.
void outlive_display(void* display);

/// Whether that connection was found broken. Any thread.
bool display_is_lost();

/// Whether events have come that no descriptor tells of any more, with the answer to a question.
/// Main thread.
bool has_unread_events();

/// Whether it is broken, found or not. Main thread.
bool display_has_gone();

/// While one lives, whatever is thrown on the main thread reaches the guard around views.
class ViewCode {
 public:
  ViewCode();
  ~ViewCode();
  ViewCode(const ViewCode&) = delete;
  ViewCode& operator=(const ViewCode&) = delete;
};

}  // namespace vesk::platform
