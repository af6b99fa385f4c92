#include "components/lv2/instance/qt_platform.hpp"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

namespace vesk::lv2 {
namespace {

bool connects(const std::string& path, bool abstract) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() + 2 > sizeof address.sun_path) return false;
  std::memcpy(address.sun_path + (abstract ? 1 : 0), path.data(), path.size());
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size() + 1);
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) return false;
  const bool answers =
      connect(descriptor, reinterpret_cast<const sockaddr*>(&address), length) == 0;
  close(descriptor);
  return answers;
}

/// A display on another machine (HOST:N) is taken at its word.
bool x_display_answers(const std::string& display) {
  const std::size_t colon = display.rfind(':');
  if (colon == std::string::npos || (colon != 0 && display.substr(0, colon) != "unix")) return true;
  const std::string number = display.substr(colon + 1, display.find('.', colon) - colon - 1);
  const std::string path = "/tmp/.X11-unix/X" + number;
  return connects(path, true) || connects(path, false);
}

}  // namespace

// Plugins are opened by the thread that loads a chain, before others of the host run.
void choose_qt_platform() {
  const char* x_display = std::getenv("DISPLAY");
  const bool has_display = x_display != nullptr && *x_display != '\0'
                               ? x_display_answers(x_display)
                               : std::getenv("WAYLAND_DISPLAY") != nullptr;
  if (!has_display) setenv("QT_QPA_PLATFORM", "offscreen", 0);
}

}  // namespace vesk::lv2
