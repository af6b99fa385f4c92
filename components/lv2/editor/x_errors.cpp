#include "components/lv2/editor/x_errors.hpp"

#include <X11/Xlib.h>
#include <setjmp.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

namespace vesk::lv2 {
namespace {

std::atomic<unsigned long> errors{0};
Display* toolkit_display = nullptr;
XErrorHandler toolkit_error = nullptr;
XIOErrorHandler toolkit_loss = nullptr;

/// Where to go on in this thread when a display is lost.
thread_local sigjmp_buf* landing = nullptr;

int count_error(Display* display, XErrorEvent* error) {
  if (display == toolkit_display && toolkit_error != nullptr) return toolkit_error(display, error);
  errors.fetch_add(1, std::memory_order_relaxed);
  return 0;
}

/// Displays of ours, whose loss we can live with.
std::mutex spared_mutex;
std::vector<Display*> spared;

bool is_spared(Display* display) {
  const std::lock_guard lock(spared_mutex);
  return std::find(spared.begin(), spared.end(), display) != spared.end();
}

/// What returns from here ends the process, unless the display has an exit handler of its own, as
/// the window system's and ours have and those that plugins open have not.
int leave_lost_display(Display* display) {
  if (display == toolkit_display) return toolkit_loss != nullptr ? toolkit_loss(display) : 0;
  if (is_spared(display)) return 0;
  if (landing != nullptr) siglongjmp(*landing, 1);
  // Somebody else's display on the main thread is the window system's affair; a thread that an
  // interface has started has nothing left to do, and cannot be ended.
  if (gettid() == getpid()) return toolkit_loss != nullptr ? toolkit_loss(display) : 0;
  for (;;) pause();
}

}  // namespace

void count_x_errors(Display* toolkit) {
  toolkit_display = toolkit;
  if (const XErrorHandler before = XSetErrorHandler(&count_error); before != &count_error) {
    if (toolkit_error == nullptr) toolkit_error = before;
  }
  if (const XIOErrorHandler before = XSetIOErrorHandler(&leave_lost_display);
      before != &leave_lost_display) {
    if (toolkit_loss == nullptr) toolkit_loss = before;
  }
}

unsigned long x_error_count() {
  return errors.load(std::memory_order_relaxed);
}

Display* open_display() {
  Display* display = XOpenDisplay(nullptr);
  if (display != nullptr) {
    XSetIOErrorExitHandler(display, [](Display*, void*) {}, nullptr);
    const std::lock_guard lock(spared_mutex);
    spared.push_back(display);
  }
  return display;
}

void close_display(Display* display) {
  XCloseDisplay(display);
  const std::lock_guard lock(spared_mutex);
  std::erase(spared, display);
}

bool survives_display_loss(void (*work)(void* context), void* context) {
  struct Landing {
    sigjmp_buf place;
    sigjmp_buf* const outer = landing;
    ~Landing() { landing = outer; }
  } here;
  if (sigsetjmp(here.place, 0) != 0) return false;
  landing = &here.place;
  work(context);
  return true;
}

}  // namespace vesk::lv2
