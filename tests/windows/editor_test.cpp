// Editors of a host process, used as a person does: real pointer events from another process.

#include <sys/prctl.h>

#include <filesystem>

#include "tests/support/comma_locale.hpp"
#include "tests/support/editor_host.hpp"

using namespace vesk::host;
using namespace vesk::tests;
using namespace std::chrono_literals;

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
      {"Opened before", kOpenedBefore, 225, 60, 225.0f / 300},
      {"Controller", kControllerOnMainQueue, 180, 45, 180.0f / 240},
      // The first row of the panel: its slider reaches from 194 to 368 points.
      {"Panel", kNoEditor, 324, 82, 0.75f},
  };
  const auto play = [&](const Case& c) {
    SCOPED_TRACE(c.name);
    ScratchFolder folder;
    const std::string preset = empty_preset(folder);
    const std::string chain = editors(c.variant, preset);
    {
      RawHost host({.chain = chain});
      ASSERT_TRUE(host.wait_listening()) << host.block().error;
      host.ask_window(WindowRequest::open, 0, c.name);
      ASSERT_TRUE(host.wait_open(1)) << host.standard_error();
      const auto window = find_window(c.name);
      ASSERT_TRUE(window);
      click(*window, c.x, c.y);
      EXPECT_TRUE(wait_heard(host, c.level)) << heard(host);
      EXPECT_EQ(host.block().saved_write, 0u);
      click_close_box(*window);
      EXPECT_TRUE(host.wait_open(0));
      EXPECT_TRUE(wait_until([&] { return host.block().saved_write == 1; }));
      EXPECT_EQ(host.block().saved[0], 0u);
      EXPECT_TRUE(host.stop());
      EXPECT_EQ(lines_without_workgroup(host), "");
    }
    RawHost next({.chain = chain});
    ASSERT_TRUE(next.wait_listening()) << next.block().error;
    EXPECT_NEAR(heard(next), c.level, 0.02);
    EXPECT_TRUE(next.stop());
  };
  for (const Case& c : cases) play(c);
  SCOPED_TRACE("under a window manager");
  ASSERT_TRUE(display_.start_window_manager());
  for (const Case& c : cases) play(c);
}

TEST_F(Editor, WhatHasChangedSinceItFirstOpenedIsSavedWhenItCloses) {
  ScratchFolder folder;
  const std::string preset = empty_preset(folder);
  const Bytes untouched = file_bytes(preset);
  RawHost host({.chain = editors(kCocoaView, preset)});
  ASSERT_TRUE(host.wait_listening()) << host.block().error;
  const auto set_level = [&](float level) {
    host.set_parameter(0, kLevel, level);
    return wait_heard(host, level);
  };
  const auto open_and_close = [&] {
    host.ask_window(WindowRequest::open);
    const bool opened = host.wait_open(1);
    host.ask_window(WindowRequest::close_all);
    return opened && host.wait_open(0);
  };
  ASSERT_TRUE(set_level(0.25f));
  ASSERT_TRUE(open_and_close());
  EXPECT_EQ(load_acquire(host.block().saved_write), 0u);
  EXPECT_EQ(file_bytes(preset), untouched) << "nothing was changed in it";

  ASSERT_TRUE(set_level(0.5f));
  ASSERT_TRUE(open_and_close());
  EXPECT_EQ(load_acquire(host.block().saved_write), 1u) << "opening again is no new beginning";

  host.ask_window(WindowRequest::open);
  ASSERT_TRUE(host.wait_open(1));
  ASSERT_TRUE(set_level(0.75f));
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
    RawHost host({.chain = editors(kCocoaView)});
    ASSERT_TRUE(host.wait_listening());
    host.ask_window(WindowRequest::open, 0, "Moved");
    const auto window = find_window("Moved");
    ASSERT_TRUE(window);
    EXPECT_NEAR(window->x, c.x == screen_middle ? c.x - window->width / 2 : c.x, 4);
    output_of("xdotool windowmove --sync " + window->id + " 50 60");
    EXPECT_TRUE(host.wait_turns());
    EXPECT_TRUE(host.stop());
  }
}

TEST_F(Editor, TheHostIsNotHeldUpByThePanel) {
  // What makes itself independent of the host is this process's then.
  ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  RawHost host({.chain = editors(kNoEditor)});
  ASSERT_TRUE(host.wait_listening());
  host.ask_window(WindowRequest::open, 0, "Panel");
  const auto window = find_window("Panel");
  ASSERT_TRUE(window);
  // On the level's slider, the menu of the shape, the text of the level.
  const std::pair<int, int> places[] = {{324, 82}, {250, 166}, {450, 82}};
  float level = 0.9f;
  for (const auto& [x, y] : places) {
    const auto [left, top] = on_screen(*window, x, y);
    output_of("xdotool mousemove " + std::to_string(left) + " " + std::to_string(top) +
              " mousedown 1");
    level -= 0.2f;
    host.set_parameter(0, kLevel, level);
    EXPECT_TRUE(wait_heard(host, level)) << x;
    output_of("xdotool mouseup 1 key Escape");
  }
  // A selected text is for the pasteboard, and what serves that would be a program of its own.
  EXPECT_EQ(output_of("pgrep --parent " + std::to_string(getpid()) + " 'gdnc|gpbs'"), "");
  EXPECT_TRUE(host.stop());
}

TEST_F(Editor, ViewsAreFoundInFoldersOfAnyName) {
  ScratchFolder folder;
  const std::string components = folder / "Ger\xC3\xA4te \xF0\x9F\x8E\xB9";
  std::filesystem::create_directory_symlink(build_folder() + "/components", components);
  for (const char* locale : {"C.UTF-8", "C"}) {
    SCOPED_TRACE(locale);
    RawHost host(
        {.chain = editors(kCocoaView),
         .environment = {"AUDIO_COMPONENT_PATH=" + components, "LC_ALL=" + std::string(locale)}});
    ASSERT_TRUE(host.wait_listening()) << host.block().error;
    host.ask_window(WindowRequest::open, 0, "Found");
    const auto window = find_window("Found");
    ASSERT_TRUE(window);
    EXPECT_EQ(view_height(*window), 120);
    EXPECT_TRUE(host.stop());
    EXPECT_EQ(lines_without_workgroup(host), "");
  }
}

// The toolkit sets the environment's locale as it starts.
TEST_F(Editor, ViewsReadTheEnvironmentsCharactersAndNoDecimalComma) {
  const CommaLocale locale;
  if (!locale.is_there()) GTEST_SKIP() << "nothing to make a comma locale from";
  RawHost host({.chain = editors(kReadsNumber),
                .environment = {locale.place(), "LC_ALL=" + std::string(CommaLocale::name)}});
  ASSERT_TRUE(host.wait_listening()) << host.block().error;
  host.ask_window(WindowRequest::open, 0, "Counts");
  const auto window = find_window("Counts");
  ASSERT_TRUE(window);
  click(*window, 150, 60);
  EXPECT_TRUE(wait_heard(host, 0.75f)) << heard(host);
  EXPECT_TRUE(host.stop());
}

TEST_F(Editor, HostsShowEditorsBesideEachOther) {
  RawHost first({.chain = editors(kCocoaView)});
  RawHost second({.chain = editors(kCocoaView)});
  ASSERT_TRUE(first.wait_listening() && second.wait_listening());
  first.ask_window(WindowRequest::open, 0, "Left");
  second.ask_window(WindowRequest::open, 0, "Right");
  EXPECT_TRUE(first.wait_open(1));
  EXPECT_TRUE(second.wait_open(1));
  EXPECT_TRUE(first.stop());
  EXPECT_TRUE(second.stop());
  EXPECT_EQ(lines_without_workgroup(second), "");
}

TEST_F(Editor, LeavesTheTitleBarToAWindowManagerWhereThereIsOne) {
  // As long as the block holds: no NUL ends it.
  const std::string title(title_bytes, 'L');
  constexpr unsigned long moved_minimised_or_closed = 0x04 | 0x08 | 0x20;
  for (const bool ended : {true, false}) {
    SCOPED_TRACE(ended ? "that left its mark as it ended" : "that runs");
    display_.pretend_window_manager(ended);
    RawHost host({.chain = editors(kCocoaView)});
    ASSERT_TRUE(host.wait_listening());
    host.ask_window(WindowRequest::open, 0, title);
    const auto window = find_window(title);
    ASSERT_TRUE(window);
    EXPECT_EQ(title_of(*window), title);
    EXPECT_EQ(ended ? view_width(*window) : window->width, 300);
    EXPECT_EQ(ended ? view_height(*window) : window->height, 120);
    if (!ended) {
      const auto hints = display_.property(std::stoul(window->id), "_MOTIF_WM_HINTS");
      ASSERT_EQ(hints.size(), 5u);
      EXPECT_EQ(hints[1], moved_minimised_or_closed) << "and not resized";
      const auto icon = display_.property(std::stoul(window->id), "_NET_WM_ICON");
      ASSERT_GT(icon.size(), 2u);
      EXPECT_EQ(icon[0] * icon[1], 48u * 48u) << "which the toolkit's own is not";
    }
    EXPECT_TRUE(host.stop());
    EXPECT_EQ(lines_without_workgroup(host), "");
  }
}

TEST_F(Editor, AMinimisedEditorIsOpenAndComesBack) {
  ASSERT_TRUE(display_.start_window_manager());
  RawHost host({.chain = editors(kCocoaView)});
  ASSERT_TRUE(host.wait_listening());
  std::optional<WindowPlace> window;
  const auto show = [&] {
    host.ask_window(WindowRequest::open, 0, "Minimised");
    return (window = find_window("Minimised")).has_value();
  };
  constexpr unsigned long on_screen = 1;
  constexpr unsigned long minimised = 3;
  const auto becomes = [&](unsigned long state) {
    return wait_until([&] {
      const auto states = display_.property(std::stoul(window->id), "WM_STATE");
      return !states.empty() && states[0] == state;
    });
  };
  const auto minimise = [&] {
    output_of("xdotool windowminimize " + window->id);
    return becomes(minimised) && host.wait_turns() && load_acquire(host.block().open_mask) == 1;
  };
  ASSERT_TRUE(show() && minimise());
  output_of("xdotool windowactivate " + window->id + " 2>&1");  // as a task bar does
  EXPECT_TRUE(becomes(on_screen));
  EXPECT_TRUE(wait_until([&] {
    click(*window, 150, 60);  // until it is mapped, what is below gets it
    return std::abs(heard(host) - 0.5f) < 0.02f;
  }));
  EXPECT_TRUE(minimise());
  EXPECT_TRUE(show() && becomes(on_screen)) << "when it is asked for again";
  EXPECT_TRUE(minimise());
  host.ask_window(WindowRequest::close_all);
  EXPECT_TRUE(host.wait_open(0));
  EXPECT_TRUE(show() && becomes(on_screen));
  EXPECT_TRUE(host.stop());
  EXPECT_EQ(lines_without_workgroup(host), "");
}

TEST_F(Editor, LeavesNoProcessBehindAndPassesWhatPluginsPrint) {
  // What makes itself independent of the host is this process's then.
  ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  RawHost host({.chain = editors(kLogs)});
  ASSERT_TRUE(host.wait_listening());
  host.ask_window(WindowRequest::open, 0, "Talks");
  ASSERT_TRUE(host.wait_open(1));
#if !__has_feature(thread_sanitizer)  // which has a child of its own to name functions with
  EXPECT_EQ(output_of("pgrep --parent " + std::to_string(host.pid())), "");
#endif
  EXPECT_EQ(output_of("pgrep --parent " + std::to_string(getpid()) + " 'gdnc|gpbs'"), "");
  EXPECT_FALSE(display_.keeps("Library/Services")) << "what a search for services leaves";
  EXPECT_EQ(
      output_of("grep NSMessagePort/ports/" + std::to_string(host.pid()) + ". /proc/net/unix"), "")
      << "where services would be offered";
  EXPECT_TRUE(host.stop());
  EXPECT_NE(host.standard_error().find("a plugin's own message"), std::string::npos);
}

#ifndef VESK_SANITIZER
TEST_F(Editor, AnIdleEditorSleepsBetweenItsTurns) {
  for (const EditorVariant variant : {kCocoaView, kNoEditor}) {
    RawHost host({.chain = editors(variant)});
    ASSERT_TRUE(host.wait_listening());
    host.ask_window(WindowRequest::open, 0, "Idle");
    ASSERT_TRUE(host.wait_open(1));
    EXPECT_TRUE(find_window("Idle"));
    EXPECT_TRUE(sleeps_between_turns(host));
    EXPECT_TRUE(host.stop());
  }
}
#endif

}  // namespace
