#include "tests/support/display.hpp"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "tests/support/child_process.hpp"
#include "tests/support/wait_until.hpp"

namespace vesk::tests {
namespace {

using namespace std::chrono_literals;

// What GNUstep draws around a view where no window manager does.
constexpr int edge = 1;
constexpr int title_bar = 22;

/// The system's GNUstep settings, but with the user's own kept in `folder`.
void keep_settings_in(const ScratchFolder& folder) {
  std::ifstream system_settings("/etc/GNUstep/GNUstep.conf");
  std::ofstream own(folder / "GNUstep.conf");
  for (std::string line; std::getline(system_settings, line);) {
    if (!line.starts_with("GNUSTEP_USER_DEFAULTS_DIR=") &&
        !line.starts_with("GNUSTEP_USER_DIR_LIBRARY=")) {
      own << line << "\n";
    }
  }
  own << "GNUSTEP_USER_DEFAULTS_DIR=" << folder / "Defaults" << "\n";
  own << "GNUSTEP_USER_DIR_LIBRARY=" << folder / "Library" << "\n";
  own.close();
  setenv("GNUSTEP_CONFIG_FILE", (folder / "GNUstep.conf").c_str(), 1);
}

/// Starts a program that ends with the test, even one that crashes, and does not get its pipes;
/// `kept` becomes its descriptor 9.
pid_t start_quietly(const std::vector<std::string>& words, int kept = -1) {
  const pid_t child = fork();
  if (child != 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int nowhere = open("/dev/null", O_RDWR);
  for (const int descriptor : {0, 1, 2}) dup2(nowhere, descriptor);
  if (kept >= 0) dup2(kept, 9);
  become(words);
}

std::vector<unsigned long> property_of(Display* display, Window window, const char* name) {
  Atom type = None;
  int format = 0;
  unsigned long count = 0;
  unsigned long rest = 0;
  unsigned char* data = nullptr;
  XGetWindowProperty(display, window, XInternAtom(display, name, False), 0, 64, False,
                     AnyPropertyType, &type, &format, &count, &rest, &data);
  const auto* const numbers = reinterpret_cast<const unsigned long*>(data);
  std::vector<unsigned long> values(numbers, numbers + (format == 32 ? count : 0));
  if (data) XFree(data);
  return values;
}

/// As a task bar does it: where a manager's buttons are is a matter of its theme.
void ask_manager_to_close(const WindowPlace& window) {
  Display* const display = XOpenDisplay(nullptr);
  if (!display) return;
  XEvent event{};
  event.xclient.type = ClientMessage;
  event.xclient.window = std::stoul(window.id);
  event.xclient.message_type = XInternAtom(display, "_NET_CLOSE_WINDOW", False);
  event.xclient.format = 32;
  XSendEvent(display, DefaultRootWindow(display), False,
             SubstructureRedirectMask | SubstructureNotifyMask, &event);
  XCloseDisplay(display);
}

/// Whether windows on the present display are a window manager's.
bool windows_are_managed = false;

std::string at(const WindowPlace& window, int x, int y) {
  if (window.is_managed) {
    return "xdotool mousemove --window " + window.id + " " + std::to_string(x) + " " +
           std::to_string(y);
  }
  const auto [screen_x, screen_y] = on_screen(window, x, y);
  return "xdotool mousemove " + std::to_string(screen_x) + " " + std::to_string(screen_y);
}

}  // namespace

VirtualDisplay::VirtualDisplay(bool with_gl) {
  windows_are_managed = false;
  keep_settings_in(settings_);
  int number[2];
  if (pipe2(number, O_CLOEXEC) != 0) return;
  // A number of its own: a server that is just ending may still hold the first free one.
  static int servers = 0;
  const std::string name = ":" + std::to_string(100 + (getpid() * 8 + servers++ % 8) % 50000);
  pid_ =
      start_quietly({"Xvfb", name, "-displayfd", "9", "-screen", "0", "1280x1024x24", "-nolisten",
                     "tcp", "-noreset", with_gl ? "+extension" : "-extension", "GLX"},
                    number[1]);
  close(number[1]);
  // It names the display once it listens; the line's end comes by itself, and would end a server
  // that can no longer write it.
  std::string served;
  for (char byte = 0; read(number[0], &byte, 1) == 1 && byte != '\n';) served += byte;
  close(number[0]);
  if (!served.empty()) setenv("DISPLAY", (":" + served).c_str(), 1);
}

VirtualDisplay::~VirtualDisplay() {
  // Asked, it removes its socket.
  end(SIGTERM);
}

bool VirtualDisplay::start_window_manager() {
  Display* const display = static_cast<Display*>(connection());
  manager_ = start_quietly({"openbox"});
  windows_are_managed = wait_until([&] {
    return !property_of(display, DefaultRootWindow(display), "_NET_SUPPORTING_WM_CHECK").empty();
  });
  return windows_are_managed;
}

bool VirtualDisplay::keeps(const std::string& name) const {
  return std::filesystem::exists(settings_ / name);
}

void VirtualDisplay::change_settings(const std::string& program, const std::string& pattern,
                                     const std::string& replacement) {
  const std::string path = settings_ / ("Defaults/" + program + ".plist");
  std::ifstream file(path);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  std::ofstream(path) << std::regex_replace(text, std::regex(pattern), replacement);
}

void VirtualDisplay::pretend_window_manager(bool ended) {
  Display* const display = static_cast<Display*>(connection());
  const Window root = DefaultRootWindow(display);
  const Window manager = XCreateSimpleWindow(display, root, -1, -1, 1, 1, 0, 0, 0);
  const Atom mark = XInternAtom(display, "_NET_SUPPORTING_WM_CHECK", False);
  for (const Window window : {root, manager}) {
    XChangeProperty(display, window, mark, XA_WINDOW, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&manager), 1);
  }
  if (ended) XDestroyWindow(display, manager);
  XSync(display, False);
}

unsigned long VirtualDisplay::colour_at(int x, int y) {
  Display* const display = static_cast<Display*>(connection());
  XImage* image = XGetImage(display, DefaultRootWindow(display), x, y, 1, 1, AllPlanes, ZPixmap);
  if (!image) return 0;
  const unsigned long colour = XGetPixel(image, 0, 0);
  XDestroyImage(image);
  return colour;
}

std::vector<unsigned long> VirtualDisplay::property(unsigned long window, const char* name) {
  return property_of(static_cast<Display*>(connection()), window, name);
}

void VirtualDisplay::take_focus() {
  Display* const display = static_cast<Display*>(connection());
  XSetInputFocus(display, DefaultRootWindow(display), RevertToNone, CurrentTime);
  XSync(display, False);
}

std::vector<unsigned long> VirtualDisplay::stacked_windows() {
  Display* const display = static_cast<Display*>(connection());
  Window root = None;
  Window parent = None;
  Window* children = nullptr;
  unsigned count = 0;
  XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count);
  std::vector<unsigned long> shown;
  for (unsigned i = 0; i < count; ++i) {
    XWindowAttributes attributes;
    if (XGetWindowAttributes(display, children[i], &attributes) &&
        attributes.map_state == IsViewable) {
      shown.push_back(children[i]);
    }
  }
  if (children) XFree(children);
  return shown;
}

void VirtualDisplay::kill() {
  end(SIGKILL);
}

void* VirtualDisplay::connection() {
  if (!connection_) connection_ = XOpenDisplay(nullptr);
  if (!connection_) throw std::runtime_error("no X server");
  return connection_;
}

void VirtualDisplay::end(int signal) {
  if (pid_ <= 0) return;
  if (manager_ > 0) {
    ::kill(manager_, SIGTERM);
    waitpid(manager_, nullptr, 0);
  }
  // Before the server goes: Xlib ends a process that loses one.
  if (connection_) XCloseDisplay(static_cast<Display*>(connection_));
  connection_ = nullptr;
  ::kill(pid_, signal);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

std::string output_of(const std::string& command) {
  std::string output;
  FILE* pipe = popen(command.c_str(), "r");
  char text[512];
  while (pipe && fgets(text, sizeof text, pipe)) output += text;
  if (pipe) pclose(pipe);
  return output;
}

std::optional<WindowPlace> look_for_window(const std::string& title) {
  std::istringstream found(
      output_of("xdotool search --onlyvisible --name '" + title + "' 2>/dev/null"));
  WindowPlace window;
  window.is_managed = windows_are_managed;
  if (!(found >> window.id)) return std::nullopt;
  std::istringstream geometry(output_of("xdotool getwindowgeometry --shell " + window.id));
  for (std::string line; std::getline(geometry, line);) {
    const int value = atoi(line.substr(line.find('=') + 1).c_str());
    if (line.starts_with("X=")) window.x = value;
    if (line.starts_with("Y=")) window.y = value;
    if (line.starts_with("WIDTH=")) window.width = value;
    if (line.starts_with("HEIGHT=")) window.height = value;
  }
  return window;
}

std::optional<WindowPlace> find_window(const std::string& title) {
  for (const auto end = std::chrono::steady_clock::now() + 10s;
       std::chrono::steady_clock::now() < end; std::this_thread::sleep_for(20ms)) {
    if (auto window = look_for_window(title)) return window;
  }
  return std::nullopt;
}

std::string title_of(const WindowPlace& window) {
  std::string title = output_of("xdotool getwindowname " + window.id);
  if (!title.empty()) title.pop_back();
  return title;
}

std::pair<int, int> on_screen(const WindowPlace& window, int x, int y) {
  if (window.is_managed) {
    // Of a window within a frame xdotool tells a wrong place, and takes the pointer to the right
    // one.
    const auto number = [&](const char* name) {
      return output_of(at(window, x, y) + " getmouselocation --shell | sed -n s/" + name + "=//p");
    };
    return {atoi(number("X").c_str()), atoi(number("Y").c_str())};
  }
  return {window.x + edge + x, window.y + edge + title_bar + y};
}

void click(const WindowPlace& window, int x, int y, int count) {
  output_of(at(window, x, y) + " click --delay 40 --repeat " + std::to_string(count) + " 1");
}

void press(const WindowPlace& window, int x, int y) {
  output_of(at(window, x, y) + " mousedown 1");
}

void drag(const WindowPlace& window, int from_x, int from_y, int to_x, int to_y) {
  press(window, from_x, from_y);
  output_of("sleep 0.05");
  for (int step = 1; step <= 4; ++step) {
    output_of(at(window, from_x + (to_x - from_x) * step / 4, from_y + (to_y - from_y) * step / 4) +
              " sleep 0.03");
  }
  output_of("xdotool mouseup 1");
}

void click_close_box(const WindowPlace& window) {
  if (window.is_managed) return ask_manager_to_close(window);
  click(window, view_width(window) - 10, -title_bar / 2);
}

int view_width(const WindowPlace& window) {
  return window.is_managed ? window.width : window.width - 2 * edge;
}

int view_height(const WindowPlace& window) {
  return window.is_managed ? window.height : window.height - 2 * edge - title_bar;
}

}  // namespace vesk::tests
