#include "components/lv2/editor/x_errors.hpp"

#include <X11/Xlib.h>
#include <poll.h>
#include <setjmp.h>
#include <signal.h>
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

struct sigaction crash_before;

/// OpenGL libraries read answers that a server who has gone never gave. What they crash in is left
/// like a call of Xlib's. (Nobody else holds the list: this thread is in a plugin's code.)
void leave_crash(int signal, siginfo_t* info, void*) {
  if (gettid() == getpid() && landing != nullptr &&
      std::any_of(spared.begin(), spared.end(), display_has_gone)) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    siglongjmp(*landing, 1);
  }
  // It crashes again, for whom it was before; a signal that somebody sent is sent again.
  sigaction(signal, &crash_before, nullptr);
  if (info->si_code <= 0) raise(signal);
}

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
  struct sigaction ours{};
  ours.sa_sigaction = &leave_crash;
  ours.sa_flags = SA_SIGINFO | SA_ONSTACK;
  struct sigaction before{};
  if (sigaction(SIGSEGV, &ours, &before) == 0 && before.sa_sigaction != &leave_crash)
    crash_before = before;
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

bool display_has_gone(Display* display) {
  pollfd connection{ConnectionNumber(display), 0, 0};
  return poll(&connection, 1, 0) != 0 && (connection.revents & (POLLHUP | POLLERR)) != 0;
}

bool any_display_has_gone() {
  const std::lock_guard lock(spared_mutex);
  return std::any_of(spared.begin(), spared.end(), display_has_gone);
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
