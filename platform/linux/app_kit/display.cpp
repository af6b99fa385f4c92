#include "platform/linux/app_kit/display.hpp"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xlibint.h>
#include <poll.h>
#include <unistd.h>

#undef max
#undef min
#include <algorithm>
#include <atomic>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <vector>

#include "platform/linux/dispatch/run_loop.hpp"

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
  if (status == Success && type == XA_WINDOW && format == 32 && count == 1)
    named = *reinterpret_cast<unsigned long*>(data);
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

void stay_alive(Display*, void*) {}

/// How many `ViewCode` the main thread is inside of.
int view_code_depth = 0;

/// Connections of views whose loss is known, until they are closed.
std::mutex known_mutex;
std::vector<Display*> known_lost;

int forget_lost(Display* display, XExtCodes*) {
  const std::lock_guard lock(known_mutex);
  std::erase(known_lost, display);
  return 0;
}

bool is_known_lost(Display* display) {
  const std::lock_guard lock(known_mutex);
  return std::find(known_lost.begin(), known_lost.end(), display) != known_lost.end();
}

void remember_lost(Display* display) {
  XSetIOErrorExitHandler(display, stay_alive, nullptr);
  if (const XExtCodes* codes = XAddExtension(display))
    XESetCloseDisplay(display, codes->extension, forget_lost);
  const std::lock_guard lock(known_mutex);
  known_lost.push_back(display);
}

/// Installed for every display of the process. Once it returns Xlib calls the display's exit
/// handler, which it has looked up before: one set in here serves the calls after this one, such as
/// those with which a view cleans up. For this one there are only ways that do not return.
int note_loss(Display* display) {
  if (display == app_display) {
    lost.store(true, std::memory_order_release);
    return 0;
  }
  if (is_known_lost(display)) return 0;
  // To end in order is better than to throw where nobody catches.
  const bool is_main = loop::is_main_thread();
  if (is_main && view_code_depth == 0) return 0;
  remember_lost(display);
  if (is_main) throw std::runtime_error("its connection to the X server broke");
  // Xlib has locked the display for whoever handles the error, and other threads may want it.
  XUnlockDisplay(display);
  for (;;) pause();
}

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

void watch_displays() {
  XSetIOErrorHandler(note_loss);
}

void outlive_display(void* display) {
  app_display = static_cast<Display*>(display);
  XSetIOErrorExitHandler(app_display, stay_alive, nullptr);
}

bool display_is_lost() {
  return lost.load(std::memory_order_acquire);
}

bool has_unread_events() {
  return app_display != nullptr && XEventsQueued(app_display, QueuedAlready) > 0;
}

bool display_has_gone() {
  if (display_is_lost() || !app_display) return display_is_lost();
  pollfd connection{ConnectionNumber(app_display), 0, 0};
  return poll(&connection, 1, 0) > 0 && (connection.revents & (POLLHUP | POLLERR)) != 0;
}

ViewCode::ViewCode() {
  ++view_code_depth;
}

ViewCode::~ViewCode() {
  --view_code_depth;
}

}  // namespace vesk::platform
