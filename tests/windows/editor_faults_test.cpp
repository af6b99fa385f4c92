// Editors whose code fails and X servers that do: neither reaches the sound, and no edit is lost.

#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <atomic>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/child_process.hpp"
#include "tests/support/editor_host.hpp"

using namespace vesk::host;
using namespace vesk::tests;

namespace {

TEST_F(Editor, WhatAViewThrowsAsItLeavesReachesNeitherTheSoundNorTheEditNorTheHostsEnd) {
  const std::string chain = editors(kThrowsInLeaving, empty_preset(folder_));
  EditorHost host(chain);
  const WindowPlace window = host.show("Throws");
  EXPECT_TRUE(host.set_level(0.75f));
  click_close_box(window);
  EXPECT_TRUE(host.closes_and_has_saved(1));
  EXPECT_TRUE(host.plays(0.75f));
  host.show("Throws");
  EXPECT_TRUE(host.stop());
  const std::string line = "plugin host " + chain + ": editor of plugin 0 failed: left in vain\n";
  EXPECT_EQ(host.lines(), line + line);
}

#if !defined(VESK_SANITIZER)  // which report a crash themselves
TEST_F(Editor, ACrashInAnEditorIsToldOfItsPlugin) {
  EditorHost host(editors(kCrashesInMouseDown));
  click(host.show("Crashes"), 30, 60);
  const int status = host.wait_end();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV) << status;
  EXPECT_EQ(host.lines(),
            "plugin host " + editors(kCrashesInMouseDown) + ": plugin 0 died in editor: SIGSEGV\n");
}
#endif

TEST_F(Editor, AServerThatGoesAwayTakesTheEditorsAndNeitherTheHostNorAnEdit) {
  for (const bool is_tracking : {false, true}) {
    SCOPED_TRACE(is_tracking ? "while a view tracks the pointer" : "between two events");
    VirtualDisplay display;
    const ScratchFolder folder;
    EditorHost host(editors(is_tracking ? kTracksMouse : kCocoaView, empty_preset(folder)));
    const WindowPlace window = host.show("Doomed");
    if (is_tracking)
      press(window, 150, 60);
    else
      click(window, 150, 60);
    EXPECT_TRUE(host.plays(0.5f));
    display.kill();
    EXPECT_TRUE(host.closes_and_has_saved(1));
    EXPECT_TRUE(host.sleeps_between_turns()) << "it does not spin on the dead connection";
    host.ask_window(WindowRequest::open, 0, "Again");
    EXPECT_TRUE(
        wait_until([&] { return host.standard_error().ends_with("no window for plugin 0\n"); }));
    EXPECT_TRUE(host.plays(0.5f));
    EXPECT_TRUE(host.stop());
  }
}

/// Passes on what clients and the display of the environment say to each other, until that display
/// has said `limit` bytes: then it is gone.
class CutDisplay {
 public:
  explicit CutDisplay(std::size_t limit) : limit_(limit) {
    bind(listening_, reinterpret_cast<const sockaddr*>(&address_), address_size(number_));
    listen(listening_, 8);
    thread_ = std::thread([this] { serve(); });
  }
  ~CutDisplay() {
    shutdown(listening_, SHUT_RDWR);
    thread_.join();
    close(listening_);
  }
  CutDisplay(const CutDisplay&) = delete;
  CutDisplay& operator=(const CutDisplay&) = delete;

  std::string name() const { return ":" + std::to_string(number_); }
  std::size_t passed() const { return passed_; }

 private:
  /// Of the socket of display `number`, without a file; in `address_`.
  socklen_t address_size(int number) {
    address_ = {.sun_family = AF_UNIX, .sun_path = {}};
    const std::string path = "/tmp/.X11-unix/X" + std::to_string(number);
    path.copy(address_.sun_path + 1, path.size());
    return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + path.size());
  }
  void serve() {
    std::vector<pollfd> sockets{{listening_, POLLIN, 0}};  // then pairs: a client, the display
    while (passed_ < limit_ && poll(sockets.data(), sockets.size(), -1) > 0 &&
           (sockets[0].revents & POLLHUP) == 0) {
      for (std::size_t i = 1; i < sockets.size(); ++i)
        if (sockets[i].fd >= 0 && sockets[i].revents != 0)
          pass(sockets[i], sockets[i % 2 == 1 ? i + 1 : i - 1], i);
      if (sockets[0].revents == 0) continue;
      const int client = accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
      const int display = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
      const socklen_t size = address_size(atoi(getenv("DISPLAY") + 1));
      connect(display, reinterpret_cast<const sockaddr*>(&address_), size);
      sockets.insert(sockets.end(), {{client, POLLIN, 0}, {display, POLLIN, 0}});
    }
    shutdown(listening_, SHUT_RDWR);
    for (std::size_t i = 1; i < sockets.size(); ++i)
      if (sockets[i].fd >= 0) close(sockets[i].fd);
  }
  void pass(pollfd& from, pollfd& to, std::size_t index) {
    char bytes[4096];
    const ssize_t count = read(from.fd, bytes, sizeof bytes);
    if (count <= 0 || send(to.fd, bytes, static_cast<std::size_t>(count), MSG_NOSIGNAL) != count) {
      for (pollfd* end : {&from, &to}) close(std::exchange(end->fd, -1));
      return;
    }
    if (index % 2 == 0) passed_ += static_cast<std::size_t>(count);
  }

  const int number_ = 100000 + getpid();
  const std::size_t limit_;
  const int listening_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address_{};
  std::atomic<std::size_t> passed_{0};
  std::thread thread_;
};

TEST_F(Editor, AServerThatGoesAwayWhileAnEditorOpensDoesNotTakeTheHost) {
  std::size_t whole = 0;
  constexpr std::size_t parts = 12;
  for (std::size_t part = parts; part > 0; --part) {
    SCOPED_TRACE(part);
    const CutDisplay display(whole == 0 ? SIZE_MAX : whole * part / parts);
    EditorHost host(editors(kCocoaView), {"DISPLAY=" + display.name()});
    host.ask_window(WindowRequest::open, 0, "Cut");
    EXPECT_TRUE(host.wait_turns()) << host.standard_error();
    if (whole == 0) {
      EXPECT_TRUE(host.wait_open(1));
      whole = display.passed();
    }
    EXPECT_TRUE(host.plays(0.25f));
    EXPECT_TRUE(host.stop()) << host.standard_error();
  }
}

// It may be told of what is typed while its window closes, and no later.
TEST_F(Editor, NothingOfAViewRunsOnceItsPluginIsGone) {
  const std::pair<const char*, std::function<void(RawHost&)>> cases[] = {
      {"open", [](RawHost&) {}},
      {"closed", [](RawHost& host) { host.ask_window(WindowRequest::close_all); }},
      {"its server gone", [&](RawHost&) { display_.kill(); }},
  };
  for (const auto& [name, before_its_end] : cases) {
    SCOPED_TRACE(name);
    const ScratchFolder folder;
    const std::string chain = editors(kLingers, empty_preset(folder));
    EditorHost host(chain);
    click(host.show(name), 150, 60);
    EXPECT_TRUE(host.plays(0.5f));
    before_its_end(host);
    EXPECT_TRUE(host.stop()) << host.standard_error();
    EXPECT_EQ(host.lines(), "");
    EditorHost next(chain);
    EXPECT_NEAR(next.heard(), 0.75f, 0.01);
    EXPECT_TRUE(next.stop());
  }
}

// Xlib would end the process.
TEST_F(Editor, AViewThatLosesItsOwnConnectionLosesNoEdit) {
  for (const bool on_main_thread : {true, false}) {
    SCOPED_TRACE(on_main_thread ? "on the main thread" : "on its own");
    const ScratchFolder folder;
    EditorHost host(editors(on_main_thread ? kBreaksItsDisplay : kBreaksItsDisplayOnThread,
                            empty_preset(folder)));
    click(host.show("Breaks"), 150, 60);
    EXPECT_TRUE(host.plays(0.5f));
    if (!on_main_thread) host.ask_window(WindowRequest::close_all);
    EXPECT_TRUE(host.closes_and_has_saved(1));
    EXPECT_TRUE(host.plays(0.5f));
    host.show("It still shows editors");
    EXPECT_TRUE(host.stop());
    const std::string line = ": editor of plugin 0 failed: its connection to the X server broke\n";
    EXPECT_EQ(host.standard_error().find(line) != std::string::npos, on_main_thread)
        << host.standard_error();
  }
}

TEST_F(Editor, AParentThatIsKilledLosesNoEdit) {
  const std::string preset = empty_preset(folder_);
  const Bytes old = file_bytes(preset);
  const ChildEnd parent = run_in_child([&] {
    EditorHost host(editors(kCocoaView, preset));
    shm_unlink(host.object_name().c_str());
    host.show("Orphaned");
    return host.set_level(0.75f) ? raise(SIGKILL) : 1;
  });
  ASSERT_TRUE(parent.died_of(SIGKILL)) << parent.standard_error;
  EXPECT_TRUE(wait_until([&] { return file_bytes(preset) != old; }));
  EditorHost next(editors(kCocoaView, preset));
  EXPECT_NEAR(next.heard(), 0.75f, 0.02);
}

// As on a full disk, which takes no rights to make.
TEST_F(Editor, AStateThatCannotBeWrittenIsToldKeepsTheOldFileAndIsTriedAgain) {
  const std::string preset = empty_preset(folder_);
  const Bytes old = file_bytes(preset);
  EditorHost host(editors(kCocoaView, preset));
  // Less than the state, more than the lines that the host writes to standard error.
  rlimit limit{};
  prlimit(host.pid(), RLIMIT_FSIZE, nullptr, &limit);
  const rlimit small{300, limit.rlim_max};
  prlimit(host.pid(), RLIMIT_FSIZE, &small, nullptr);
  const std::string line = "plugin host: could not save state to " + preset + "\n";
  ASSERT_TRUE(host.open_and_close() && host.set_level(0.5f) && host.open_and_close());
  EXPECT_EQ(host.standard_error(), line);
  ASSERT_TRUE(host.open_and_close());
  EXPECT_EQ(host.standard_error(), line + line);
  EXPECT_EQ(load_acquire(host.block().saved_write), 0u);
  EXPECT_EQ(file_bytes(preset), old);
  prlimit(host.pid(), RLIMIT_FSIZE, &limit, nullptr);
  ASSERT_TRUE(host.open_and_close());
  EXPECT_EQ(load_acquire(host.block().saved_write), 1u);
  EXPECT_NE(file_bytes(preset), old);
  EXPECT_TRUE(host.stop());
}

}  // namespace
