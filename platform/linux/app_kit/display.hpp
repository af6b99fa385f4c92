#pragma once

namespace vesk::platform {

/// What has to be known of the X display before AppKit opens it for good.
struct DisplayProbe {
  bool is_reachable = false;
  bool has_window_manager = false;
};

/// Opens the display that the environment names, looks, and closes it again.
DisplayProbe probe_display();

/// Keeps the process alive when the connection `display` (a Display*) breaks: Xlib would end it.
/// From then on Xlib's calls on it return at once and `display_is_lost` says so. To be called
/// after AppKit has opened the display. A connection that a view has opened for itself is survived
/// too: on the main thread, within a `ViewCode`, its loss throws std::runtime_error out of the
/// call that noticed; a thread of the view's own is held there for good.
void outlive_display(void* display);

/// Whether the connection broke. Any thread.
bool display_is_lost();

/// While one lives, whatever is thrown on the main thread reaches the guard around views.
class ViewCode {
 public:
  ViewCode();
  ~ViewCode();
  ViewCode(const ViewCode&) = delete;
  ViewCode& operator=(const ViewCode&) = delete;
};

}  // namespace vesk::platform
