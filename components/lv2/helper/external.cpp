// Interfaces that open a window of their own. The first window that one makes becomes a part of the
// host's instead: this program's functions are found before Xlib's.

#include <X11/Xlib.h>
#include <dlfcn.h>

#include "components/lv2/helper/toolkit.hpp"

namespace vesk::lv2 {
namespace {

/// What an external interface gives as its widget.
struct ExternalWidget {
  void (*run)(ExternalWidget*);
  void (*show)(ExternalWidget*);
  void (*hide)(ExternalWidget*);
};

/// The host's window, while the interface has not made its own.
Window place = 0;

/// The parent for a new window of the interface's; helper windows that nobody sees stay out.
Window parent_of_new(Display* display, Window parent, unsigned width, unsigned height) {
  if (place == 0 || parent != DefaultRootWindow(display) || width <= 1 || height <= 1)
    return parent;
  const Window taken = place;
  place = 0;
  return taken;
}

/// Xlib's own function.
template <typename Function>
Function* next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

class External final : public Toolkit {
 public:
  unsigned long show(LV2UI_Widget widget, unsigned long) override {
    widget_ = static_cast<ExternalWidget*>(widget);
    widget_->show(widget_);
    return 0;
  }
  void pump() override {
    if (widget_ != nullptr) widget_->run(widget_);
  }
  void resize(AreaSize) override {}
  int pause_ms() const override { return 33; }

 private:
  ExternalWidget* widget_ = nullptr;
};

}  // namespace

void take_in_window(unsigned long parent) {
  place = parent;
}

std::unique_ptr<Toolkit> open_external() {
  return std::make_unique<External>();
}

}  // namespace vesk::lv2

extern "C" {

[[gnu::visibility("default")]] Window XCreateWindow(Display* display, Window parent, int x, int y,
                                                    unsigned width, unsigned height,
                                                    unsigned border, int depth, unsigned kind,
                                                    Visual* visual, unsigned long mask,
                                                    XSetWindowAttributes* attributes) {
  static auto* const create = vesk::lv2::next(&XCreateWindow, "XCreateWindow");
  const bool is_managed = (mask & CWOverrideRedirect) == 0 || attributes->override_redirect == 0;
  if (is_managed && kind != InputOnly)
    parent = vesk::lv2::parent_of_new(display, parent, width, height);
  return create(display, parent, x, y, width, height, border, depth, kind, visual, mask,
                attributes);
}

[[gnu::visibility("default")]] Window XCreateSimpleWindow(Display* display, Window parent, int x,
                                                          int y, unsigned width, unsigned height,
                                                          unsigned border,
                                                          unsigned long border_colour,
                                                          unsigned long background) {
  static auto* const create = vesk::lv2::next(&XCreateSimpleWindow, "XCreateSimpleWindow");
  return create(display, vesk::lv2::parent_of_new(display, parent, width, height), x, y, width,
                height, border, border_colour, background);
}

}  // extern "C"
