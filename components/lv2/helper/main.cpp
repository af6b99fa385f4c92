// Shows one interface of an LV2 plugin inside an X window of a host. Started by hosts, with a
// socket as standard input; components/lv2/editor/helper_socket.hpp has what is said over it.

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

#include "components/lv2/editor/interface_features.hpp"
#include "components/lv2/editor/loaded_interface.hpp"
#include "components/lv2/editor/x_errors.hpp"
#include "components/lv2/helper/embedding.hpp"
#include "components/lv2/helper/host_connection.hpp"
#include "components/lv2/helper/toolkit.hpp"

namespace vesk::lv2 {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::nanoseconds turn_interval{static_cast<long>(1e9 / turns_per_second)};

/// Runs until the host or the interface wants to end.
class Helper {
 public:
  explicit Helper(HostConnection& host) : host_(host) {}

  void run() {
    std::string error;
    if (!open(error)) {
      host_.send(HelperMessage::failed, error);
      return;
    }
    host_.send(HelperMessage::opened);
    while (!host_.is_closed() && follow_host() && take_turn()) host_.wait(toolkit_->pause_ms());
    if (!interface_->failure().empty()) host_.send(HelperMessage::failed, interface_->failure());
    // What it says while it is taken down still goes to the host.
    interface_.reset();
    host_.send(HelperMessage::ended);
  }

 private:
  bool open(std::string& error) {
    toolkit_ = Toolkit::open(host_.kind(), error);
    if (toolkit_ == nullptr) return false;
    if (!embedding_.open()) {
      error = "the display does not answer";
      return false;
    }
    // Mistakes with X end nothing, as in a host.
    count_x_errors(nullptr);
    if (host_.kind() == InterfaceKind::external) take_in_window(host_.place().window);
    interface_ = LoadedInterface::open(host_, host_, host_.place(), error);
    if (interface_ == nullptr) return false;
    if (interface_->widget() == nullptr) {
      error = "it has made nothing to be shown";
      return false;
    }
    unsigned long window = 0;
    const bool is_shown = interface_->run([&] {
      window = toolkit_->show(interface_->widget(), host_.place().window);
      toolkit_->pump();
    });
    if (!is_shown) {
      error = interface_->failure();
      return false;
    }
    if (window != 0) embedding_.show(window);
    return true;
  }

  bool follow_host() {
    while (const auto message = host_.receive()) {
      std::uint32_t port = 0;
      float value = 0;
      Bytes bytes;
      AreaSize size;
      if (message->kind == HelperMessage::close) return false;
      if (message->kind == HelperMessage::value && message->read(port, value)) {
        interface_->tell_value(port, value);
      } else if (message->kind == HelperMessage::atom && message->read(port, bytes)) {
        interface_->tell_atom(port, *reinterpret_cast<const LV2_Atom*>(bytes.data()));
      } else if (message->kind == HelperMessage::size && message->read(size.width, size.height)) {
        interface_->run([&] { toolkit_->resize(size); });
        interface_->resize(size);
      }
    }
    return true;
  }

  bool take_turn() {
    if (!interface_->run([&] { toolkit_->pump(); })) return false;
    embedding_.follow_focus();
    const auto now = Clock::now();
    if (now - last_turn_ < turn_interval) return true;
    last_turn_ = now;
    if (!interface_->follow_requests() || !interface_->turn()) return false;
    if (const auto size = interface_->take_wanted_size()) {
      interface_->run([&] { toolkit_->resize(*size); });
      host_.send(HelperMessage::size, size->width, size->height);
    }
    return true;
  }

  HostConnection& host_;
  std::unique_ptr<Toolkit> toolkit_;
  Embedding embedding_;
  std::unique_ptr<LoadedInterface> interface_;
  Clock::time_point last_turn_;
};

/// The socket, out of the way of what the interface starts. Not open when there is none.
File take_socket() {
  struct stat status{};
  if (fstat(STDIN_FILENO, &status) != 0 || !S_ISSOCK(status.st_mode)) return File();
  File socket(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  const File nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
  if (nothing.is_open()) dup2(nothing.descriptor(), STDIN_FILENO);
  return socket;
}

}  // namespace
}  // namespace vesk::lv2

int main() {
  using namespace vesk::lv2;
  File socket = take_socket();
  if (!socket.is_open()) {
    fputs("vesk-lv2-ui is started by hosts, to show interfaces of LV2 plugins.\n", stderr);
    return 2;
  }
  // Its window ends with the host, and it must not stay behind in a loop of its own.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  signal(SIGPIPE, SIG_IGN);
  HostConnection host(std::move(socket));
  if (!host.wait_for_order()) return 2;
  Helper(host).run();
  host.drain();
  // Toolkits and interfaces leave threads and exit handlers behind, which have nothing left to do.
  fflush(nullptr);
  _exit(0);
}
