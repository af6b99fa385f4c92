// Editors of a host process, used as a person does: real pointer events from another process.

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <filesystem>

#include "tests/support/comma_locale.hpp"
#include "tests/support/editor_host.hpp"

using namespace vesk::host;
using namespace vesk::tests;

namespace {

constexpr int screen_middle = 640;

TEST_F(Editor, ATurnedKnobIsHeardSavedAndRestored) {
  // Where in the view the level is set, and what a click at 225 points makes it.
  struct Case {
    const char* name;
    EditorVariant variant;
    int x;
    int y;
    float level;
  };
  const Case cases[] = {
      {"Cocoa", kCocoaView, 225, 60, 225.0f / 300},
      {"Controller", kControllerOnMainQueue, 180, 45, 180.0f / 240},
      // The first row of the panel: its slider reaches from 194 to 368 points.
      {"Panel", kNoEditor, 324, 82, 0.75f},
  };
  for (const bool is_managed : {false, true}) {
    if (is_managed) ASSERT_TRUE(display_.start_window_manager());
    for (const Case& c : cases) {
      SCOPED_TRACE(c.name + std::string(is_managed ? " under a window manager" : ""));
      const ScratchFolder folder;
      const std::string chain = editors(c.variant, empty_preset(folder));
      EditorHost host(chain);
      const WindowPlace window = host.show(c.name);
      click(window, c.x, c.y);
      EXPECT_TRUE(host.plays(c.level)) << host.heard();
      EXPECT_EQ(load_acquire(host.block().saved_write), 0u);
      click_close_box(window);
      EXPECT_TRUE(host.closes_and_has_saved(1));
      EXPECT_EQ(host.block().saved[0], 0u);
      EXPECT_TRUE(host.stop());
      EXPECT_EQ(host.lines(), "");
      EditorHost next(chain);
      EXPECT_NEAR(next.heard(), c.level, 0.02);
      EXPECT_TRUE(next.stop());
    }
  }
}

TEST_F(Editor, WhatHasChangedSinceItFirstOpenedIsSavedWhenItCloses) {
  const std::string preset = empty_preset(folder_);
  const Bytes untouched = file_bytes(preset);
  EditorHost host(editors(kCocoaView, preset));
  ASSERT_TRUE(host.set_level(0.25f));
  ASSERT_TRUE(host.open_and_close());
  EXPECT_EQ(load_acquire(host.block().saved_write), 0u);
  EXPECT_EQ(file_bytes(preset), untouched) << "nothing was changed in it";

  ASSERT_TRUE(host.set_level(0.5f));
  ASSERT_TRUE(host.open_and_close());
  EXPECT_EQ(load_acquire(host.block().saved_write), 1u) << "opening again is no new beginning";

  host.ask_window(WindowRequest::open);
  ASSERT_TRUE(host.wait_open(1));
  ASSERT_TRUE(host.set_level(0.75f));
  EXPECT_TRUE(host.stop());
  EXPECT_EQ(load_acquire(host.block().saved_write), 2u) << "the end closes it";
}

TEST_F(Editor, TheWindowComesBackWhereItWas) {
  struct Case {
    const char* name;
    int x;
  };
  const Case cases[] = {
      {"never shown", screen_middle},
      {"shown by the host before", 50},
      {"on a screen that is no longer there", screen_middle},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    if (&c == &cases[2]) display_.change_settings("vesk-host", ">50 ", ">5050 ");
    EditorHost host(editors(kCocoaView));
    const WindowPlace window = host.show("Moved");
    EXPECT_NEAR(window.x, c.x == screen_middle ? c.x - window.width / 2 : c.x, 4);
    output_of("xdotool windowmove --sync " + window.id + " 50 60");
    EXPECT_TRUE(host.wait_turns());
    EXPECT_TRUE(host.stop());
  }
}

TEST_F(Editor, TheHostIsNotHeldUpByThePanel) {
  EditorHost host(editors(kNoEditor));
  const WindowPlace window = host.show("Panel");
  // On the level's slider, the menu of the shape, the text of the level.
  const std::pair<int, int> places[] = {{324, 82}, {250, 166}, {450, 82}};
  float level = 0.9f;
  for (const auto& [x, y] : places) {
    press(window, x, y);
    level -= 0.2f;
    // Again and again: the slider sets it once itself, when the press reaches it.
    EXPECT_TRUE(wait_until([&] {
      host.set_parameter(0, kLevel, level);
      return std::abs(host.heard() - level) < 0.02f;
    })) << x;
    output_of("xdotool mouseup 1 key Escape");
  }
  EXPECT_TRUE(host.stop());
}

TEST_F(Editor, HostsShowEditorsBesideEachOtherAndStartNoProcess) {
  // What makes itself independent of a host is this process's then.
  ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  EditorHost talks(editors(kLogs));
  EditorHost panel(editors(kNoEditor));
  talks.show("Talks");
  // A selected text is for the pasteboard, and what serves that would be a program of its own.
  click(panel.show("Panel"), 450, 82, 2);
  for (EditorHost* host : {&talks, &panel}) {
    EXPECT_TRUE(host->wait_turns());
    const std::string pid = std::to_string(host->pid());
#if !__has_feature(thread_sanitizer)  // which has a child of its own to name functions with
    EXPECT_EQ(output_of("pgrep --parent " + pid), "");
#endif
    EXPECT_EQ(output_of("grep NSMessagePort/ports/" + pid + ". /proc/net/unix"), "")
        << "where services would be offered";
  }
  EXPECT_EQ(output_of("pgrep --parent " + std::to_string(getpid()) + " 'gdnc|gpbs'"), "");
  EXPECT_FALSE(display_.keeps("Library/Services")) << "what a search for services leaves";
  EXPECT_TRUE(panel.stop());
  EXPECT_EQ(panel.lines(), "");
  EXPECT_TRUE(talks.stop());
  EXPECT_NE(talks.lines().find("a plugin's own message"), std::string::npos);
}

TEST_F(Editor, ViewsAreFoundInFoldersOfAnyName) {
  const std::string components = folder_ / "Ger\xC3\xA4te \xF0\x9F\x8E\xB9";
  std::filesystem::create_directory_symlink(build_folder() + "/components", components);
  for (const char* locale : {"C.UTF-8", "C"}) {
    SCOPED_TRACE(locale);
    EditorHost host(editors(kCocoaView),
                    {"AUDIO_COMPONENT_PATH=" + components, "LC_ALL=" + std::string(locale)});
    EXPECT_EQ(view_height(host.show("Found")), 120);
    EXPECT_TRUE(host.stop());
    EXPECT_EQ(host.lines(), "");
  }
}

// The toolkit sets the environment's locale as it starts.
TEST_F(Editor, ViewsReadTheEnvironmentsCharactersAndNoDecimalComma) {
  const CommaLocale locale;
  if (!locale.is_there()) GTEST_SKIP() << "nothing to make a comma locale from";
  EditorHost host(editors(kReadsNumber),
                  {locale.place(), "LC_ALL=" + std::string(CommaLocale::name)});
  click(host.show("Counts"), 150, 60);
  EXPECT_TRUE(host.plays(0.75f)) << host.heard();
  EXPECT_TRUE(host.stop());
}

TEST_F(Editor, LeavesTheTitleBarToAWindowManagerWhereThereIsOne) {
  // As long as the block holds, so that no NUL ends it, and no text.
  const std::string good = "Caf\xEF\xBF\xBD \xF0\x9F\x8E\xB9 ";
  std::string title = "Caf\xE9 \xF0\x9F\x8E\xB9 ";
  const std::string rest(title_bytes - title.size(), 'L');
  constexpr unsigned long moved_minimised_or_closed = 0x04 | 0x08 | 0x20;
  for (const bool ended : {true, false}) {
    SCOPED_TRACE(ended ? "that left its mark as it ended" : "that runs");
    display_.pretend_window_manager(ended);
    EditorHost host(editors(kCocoaView));
    host.ask_window(WindowRequest::open, 0, title + rest);
    const auto window = find_window(rest);
    ASSERT_TRUE(window);
    EXPECT_EQ(title_of(*window), good + rest);
    EXPECT_EQ(ended ? view_width(*window) : window->width, 300);
    EXPECT_EQ(ended ? view_height(*window) : window->height, 120);
    if (!ended) {
      const auto hints = display_.property(std::stoul(window->id), "_MOTIF_WM_HINTS");
      ASSERT_EQ(hints.size(), 5u);
      EXPECT_EQ(hints[1], moved_minimised_or_closed) << "and not resized";
    }
    EXPECT_TRUE(host.stop());
    EXPECT_EQ(host.lines(), "");
  }
}

TEST_F(Editor, AHostWithAnEditorStillEndsWhenASignalAsksItTo) {
  for (const int number : {SIGTERM, SIGINT}) {
    EditorHost host(editors(kCocoaView));
    host.show("Ends");
    kill(host.pid(), number);
    const int status = host.wait_end();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == number) << status;
  }
}

#ifndef VESK_SANITIZER
TEST_F(Editor, AnIdleEditorSleepsBetweenItsTurns) {
  for (const EditorVariant variant : {kCocoaView, kNoEditor}) {
    EditorHost host(editors(variant));
    host.show("Idle");
    EXPECT_TRUE(host.sleeps_between_turns());
    EXPECT_TRUE(host.stop());
  }
}
#endif

}  // namespace
