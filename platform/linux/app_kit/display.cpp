#include "app_kit/display.hpp"

#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <atomic>
#include <optional>

namespace vesk::platform {
namespace {

std::atomic<bool> lost{false};
Display* app_display = nullptr;

/// The window that `window` names in its property of the window-manager check.
std::optional<Window> named_window(Display* display, Window window) {
  const Atom property = XInternAtom(display, "_NET_SUPPORTING_WM_CHECK", True);
  if (property == None) return std::nullopt;
  Atom type = None;
  int format = 0;
  unsigned long count = 0;
  unsigned long rest = 0;
  unsigned char* data = nullptr;
  const int status = XGetWindowProperty(display, window, property, 0, 1, False, XA_WINDOW, &type,
                                        &format, &count, &rest, &data);
  std::optional<Window> named;
  if (status == Success && type == XA_WINDOW && format == 32 && count == 1) {
    named = *reinterpret_cast<unsigned long*>(data);
  }
  if (data) XFree(data);
  return named;
}

/// A window manager that ended leaves its name on the root window: the window it names must name
/// itself as well.
bool has_window_manager(Display* display) {
  const auto manager = named_window(display, DefaultRootWindow(display));
  return manager && named_window(display, *manager) == manager;
}

int ignore_error(Display*, XErrorEvent*) {
  return 0;
}

/// Installed for every display of the process: those that plugins open themselves do not count.
int note_loss(Display* display) {
  if (display == app_display) lost.store(true, std::memory_order_release);
  return 0;
}

void stay_alive(Display*, void*) {}

}  // namespace

DisplayProbe probe_display() {
  DisplayProbe probe;
  Display* display = XOpenDisplay(nullptr);
  if (!display) return probe;
  probe.is_reachable = true;
  // The default handler ends the process, and a window may go away between two questions.
  const XErrorHandler outer = XSetErrorHandler(ignore_error);
  probe.has_window_manager = has_window_manager(display);
  XSetErrorHandler(outer);
  XCloseDisplay(display);
  return probe;
}

void outlive_display(void* display) {
  app_display = static_cast<Display*>(display);
  XSetIOErrorHandler(note_loss);
  XSetIOErrorExitHandler(app_display, stay_alive, nullptr);
}

bool display_is_lost() {
  return lost.load(std::memory_order_acquire);
}

}  // namespace vesk::platform
