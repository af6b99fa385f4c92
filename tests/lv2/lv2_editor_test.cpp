// Plugins' own interfaces in a host process, used with real pointer events from another process.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>

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
constexpr float own_default = 0.125f;
constexpr std::uint32_t level_id = 4;

std::string knob_chain(const std::string& preset, const char* uri) {
  return "aumu:" + vesk::lv2::code_text(vesk::lv2::primary_code(uri)) + ":LV2_" +
         (preset.empty() ? "" : "@" + preset);
}

/// A host that plays the knob, with its editor on screen.
class KnobHost {
 public:
  explicit KnobHost(const std::string& preset = {}, const char* uri = knob_uri)
      : host({.chain = knob_chain(preset, uri)}) {}

  void open() {
    ASSERT_TRUE(host.wait_listening()) << host.block().error << host.standard_error();
    host.ask_window(WindowRequest::open, 0, "Knob");
    ASSERT_TRUE(host.wait_open(1)) << host.standard_error();
    const auto found = find_window("Knob");
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

class Lv2Editor : public testing::Test {
 protected:
  VirtualDisplay display_;
  ScratchFolder folder_;
  const std::string preset_ = folder_ / "knob.aupreset";
};

std::string content_of(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST_F(Lv2Editor, ATurnedKnobIsHeardSavedAndRestored) {
  write_empty_preset(preset_, 'aumu', vesk::lv2::primary_code(knob_uri), 'LV2_');
  {
    KnobHost knob(preset_);
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
  KnobHost next(preset_);
  ASSERT_TRUE(next.host.wait_listening());
  EXPECT_TRUE(next.wait_level(0.75f)) << next.level();
  EXPECT_TRUE(next.host.stop());
}

// The interface sets a control of its own accord while it opens.
TEST_F(Lv2Editor, WhatAnInterfaceSetsByItselfIsNoEdit) {
  write_empty_preset(preset_, 'aumu', vesk::lv2::primary_code(knob_uri), 'LV2_');
  const std::string before = content_of(preset_);
  KnobHost knob(preset_);
  knob.open_on(display_);
  // A press beside the view is none in it.
  click(knob.window, width / 2, -11);
  knob.close();
  EXPECT_EQ(knob.host.block().saved_write, 0u);
  EXPECT_EQ(content_of(preset_), before);
  knob.open_on(display_);
  // And it has been told what the control really is.
  click(knob.window, report_own, key_count);
  EXPECT_TRUE(knob.wait_report(own_default)) << knob.report();
  EXPECT_TRUE(knob.host.stop());
}

TEST_F(Lv2Editor, TheInterfaceHearsOfChangesMadeElsewhere) {
  KnobHost knob;
  knob.open_on(display_);
  knob.host.set_parameter(0, level_id, 0.5f);
  EXPECT_TRUE(knob.wait_level(0.5f));
  // It is told at its next turn, which may be after a click.
  EXPECT_TRUE(wait_until([&] {
    click(knob.window, report_half, key_count);
    return std::abs(knob.report() - 0.25f) < 0.005f;
  })) << knob.report();
  EXPECT_TRUE(knob.host.stop());
}

TEST_F(Lv2Editor, AtomsGoToThePluginAndBack) {
  KnobHost knob;
  knob.open_on(display_);
  click(knob.window, ask, key_count);
  EXPECT_TRUE(knob.wait_report(0.42f)) << knob.report();
  EXPECT_TRUE(knob.host.stop());
}

TEST_F(Lv2Editor, TheWindowFollowsTheInterfacesSize) {
  KnobHost knob;
  knob.open_on(display_);
  // Whoever forces a size is not fought, and what the interface does next moves no corner.
  output_of("xdotool windowsize " + knob.window.id + " 500 400");
  for (int turns = 0; turns < 20; ++turns) EXPECT_TRUE(knob.host.wait_turns());
  const auto forced = look_for_window("Knob");
  EXPECT_TRUE(forced && forced->width == 500 && forced->height == 400);
  click(knob.window, grow, key_count);
  EXPECT_TRUE(wait_until([&] {
    const auto grown = look_for_window("Knob");
    return grown && view_width(*grown) == 300 && view_height(*grown) == 190;
  }));
  const auto grown = look_for_window("Knob");
  ASSERT_TRUE(grown);
  EXPECT_EQ(grown->x, knob.window.x);
  EXPECT_EQ(grown->y, knob.window.y);
  // What it draws in is as large.
  click(*grown, 285, 40);
  EXPECT_TRUE(knob.wait_level(0.95f)) << knob.level();
  EXPECT_TRUE(knob.host.stop());
}

TEST_F(Lv2Editor, AClickBringsItsWindowToTheFrontWithoutAWindowManagerToo) {
  KnobHost below;
  below.open_on(display_);
  KnobHost above;
  ASSERT_TRUE(above.host.wait_listening());
  above.host.ask_window(WindowRequest::open, 0, "Above");
  const auto window = find_window("Above");
  ASSERT_TRUE(window);
  output_of("xdotool windowmove --sync " + window->id + " " + std::to_string(below.window.x + 100) +
            " " + std::to_string(below.window.y));
  const auto is_in_front = [&](const WindowPlace& place) {
    return wait_until([&] {
      return display_.stacked_windows().back() == std::stoul(place.id) &&
             output_of("xdotool getwindowfocus") == place.id + "\n";
    });
  };
  EXPECT_TRUE(is_in_front(*window));
  click(below.window, 50, 40);
  EXPECT_TRUE(is_in_front(below.window));
  EXPECT_TRUE(above.host.stop());
  EXPECT_TRUE(below.host.stop());
}

TEST_F(Lv2Editor, WhatAnInterfaceThrowsClosesItsEditorAlone) {
  write_empty_preset(preset_, 'aumu', vesk::lv2::primary_code(knob_uri), 'LV2_');
  KnobHost knob(preset_);
  knob.open_on(display_);
  click(knob.window, 120, 40);
  EXPECT_TRUE(knob.wait_level(0.5f)) << knob.level();
  click(knob.window, grow, key_count);
  const auto grown = [&] {
    const auto window = look_for_window("Knob");
    return window && view_width(*window) == 300;
  };
  ASSERT_TRUE(wait_until(grown));
  click(knob.window, throw_id, key_count);
  EXPECT_TRUE(knob.host.wait_open(0));
  EXPECT_TRUE(wait_until([&] { return knob.host.block().saved_write == 1; }));
  EXPECT_TRUE(knob.wait_level(0.5f));
  EXPECT_TRUE(knob.host.stop());
  EXPECT_NE(knob.host.standard_error().find(": editor of plugin 0 failed: pressed in vain\n"),
            std::string::npos)
      << knob.host.standard_error();
}

// The interface makes an X error at each opening, too.
TEST_F(Lv2Editor, OpensAgainAndAgain) {
  KnobHost knob;
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

// The interface has a connection of its own, whose loss ends a process.
TEST_F(Lv2Editor, AServerThatGoesAwayTakesTheEditorAndNotTheHost) {
  write_empty_preset(preset_, 'aumu', vesk::lv2::primary_code(knob_uri), 'LV2_');
  KnobHost knob(preset_);
  knob.open_on(display_);
  click(knob.window, 120, 40);
  EXPECT_TRUE(knob.wait_level(0.5f)) << knob.level();
  display_.kill();
  EXPECT_TRUE(knob.host.wait_open(0));
  EXPECT_TRUE(wait_until([&] { return knob.host.block().saved_write == 1; }));
  EXPECT_TRUE(knob.wait_level(0.5f));
  EXPECT_TRUE(knob.host.stop());
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

}  // namespace
