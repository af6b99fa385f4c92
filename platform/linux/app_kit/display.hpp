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
/// after AppKit has opened the display.
void outlive_display(void* display);

/// Whether the connection broke. Any thread.
bool display_is_lost();

}  // namespace vesk::platform
