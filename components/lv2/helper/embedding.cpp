#include "components/lv2/helper/embedding.hpp"

#include <X11/Xlib.h>

#include "components/lv2/editor/x_errors.hpp"

namespace vesk::lv2 {
namespace {

/// XEmbed's messages.
enum : long {
  embedded_notify = 0,
  window_activate = 1,
  window_deactivate = 2,
  focus_in = 4,
  focus_out = 5,
};

}  // namespace

Embedding::~Embedding() {
  if (display_ != nullptr) close_display(display_);
}

bool Embedding::open() {
  display_ = open_display();
  return display_ != nullptr;
}

void Embedding::show(unsigned long window) {
  window_ = window;
  XSelectInput(display_, window_, FocusChangeMask);
  tell(embedded_notify);
  XMapWindow(display_, window_);
  XSync(display_, False);
}

void Embedding::follow_focus() {
  while (XPending(display_) > 0) {
    XEvent event;
    XNextEvent(display_, &event);
    if (event.type != FocusIn && event.type != FocusOut) continue;
    if (event.xfocus.detail == NotifyPointer || event.xfocus.mode == NotifyGrab ||
        event.xfocus.mode == NotifyUngrab) {
      continue;
    }
    const bool has_it = event.type == FocusIn;
    tell(has_it ? window_activate : focus_out);
    tell(has_it ? focus_in : window_deactivate);
    XFlush(display_);
  }
}

void Embedding::tell(long message, long detail) {
  XEvent event{};
  event.xclient.type = ClientMessage;
  event.xclient.window = window_;
  event.xclient.message_type = XInternAtom(display_, "_XEMBED", False);
  event.xclient.format = 32;
  event.xclient.data.l[0] = CurrentTime;
  event.xclient.data.l[1] = message;
  event.xclient.data.l[2] = detail;
  XSendEvent(display_, window_, False, NoEventMask, &event);
}

}  // namespace vesk::lv2
