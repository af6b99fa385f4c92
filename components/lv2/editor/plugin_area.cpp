#include "components/lv2/editor/plugin_area.hpp"

#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>

#include <algorithm>
#include <utility>

#include "components/lv2/editor/x_errors.hpp"

namespace vesk::lv2 {
namespace {

/// The focus moving between the area and what is in it is no leaving.
bool is_focus_change(int detail) {
  return detail != NotifyInferior && detail != NotifyPointer && detail != NotifyPointerRoot &&
         detail != NotifyDetailNone;
}

}  // namespace

std::unique_ptr<PluginArea> PluginArea::open() {
  Display* display = open_display();
  return display != nullptr ? std::unique_ptr<PluginArea>(new PluginArea(display)) : nullptr;
}

PluginArea::PluginArea(Display* display) : display_(display) {
  XSetWindowAttributes attributes{};
  attributes.event_mask =
      SubstructureNotifyMask | EnterWindowMask | LeaveWindowMask | FocusChangeMask;
  // No window manager is to take notice of it while it stands alone.
  attributes.override_redirect = True;
  window_ = XCreateWindow(display_, DefaultRootWindow(display_), 0, 0, 1, 1, 0, CopyFromParent,
                          InputOutput, nullptr, CWEventMask | CWOverrideRedirect, &attributes);
  watch_input();
  XSync(display_, False);
}

PluginArea::~PluginArea() {
  XDestroyWindow(display_, window_);
  close_display(display_);
}

/// Only one client may ask a window for its button events, and in here that is the interface. Raw
/// events come to everybody who asks for them, in order with those of the pointer's coming and
/// going, which tell whether they are about this window.
void PluginArea::watch_input() {
  int event = 0;
  int error = 0;
  int major = 2;
  int minor = 2;
  if (!XQueryExtension(display_, "XInputExtension", &input_extension_, &event, &error) ||
      XIQueryVersion(display_, &major, &minor) != Success) {
    // Every press inside counts once it can be seen, which is when the pointer is here.
    input_extension_ = -1;
    return;
  }
  unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
  XISetMask(bits, XI_RawButtonPress);
  XISetMask(bits, XI_RawKeyPress);
  if (major > 2 || minor >= 2) XISetMask(bits, XI_RawTouchBegin);
  XIEventMask mask{XIAllMasterDevices, sizeof bits, bits};
  XISelectEvents(display_, DefaultRootWindow(display_), &mask, 1);
}

bool PluginArea::has_glx() const {
  int opcode = 0;
  int event = 0;
  int error = 0;
  return XQueryExtension(display_, "GLX", &opcode, &event, &error) != False;
}

bool PluginArea::is_lost() const {
  return display_has_gone(display_);
}

void PluginArea::put_into(unsigned long parent, int x, int y) {
  if (parent_ == parent && x_ == x && y_ == y) return;
  if (parent_ == parent) {
    XMoveWindow(display_, window_, x, y);
  } else {
    XReparentWindow(display_, window_, parent, x, y);
    XMapWindow(display_, window_);
  }
  parent_ = parent;
  x_ = x;
  y_ = y;
  // The toolkit's own connection may end the window at any time after this.
  XSync(display_, False);
}

void PluginArea::take_out() {
  if (parent_ == 0) return;
  parent_ = 0;
  XUnmapWindow(display_, window_);
  XReparentWindow(display_, window_, DefaultRootWindow(display_), 0, 0);
  XSync(display_, False);
}

void PluginArea::resize(AreaSize size) {
  if (size == size_) return;
  size_ = size;
  XResizeWindow(display_, window_, static_cast<unsigned>(std::max(size.width, 1)),
                static_cast<unsigned>(std::max(size.height, 1)));
  XFlush(display_);
}

/// The interface's window, 0 while it has none: the one on top, since some make helper windows
/// first.
unsigned long PluginArea::content() const {
  Window root = 0;
  Window parent = 0;
  Window* children = nullptr;
  unsigned count = 0;
  if (!XQueryTree(display_, window_, &root, &parent, &children, &count)) return 0;
  const Window top = count > 0 ? children[count - 1] : 0;
  if (children != nullptr) XFree(children);
  return top;
}

std::optional<AreaSize> PluginArea::new_content_size() {
  read_events();
  if (!std::exchange(content_changed_, false)) return std::nullopt;
  const Window window = content();
  XWindowAttributes attributes{};
  if (window == 0 || !XGetWindowAttributes(display_, window, &attributes) ||
      attributes.width <= 1 || attributes.height <= 1) {
    return std::nullopt;
  }
  return AreaSize{attributes.width, attributes.height};
}

void PluginArea::give_keyboard() {
  if (const Window window = content())
    XSetInputFocus(display_, window, RevertToParent, CurrentTime);
  XFlush(display_);
}

bool PluginArea::is_covered() const {
  Window root = DefaultRootWindow(display_);
  Window top = window_;
  Window parent = window_;
  Window* children = nullptr;
  unsigned count = 0;
  while (parent != root) {
    top = parent;
    if (!XQueryTree(display_, top, &root, &parent, &children, &count)) return false;
    if (children != nullptr) XFree(children);
  }
  if (!XQueryTree(display_, root, &root, &parent, &children, &count)) return false;
  bool is_below = false;
  for (unsigned above = count; above > 0 && children[above - 1] != top && !is_below; --above) {
    XWindowAttributes attributes{};
    is_below = XGetWindowAttributes(display_, children[above - 1], &attributes) != 0 &&
               attributes.map_state == IsViewable && attributes.override_redirect == False;
  }
  if (children != nullptr) XFree(children);
  return is_below;
}

bool PluginArea::is_touched() {
  if (!touched_) {
    XSync(display_, False);
    read_events();
  }
  return touched_;
}

bool PluginArea::take_press() {
  read_events();
  return std::exchange(pressed_, false);
}

void PluginArea::read_events() {
  while (XPending(display_) > 0) {
    XEvent event;
    XNextEvent(display_, &event);
    take(event);
  }
}

void PluginArea::take(XEvent& event) {
  switch (event.type) {
    case CreateNotify:
    case ConfigureNotify:
    case MapNotify:
    case ReparentNotify:
      content_changed_ = true;
      break;
    case EnterNotify:
    case LeaveNotify:
      // Nor is the pointer's.
      if (event.xcrossing.detail != NotifyInferior) {
        pointer_is_inside_ = event.type == EnterNotify;
        if (input_extension_ < 0) touched_ |= pointer_is_inside_;
      }
      break;
    case FocusIn:
    case FocusOut:
      if (event.xfocus.window == window_ && is_focus_change(event.xfocus.detail))
        has_focus_ = event.type == FocusIn;
      break;
    case GenericEvent:
      if (event.xcookie.extension == input_extension_) {
        const bool is_key = event.xcookie.evtype == XI_RawKeyPress;
        touched_ |= pointer_is_inside_ || (is_key && has_focus_);
        pressed_ |= pointer_is_inside_ && !is_key;
      }
      break;
    default:
      break;
  }
}

}  // namespace vesk::lv2
