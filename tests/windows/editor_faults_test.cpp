// Editors whose code fails and X servers that do: neither reaches the sound, and no edit is lost.

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <atomic>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/editor_host.hpp"

using namespace vesk::host;
using namespace vesk::tests;
using namespace std::chrono_literals;

namespace {

TEST_F(Editor, WhatAViewThrowsDoesNotReachTheSound) {
  struct Case {
    const char* name;
    EditorVariant variant;
    bool closes;  ///< by its close box, else clicked
    const char* line;
  };
  const Case cases[] = {
      {"Clicked", kThrowsInMouseDown, false, ": editor of plugin 0 failed: clicked in vain\n"},
      {"Told of its end", kThrowsInClosing, true, ": editor of plugin 0 failed: closed in vain\n"},
      {"Taken out", kThrowsInLeaving, true, ": editor of plugin 0 failed: left in vain\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ScratchFolder folder;
    const std::string chain = editors(c.variant, empty_preset(folder));
    RawHost host({.chain = chain});
    ASSERT_TRUE(host.wait_listening()) << host.block().error;
    host.ask_window(WindowRequest::open, 0, c.name);
    const auto window = find_window(c.name);
    ASSERT_TRUE(window);
    host.set_parameter(0, kLevel, 0.75f);
    EXPECT_TRUE(wait_heard(host, 0.75f));
    if (c.closes)
      click_close_box(*window);
    else
      click(*window, 30, 60);
    EXPECT_TRUE(host.wait_open(0));
    EXPECT_TRUE(wait_until([&] { return load_acquire(host.block().saved_write) == 1; }));
    EXPECT_TRUE(wait_heard(host, 0.75f));
    // Also while the host ends.
    host.ask_window(WindowRequest::open, 0, c.name);
    EXPECT_TRUE(host.wait_open(1));
    EXPECT_TRUE(host.stop());
    const std::string line = "plugin host " + chain + c.line;
    EXPECT_EQ(lines_without_workgroup(host), c.closes ? line + line : line);
  }
}

#if !defined(VESK_SANITIZER)  // which report a crash themselves
TEST_F(Editor, ACrashInAnEditorIsToldOfItsPlugin) {
  RawHost host({.chain = editors(kCrashesInMouseDown)});
  ASSERT_TRUE(host.wait_listening());
  host.ask_window(WindowRequest::open, 0, "Crashes");
  const auto window = find_window("Crashes");
  ASSERT_TRUE(window);
  click(*window, 30, 60);
  const int status = host.wait_end();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV) << status;
  EXPECT_EQ(lines_without_workgroup(host),
            "plugin host " + editors(kCrashesInMouseDown) + ": plugin 0 died in editor: SIGSEGV\n");
}
#endif

TEST_F(Editor, WithoutAServerThereIsNoWindowAndTheSoundGoesOn) {
  display_.kill();
  RawHost host({.chain = editors(kCocoaView)});
  ASSERT_TRUE(host.wait_listening());
  host.ask_window(WindowRequest::open, 0, "Nowhere");
  const std::string line = "plugin host " + editors(kCocoaView) + ": no window for plugin 0\n";
  EXPECT_TRUE(wait_until([&] { return host.standard_error() == line; })) << host.standard_error();
  EXPECT_EQ(load_acquire(host.block().open_mask), 0u);
  EXPECT_TRUE(wait_heard(host, 0.25f));
  EXPECT_TRUE(host.stop());
}

TEST_F(Editor, AServerThatGoesAwayTakesTheEditorsAndNotTheHost) {
  ScratchFolder folder;
  const std::string preset = empty_preset(folder);
  RawHost host({.chain = editors(kCocoaView, preset)});
  ASSERT_TRUE(host.wait_listening()) << host.block().error;
  host.ask_window(WindowRequest::open, 0, "Doomed");
  const auto window = find_window("Doomed");
  ASSERT_TRUE(window);
  click(*window, 150, 60);
  EXPECT_TRUE(wait_heard(host, 0.5f));
  display_.kill();
  EXPECT_TRUE(host.wait_open(0));
  EXPECT_TRUE(wait_until([&] { return host.block().saved_write == 1; }));
  EXPECT_TRUE(sleeps_between_turns(host)) << "it does not spin on the dead connection";
  host.ask_window(WindowRequest::open, 0, "Again");
  EXPECT_TRUE(
      wait_until([&] { return host.standard_error().ends_with("no window for plugin 0\n"); }));
  EXPECT_TRUE(wait_heard(host, 0.5f));
  EXPECT_TRUE(host.stop());
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
    CutDisplay display(whole == 0 ? SIZE_MAX : whole * part / parts);
    RawHost host({.chain = editors(kCocoaView), .environment = {"DISPLAY=" + display.name()}});
    ASSERT_TRUE(host.wait_listening()) << host.block().error;
    host.ask_window(WindowRequest::open, 0, "Cut");
    EXPECT_TRUE(host.wait_turns()) << host.standard_error();
    if (whole == 0) {
      EXPECT_TRUE(host.wait_open(1));
      whole = display.passed();
    }
    EXPECT_TRUE(wait_heard(host, 0.25f));
    EXPECT_TRUE(host.stop()) << host.standard_error();
  }
}

TEST_F(Editor, AServerThatGoesAwayWhileAViewTracksThePointerLosesNoEdit) {
  ScratchFolder folder;
  RawHost host({.chain = editors(kTracksMouse, empty_preset(folder))});
  ASSERT_TRUE(host.wait_listening()) << host.block().error;
  host.ask_window(WindowRequest::open, 0, "Held");
  const auto window = find_window("Held");
  ASSERT_TRUE(window);
  const auto [x, y] = on_screen(*window, 150, 60);
  output_of("xdotool mousemove " + std::to_string(x) + " " + std::to_string(y) + " mousedown 1");
  EXPECT_TRUE(wait_heard(host, 0.5f));
  display_.kill();
  EXPECT_TRUE(host.wait_open(0));
  EXPECT_TRUE(wait_until([&] { return host.block().saved_write == 1; }));
  EXPECT_TRUE(wait_heard(host, 0.5f));
  EXPECT_TRUE(host.stop());
}

// It may be told of what is typed while its window closes, and no later.
TEST_F(Editor, NothingOfAViewRunsOnceItsPluginIsGone) {
  struct Case {
    const char* name;
    std::function<void(RawHost&)> before_its_end;
  };
  const Case cases[] = {
      {"open", [](RawHost&) {}},
      {"closed", [](RawHost& host) { host.ask_window(WindowRequest::close_all); }},
      {"its server gone", [&](RawHost&) { display_.kill(); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ScratchFolder folder;
    const std::string chain = editors(kLingers, empty_preset(folder));
    RawHost host({.chain = chain});
    ASSERT_TRUE(host.wait_listening()) << host.block().error;
    host.ask_window(WindowRequest::open, 0, c.name);
    const auto window = find_window(c.name);
    ASSERT_TRUE(window);
    click(*window, 150, 60);
    EXPECT_TRUE(wait_heard(host, 0.5f));
    c.before_its_end(host);
    EXPECT_TRUE(host.stop()) << host.standard_error();
    EXPECT_EQ(lines_without_workgroup(host), "");
    RawHost next({.chain = chain});
    EXPECT_TRUE(next.wait_listening() && std::abs(heard(next) - 0.75f) < 0.01f) << heard(next);
  }
}

// Xlib would end the process.
TEST_F(Editor, AViewThatLosesItsOwnConnectionLosesNoEdit) {
  struct Case {
    const char* name;
    EditorVariant variant;
    bool closes;
  };
  const Case cases[] = {
      {"OnMainThread", kBreaksItsDisplay, true},
      {"OnItsThread", kBreaksItsDisplayOnThread, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ScratchFolder folder;
    const std::string preset = empty_preset(folder);
    RawHost host({.chain = editors(c.variant, preset)});
    ASSERT_TRUE(host.wait_listening()) << host.block().error;
    host.ask_window(WindowRequest::open, 0, c.name);
    const auto window = find_window(c.name);
    ASSERT_TRUE(window);
    click(*window, 150, 60);
    EXPECT_TRUE(wait_heard(host, 0.5f));
    if (!c.closes) host.ask_window(WindowRequest::close_all);
    EXPECT_TRUE(host.wait_open(0));
    EXPECT_TRUE(wait_until([&] { return host.block().saved_write == 1; }));
    EXPECT_TRUE(wait_heard(host, 0.5f));
    // It still shows editors.
    host.ask_window(WindowRequest::open, 0, "Next");
    EXPECT_TRUE(find_window("Next"));
    EXPECT_TRUE(host.stop());
    const std::string line = ": editor of plugin 0 failed: its connection to the X server broke\n";
    EXPECT_EQ(host.standard_error().find(line) != std::string::npos, c.closes)
        << host.standard_error();
  }
}

}  // namespace
