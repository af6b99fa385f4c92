// Plugins' own interfaces in a host process, used with real pointer events from another process.

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cmath>

#include "components/lv2/catalogue/component_code.hpp"
#include "tests/support/display.hpp"
#include "tests/support/empty_preset.hpp"
#include "tests/support/raw_host.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tests/support/wait_until.hpp"

using namespace vesk::host;
using namespace vesk::tests;

namespace {

// The keys of the test's interface and what is beside them (see lv2/knob_ui.c).
constexpr int width = 240;
constexpr int height = 160;
constexpr int key_count = 120;
enum Key { ask = 30, report_own = 90, report_half = 150, grow = 210, throw_id = 270 };
constexpr const char* knob_uri = "urn:vesk:test:knob";
constexpr const char* gl_uri = "urn:vesk:test:gl-knob";
/// Its interface is shown by a program of its own.
constexpr const char* external_uri = "urn:vesk:test:external-knob";
constexpr float own_default = 0.125f;
constexpr std::uint32_t level_id = 4;

std::string knob_chain(const std::string& preset, const char* uri) {
  return "aumu:" + vesk::lv2::code_text(vesk::lv2::primary_code(uri)) + ":LV2_" +
         (preset.empty() ? "" : "@" + preset);
}

/// A host that plays the knob, with its editor on screen.
class KnobHost {
 public:
  KnobHost(const std::string& preset, const char* uri) : host({.chain = knob_chain(preset, uri)}) {}

  void open(const std::string& title = "Knob") {
    ASSERT_TRUE(host.wait_listening()) << host.block().error << host.standard_error();
    host.ask_window(WindowRequest::open, 0, title);
    ASSERT_TRUE(host.wait_open(1)) << host.standard_error();
    const auto found = find_window(title);
    ASSERT_TRUE(found);
    window = *found;
  }
  /// The same, and waits until the interface has drawn its keys: it knows its values by then.
  void open_on(VirtualDisplay& display) {
    open();
    const auto [x, y] = on_screen(window, ask, key_count);
    EXPECT_TRUE(wait_until([&] { return (display.colour_at(x, y) & 0xffffff) == 0x555555; }));
  }
  void close() {
    click_close_box(window);
    EXPECT_TRUE(host.wait_open(0));
    EXPECT_TRUE(host.wait_turns());
  }
  bool serve() { return host.serve(64); }
  float level() { return serve() ? host.block().output_left[63] : -1; }
  float report() { return serve() ? host.block().output_right[63] : -1; }
  bool wait_level(float value) {
    return wait_until([&] { return std::abs(level() - value) < 0.01f; });
  }
  bool wait_report(float value) {
    return wait_until([&] { return std::abs(report() - value) < 0.005f; });
  }

  RawHost host;
  WindowPlace window;
};

/// With an interface in the host's process, and with one in its own.
class Lv2Editor : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    write_empty_preset(preset_, 'aumu', vesk::lv2::primary_code(GetParam()), 'LV2_');
  }
  /// What takes the editor away leaves the host playing, and what was turned before is saved.
  template <typename Fault>
  void expect_loss_of_the_editor_alone(KnobHost& knob, Fault fault) {
    knob.open_on(display_);
    click(knob.window, 120, 40);
    EXPECT_TRUE(knob.wait_level(0.5f)) << knob.level();
    fault();
    EXPECT_TRUE(knob.host.wait_open(0));
    EXPECT_TRUE(wait_until([&] { return knob.host.block().saved_write == 1; }));
    EXPECT_TRUE(knob.wait_level(0.5f));
    EXPECT_TRUE(knob.host.stop());
  }

  VirtualDisplay display_;
  ScratchFolder folder_;
  const std::string preset_ = folder_ / "knob.aupreset";
};

TEST_P(Lv2Editor, ATurnedKnobIsHeardSavedAndRestored) {
  {
    KnobHost knob(preset_, GetParam());
    knob.open_on(display_);
    EXPECT_EQ(view_width(knob.window), width);
    EXPECT_EQ(view_height(knob.window), height);
    click(knob.window, 180, 40);
    EXPECT_TRUE(knob.wait_level(0.75f)) << knob.level();
    EXPECT_EQ(knob.host.block().saved_write, 0u);
    knob.close();
    EXPECT_EQ(knob.host.block().saved_write, 1u);
    EXPECT_TRUE(knob.host.stop());
  }
  KnobHost next(preset_, GetParam());
  ASSERT_TRUE(next.host.wait_listening());
  EXPECT_TRUE(next.wait_level(0.75f)) << next.level();
  EXPECT_TRUE(next.host.stop());
}

// The interface sets a control of its own accord while it opens.
TEST_P(Lv2Editor, WhatAnInterfaceSetsByItselfIsNoEdit) {
  const Bytes before = file_bytes(preset_);
  KnobHost knob(preset_, GetParam());
  knob.open_on(display_);
  // A press beside the view is none in it.
  click(knob.window, width / 2, -11);
  knob.close();
  EXPECT_EQ(knob.host.block().saved_write, 0u);
  EXPECT_EQ(file_bytes(preset_), before);
  knob.open_on(display_);
  // And it has been told what the control really is.
  click(knob.window, report_own, key_count);
  EXPECT_TRUE(knob.wait_report(own_default)) << knob.report();
  EXPECT_TRUE(knob.host.stop());
}

TEST_P(Lv2Editor, TheInterfaceAndThePluginHearOfEachOther) {
  KnobHost knob({}, GetParam());
  knob.open_on(display_);
  knob.host.set_parameter(0, level_id, 0.5f);
  EXPECT_TRUE(knob.wait_level(0.5f));
  // It is told at its next turn, which may be after a click.
  EXPECT_TRUE(wait_until([&] {
    click(knob.window, report_half, key_count);
    return std::abs(knob.report() - 0.25f) < 0.005f;
  })) << knob.report();
  click(knob.window, ask, key_count);
  EXPECT_TRUE(knob.wait_report(0.42f)) << knob.report();
  EXPECT_TRUE(knob.host.stop());
}

TEST_P(Lv2Editor, AClickBringsItsWindowToTheFrontWithoutAWindowManagerToo) {
  KnobHost below({}, GetParam());
  below.open_on(display_);
  KnobHost above({}, GetParam());
  above.open("Above");
  constexpr int shift = 100;
  output_of("xdotool windowmove --sync " + above.window.id + " " +
            std::to_string(below.window.x + shift) + " " + std::to_string(below.window.y));
  // What has the keyboard is the window at that place, or the interface's own inside it.
  const auto is_in_front = [&](const KnobHost& knob, int left) {
    return wait_until([&] {
      int x = -1;
      const std::string focus = output_of("xdotool getwindowfocus -f getwindowgeometry --shell");
      if (const auto at = focus.find("X="); at != std::string::npos)
        x = std::stoi(focus.substr(at + 2)) - below.window.x;
      return display_.stacked_windows().back() == std::stoul(knob.window.id) && x >= left &&
             x < left + shift / 2;
    });
  };
  EXPECT_TRUE(is_in_front(above, shift));
  click(below.window, 50, 40);
  EXPECT_TRUE(is_in_front(below, 0));
  EXPECT_TRUE(above.host.stop());
  EXPECT_TRUE(below.host.stop());
}

TEST_P(Lv2Editor, TheWindowFollowsTheInterfaceAndWhatThatThrowsClosesItAlone) {
  KnobHost knob(preset_, GetParam());
  expect_loss_of_the_editor_alone(knob, [&] {
    // Whoever forces a size is not fought, and what the interface does next moves no corner.
    output_of("xdotool windowsize " + knob.window.id + " 500 400");
    for (int turns = 0; turns < 20; ++turns) EXPECT_TRUE(knob.host.wait_turns());
    const auto forced = look_for_window("Knob");
    EXPECT_TRUE(forced && forced->width == 500 && forced->height == 400);
    std::optional<WindowPlace> grown;
    click(knob.window, grow, key_count);
    ASSERT_TRUE(wait_until([&] {
      grown = look_for_window("Knob");
      return grown && view_width(*grown) == 300 && view_height(*grown) == 190;
    }));
    EXPECT_EQ(grown->x, knob.window.x);
    EXPECT_EQ(grown->y, knob.window.y);
    // What it draws in is as large.
    click(*grown, 285, 40);
    EXPECT_TRUE(knob.wait_level(0.95f)) << knob.level();
    click(*grown, 150, 40);
    EXPECT_TRUE(knob.wait_level(0.5f)) << knob.level();
    click(*grown, throw_id, key_count);
  });
  EXPECT_NE(knob.host.standard_error().find(": editor of plugin 0 failed: pressed in vain\n"),
            std::string::npos)
      << knob.host.standard_error();
}

// The interface has a connection of its own, whose loss ends a process.
TEST_P(Lv2Editor, AServerThatGoesAwayTakesTheEditorAndNotTheHost) {
  KnobHost knob(preset_, GetParam());
  expect_loss_of_the_editor_alone(knob, [&] { display_.kill(); });
}

// The interface makes an X error at each opening, too.
TEST_P(Lv2Editor, OpensAgainAndAgain) {
  KnobHost knob({}, GetParam());
  for (int opening = 0; opening < 5; ++opening) {
    SCOPED_TRACE(opening);
    const float level = 0.2f + 0.1f * static_cast<float>(opening);
    knob.open_on(display_);
    click(knob.window, static_cast<int>(level * width), 40);
    EXPECT_TRUE(knob.wait_level(level)) << knob.level();
    knob.close();
  }
  EXPECT_TRUE(knob.host.stop());
  EXPECT_EQ(knob.host.standard_error().find("editor"), std::string::npos)
      << knob.host.standard_error();
}

INSTANTIATE_TEST_SUITE_P(Lv2Editor, Lv2Editor, testing::Values(knob_uri, external_uri),
                         [](const auto& info) {
                           return info.param == knob_uri ? "InTheHost" : "InAProgramOfItsOwn";
                         });

/// The program that shows the interface of `host`; 0 when there is none.
pid_t helper_of(const RawHost& host) {
  const std::string found = output_of("pgrep -x vesk-lv2-ui -P " + std::to_string(host.pid()));
  return found.empty() ? 0 : std::stoi(found);
}

/// Whether a process has ended, collected or not.
bool has_gone(pid_t process) {
  const std::string state = output_of("ps -o stat= -p " + std::to_string(process));
  return state.empty() || state.starts_with('Z');
}

class Lv2EditorOfAProgram : public Lv2Editor {};
INSTANTIATE_TEST_SUITE_P(Lv2Editor, Lv2EditorOfAProgram, testing::Values(external_uri),
                         [](const auto&) { return "External"; });

TEST_P(Lv2EditorOfAProgram, TheEndOfTheProgramClosesTheEditorAloneAndTheNextOneOpens) {
  KnobHost knob(preset_, GetParam());
  knob.open_on(display_);
  click(knob.window, 120, 40);
  EXPECT_TRUE(knob.wait_level(0.5f)) << knob.level();
  const pid_t helper = helper_of(knob.host);
  ASSERT_GT(helper, 0);
  kill(helper, SIGKILL);
  EXPECT_TRUE(knob.host.wait_open(0));
  EXPECT_TRUE(wait_until([&] { return knob.host.block().saved_write == 1; }));
  EXPECT_NE(knob.host.standard_error().find(
                ": editor of plugin 0 failed: its program has ended: Killed\n"),
            std::string::npos)
      << knob.host.standard_error();
  knob.open_on(display_);
  click(knob.window, 180, 40);
  EXPECT_TRUE(knob.wait_level(0.75f)) << knob.level();
  EXPECT_TRUE(knob.host.stop());
}

// Whatever becomes of the host.
TEST_P(Lv2EditorOfAProgram, TheProgramDoesNotOutliveItsEditorOrItsHost) {
  for (const bool is_killed : {false, true}) {
    SCOPED_TRACE(is_killed);
    KnobHost knob({}, GetParam());
    knob.open_on(display_);
    const pid_t helper = helper_of(knob.host);
    ASSERT_GT(helper, 0);
    if (is_killed)
      kill(knob.host.pid(), SIGKILL);
    else
      knob.close();
    EXPECT_TRUE(wait_until([&] { return has_gone(helper); }));
    EXPECT_EQ(knob.host.stop(), !is_killed);
  }
}

// Most interfaces that draw with OpenGL crash where there is none.
TEST(Lv2EditorOnADisplay, OpenGlInterfacesAreShownWhereThereIsOpenGl) {
  for (const bool has_gl : {true, false}) {
    SCOPED_TRACE(has_gl);
    const VirtualDisplay display(has_gl);
    KnobHost knob({}, gl_uri);
    knob.open();
    // Without it there is the panel, which is wider.
    EXPECT_EQ(view_width(knob.window) == width, has_gl) << view_width(knob.window);
    EXPECT_TRUE(knob.host.stop());
    constexpr const char* line =
        "failed: its own interface cannot be shown: the display shows no OpenGL\n";
    EXPECT_EQ(knob.host.standard_error().find(line) != std::string::npos, !has_gl);
  }
}

// ---- The interfaces of real plugins ----

// Debian's Example Scope draws with Gtk 2 what the plugin sends it in atoms.
TEST(Lv2EditorOnADisplay, AGtkInterfaceShowsWhatItsPluginSends) {
  VirtualDisplay display;
  RawHost host({.chain = "aufx:4ioz:LV2_"});
  if (!host.wait_listening()) GTEST_SKIP() << "lv2-examples: " << host.block().error;
  host.ask_window(WindowRequest::open, 0, "Scope");
  ASSERT_TRUE(host.wait_open(1)) << host.standard_error();
  const auto window = find_window("Scope");
  ASSERT_TRUE(window);
  if (host.standard_error().find("libgtk-x11-2.0.so.0: cannot open") != std::string::npos)
    GTEST_SKIP() << "Gtk 2 is not installed";
  ASSERT_GT(helper_of(host), 0) << host.standard_error();
  // What is played into it, in pure green on black.
  const auto [x, top] = on_screen(*window, 100, 0);
  EXPECT_TRUE(wait_until([&] {
    for (int period = 0; period < 100; ++period) {
      for (int i = 0; i < 64; ++i) host.block().input_left[i] = i < 32 ? 0.5f : -0.5f;
      if (!host.serve(64)) return false;
    }
    for (int y = 0; y < view_height(*window); ++y) {
      const unsigned long colour = display.colour_at(x, top + y);
      if (getenv("DBG")) fprintf(stderr, "%d:%lx ", y, colour);
      if ((colour & 0xff00) > 0x8000 && (colour & 0xff00ff) == 0) return true;
    }
    return false;
  }));
  EXPECT_TRUE(host.stop()) << host.standard_error();
}

constexpr const char* rat_code = "aufx:xsUI:LV2_";

/// The loudest sample that comes back of a tone played into the host, once what glides has arrived.
float loudness(RawHost& host) {
  constexpr unsigned frames = 128;
  float peak = 0;
  for (unsigned period = 0; period < 560; ++period) {
    Block& block = host.block();
    for (unsigned i = 0; i < frames; ++i) {
      const double phase = (period * frames + i) * 2 * M_PI * 330 / 48'000;
      block.input_left[i] = block.input_right[i] = 0.1f * static_cast<float>(std::sin(phase));
    }
    if (!host.serve(frames, period * static_cast<double>(frames))) return -1;
    if (period < 300) continue;
    for (unsigned i = 0; i < frames; ++i) peak = std::max(peak, std::abs(block.output_left[i]));
  }
  return peak;
}

float loudness_of(const std::string& chain) {
  RawHost host({.chain = chain, .max_frames = "128"});
  EXPECT_TRUE(host.wait_listening()) << host.block().error;
  const float peak = loudness(host);
  EXPECT_TRUE(host.stop());
  return peak;
}

TEST(Lv2EditorOnADisplay, AKnobOfARealOneIsHeardSavedAndRestored) {
  const float quiet = loudness_of(rat_code);
  ASSERT_GT(quiet, 0.01f);
  for (const bool is_managed : {false, true}) {
    SCOPED_TRACE(is_managed ? "with a window manager" : "without a window manager");
    VirtualDisplay display;
    if (is_managed) ASSERT_TRUE(display.start_window_manager());
    const ScratchFolder folder;
    const std::string chain = std::string(rat_code) + "@" + folder / "rat.aupreset";
    RawHost host({.chain = chain, .max_frames = "128"});
    ASSERT_TRUE(host.wait_listening()) << host.block().error;
    host.ask_window(WindowRequest::open, 0, "Rat");
    ASSERT_TRUE(host.wait_open(1)) << host.standard_error();
    const auto window = find_window("Rat");
    ASSERT_TRUE(window);
    EXPECT_LT(view_width(*window), 400) << "this is the panel";
    // Its dark face fills the view up to the edges.
    for (const int y : {4, view_height(*window) - 4}) {
      const auto [left, top] = on_screen(*window, 100, y);
      EXPECT_TRUE(wait_until([&] { return (display.colour_at(left, top) & 0xFF) < 0x60; })) << y;
    }
    // The knob of the level, which may not be there yet when the window is.
    const auto is_louder = [&] { return loudness(host) > 1.2f * quiet; };
    for (int attempt = 0; attempt < 10 && !is_louder(); ++attempt) drag(*window, 280, 93, 280, 43);
    const float loud = loudness(host);
    EXPECT_GT(loud, 1.2f * quiet);
    click_close_box(*window);
    EXPECT_TRUE(host.wait_open(0));
    EXPECT_EQ(load_acquire(host.block().saved_write), 1u);
    EXPECT_TRUE(host.stop()) << host.standard_error();
    EXPECT_FLOAT_EQ(loudness_of(chain), loud);
  }
}

}  // namespace
