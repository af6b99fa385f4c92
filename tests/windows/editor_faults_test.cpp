// Editors whose code fails and X servers that do: neither reaches the sound, and no edit is lost.

#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>

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
