// The window manager on an X server of its own, with the editors of the test unit.

#include <dispatch/dispatch.h>

#include <algorithm>
#include <fstream>

#include "platform/linux/window_proxy/window_module.hpp"
#include "tests/support/windows_fixture.hpp"

using namespace vesk::tests;

namespace {

bool maps_window_libraries() {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);)
    if (line.find("gnustep") != line.npos) return true;
  return false;
}

// Stays the first: later cases of one process have the libraries.
TEST_F(WindowsTest, CostsNothingBeforeTheFirstEditor) {
  EXPECT_FALSE(maps_window_libraries());
  __block bool ran = false;
  dispatch_async(dispatch_get_main_queue(), ^{
    ran = true;
  });
  const auto start = Clock::now();
  windows_->pump(0.02);
  EXPECT_GE(seconds_since(start), 0.019);
  EXPECT_TRUE(ran);
  windows_->close_all();
  EXPECT_EQ(windows_->open_mask(), 0u);
  EXPECT_FALSE(maps_window_libraries());
}

// Two classes of one name are in one process: the proxy's and the module's.
TEST(WindowModule, OffersOneFunctionAndKeepsItsOwnToItself) {
  const std::string module = build_folder() + "/lib/vesk/windows.so";
  const std::string defined = output_of("nm -D --defined-only " + module + " | grep ' T '");
  EXPECT_TRUE(defined.ends_with(" T vesk_window_module\n")) << defined;
  EXPECT_EQ(std::count(defined.begin(), defined.end(), '\n'), 1) << defined;
  EXPECT_NE(output_of("readelf -d " + module + " | grep SYMBOLIC"), "");
}

// Before the cases that have a server.
TEST_F(WindowsTest, WhatCannotBeShownForWantOfAServerIsShownOnceThereIsOne) {
  EditorsUnit unit(kCocoaView);
  const std::string name = getenv("DISPLAY");
  unsetenv("DISPLAY");
  EXPECT_FALSE(windows_->open(0, unit.get(), "Late"));
  pump(0.05);
  EXPECT_EQ(windows_->open_mask(), 0u);
  setenv("DISPLAY", name.c_str(), 1);
  show(0, unit, "Late");
}

TEST_F(WindowsTest, ShowsTheViewThatTheUnitOffersFirstAtItsSize) {
  constexpr int panel_width = 500;
  struct Case {
    const char* name;
    EditorVariant variant;
    int width;
    int height;  ///< 0: as the panel likes
    int requests;
    int live;  ///< views and controllers of the unit's while the window is there; -1: any number
    double least_seconds = 0;
  };
  const Case cases[] = {
      {"nothing offered", kNoEditor, panel_width, 0, 1, 0},
      {"a Cocoa view", kCocoaView, 300, 120, 0, 1},
      {"a Cocoa view and a controller", kCocoaViewAndController, 300, 120, 0, 1},
      {"three classes", kThreeClasses, 300, 120, 0, 1},
      {"a class that is no factory", kNonconformingClass, 240, 90, 1, 2},
      {"a location without a class", kLocationOnly, 240, 90, 1, 2},
      {"a controller by way of the main queue", kControllerOnMainQueue, 240, 90, 1, 2},
      {"a controller from a thread, half a preferred size", kControllerFromThread, 600, 400, 1, 2,
       0.1},
      {"an empty view and a preferred size", kControllerPreferredSize, 320, 200, 1, 2},
      {"an empty view and no size", kControllerNoSize, 600, 400, 1, 2},
      {"a controller without a view", kControllerWithoutView, panel_width, 0, 1, 1},
      {"no controller after all", kControllerNull, panel_width, 0, 1, 0},
      {"a controller that comes too late", kControllerTooLate, panel_width, 0, 1, -1, 2.0},
  };
  double fastest = 10;  // of those that ask for a controller
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EditorsUnit unit(c.variant);
    const auto start = Clock::now();
    ASSERT_TRUE(windows_->open(0, unit.get(), c.name));
    EXPECT_GE(seconds_since(start), c.least_seconds);
    if (c.requests == 1) fastest = std::min(fastest, seconds_since(start));
    EXPECT_EQ(windows_->open_mask(), 1u);
    const auto window = find(c.name);
    ASSERT_TRUE(window);
    EXPECT_EQ(view_width(*window), c.width);
    if (c.height) EXPECT_EQ(view_height(*window), c.height);
    EXPECT_EQ(unit.value(kControllerRequests), c.requests);
    EXPECT_EQ(unit.held_references(), 0);
    if (c.live >= 0) EXPECT_EQ(live_objects(), c.live);
    windows_->close_all();
    pump(0.05);
    EXPECT_TRUE(pump_until([] { return live_objects() == 0; })) << "left: " << live_objects();
  }
  EXPECT_LT(fastest, 2) << "which is all that one waits for that does not come";
}

TEST_F(WindowsTest, ASecondOpenRetitlesAndBringsToTheFrontAWindowOnOrOffScreen) {
  EditorsUnit unit(kCocoaView);
  for (const bool offscreen : {false, true}) {
    SCOPED_TRACE(offscreen ? "off screen" : "on screen");
    // The one off screen comes second and is behind the other all the same.
    if (!offscreen) ASSERT_TRUE(windows_->open(0, unit.get(), "First"));
    ASSERT_TRUE(windows_->open(1, unit.get(), "Other"));
    if (offscreen) ASSERT_TRUE(open_off_screen(0, unit, "First"));
    EXPECT_EQ(windows_->open_mask(), 3u);
    const auto first = find("First");
    const auto other = find("Other");
    ASSERT_TRUE(first && other);
    EXPECT_EQ(first->x < -9000, offscreen);
    // Nothing but the two: no icon, no menu.
    EXPECT_EQ(display_->stacked_windows(), stack({*first, *other}));
    EXPECT_EQ(focused(), other->id);

    EXPECT_TRUE(offscreen ? open_off_screen(0, unit, "Second")
                          : windows_->open(0, unit.get(), "Second"));
    const auto second = find("Second");
    ASSERT_TRUE(second);
    EXPECT_EQ(display_->stacked_windows(), stack({*other, *first}));
    EXPECT_EQ(focused(), first->id);
    EXPECT_EQ(second->x, first->x);
    EXPECT_FALSE(look("First"));
    windows_->close_all();
    pump(0.05);
  }
}

TEST_F(WindowsTest, TellsInOrderWhichEditorsCloseAndForgetsThemLater) {
  EditorsUnit unit(kCocoaView);
  // Plugin 32 has no bit, and bit 0 is not its.
  for (const unsigned plugin : {32u, 5u, 31u, 1u})
    ASSERT_TRUE(windows_->open(plugin, unit.get(), "Plugin " + std::to_string(plugin)));
  EXPECT_EQ(windows_->open_mask(), (1u << 31) | (1u << 5) | (1u << 1));
  windows_->close_all();
  EXPECT_EQ(closed_, (std::vector<unsigned>{1, 5, 31, 32}));
  EXPECT_EQ(windows_->open_mask(), 0u);
  // Closed but not yet removed: telling it again may repeat each, not more than once.
  windows_->close_all();
  EXPECT_LE(closed_.size(), 8u);
  // One that is shown again before its removal stays.
  show(5, unit, "Kept");
  pump(0.1);
  EXPECT_EQ(windows_->open_mask(), 1u << 5);
  for (const auto& told : {std::vector<unsigned>{5}, std::vector<unsigned>{}}) {
    closed_.clear();
    windows_->close_all();
    EXPECT_EQ(closed_, told);
    pump(0.05);
  }
  EXPECT_EQ(windows_->open_mask(), 0u);
}

// Of the module's own managers (in a process of its own, as the entry is called once): the proxy
// lets them finish their removals before it ends them.
TEST_F(WindowsTest, ARemovalThatIsStillPendingOutlivesTheManager) {
  void* const image =
      dlopen((build_folder() + "/lib/vesk/" + vesk::platform::window_module_file).c_str(),
             RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  ASSERT_NE(image, nullptr) << dlerror();
  const vesk::platform::WindowModule* const module =
      reinterpret_cast<vesk::platform::WindowModuleEntry*>(
          dlsym(image, vesk::platform::window_module_entry))();
  EditorsUnit unit(kCocoaView);
  void* const manager = module->create([&](unsigned plugin) { closed_.push_back(plugin); });
  ASSERT_TRUE(module->open(manager, 0, unit.get(), "Gone"));
  module->destroy(manager);
  EXPECT_EQ(closed_, std::vector<unsigned>{0});
  pump(0.05);
  EXPECT_EQ(closed_, std::vector<unsigned>{0});
}

TEST_F(WindowsTest, OpeningActivatesTheApplicationAndEveryTurnUpdatesWindows) {
  EditorsUnit unit(kWatches);
  show(0, unit, "Watches");
  pump(0.1);
  const float before = unit.value(kCutoff);
  for (int turn = 0; turn < 10; ++turn) windows_->pump(0.01);
  EXPECT_GE(unit.value(kCutoff) - before, 10) << "though nothing happened";
  unit.set(kBright, 1);
  display_->take_focus();
  EXPECT_TRUE(pump_until([&] { return unit.value(kBright) == 0; }));
  EXPECT_TRUE(windows_->open(0, unit.get(), "Watches"));
  EXPECT_EQ(unit.value(kBright), 1);
  // Before the unit goes, which the view tells of what it sees.
  windows_->close_all();
  pump(0.05);
}

constexpr int screen_middle = 640;
constexpr int middle = screen_middle - 302 / 2;

TEST_F(WindowsTest, RemembersAFrameUnderTheFirstTitleAndIndex) {
  EditorsUnit unit(kCocoaView);
  for (const bool is_known : {false, true}) {
    for (const unsigned plugin : {0u, 1u}) {
      const WindowPlace window = show(plugin, unit, "Framed");
      const int place = 100 + 300 * static_cast<int>(plugin);
      EXPECT_NEAR(window.x, is_known ? place : middle, 4) << "a name never seen is centred";
      if (is_known)
        EXPECT_NEAR(window.y, 150, 4);
      else
        move_to(window, place, 150);
      windows_->close_all();
      pump(0.05);
    }
  }
  // A place that nobody sees is not remembered: neither the first nor after one that is.
  for (const auto& [title, place] : {std::pair{"Framed", 100}, std::pair{"Unframed", middle}}) {
    setenv("VESK_PLUGIN_WINDOWS_OFFSCREEN", "", 1);
    EXPECT_LT(shown_at(unit, title), -9000);
    unsetenv("VESK_PLUGIN_WINDOWS_OFFSCREEN");
    EXPECT_NEAR(shown_at(unit, title), place, 4);
  }
  // A window that gets another title keeps the name of its first.
  ASSERT_TRUE(windows_->open(0, unit.get(), "Framed"));
  EXPECT_NEAR(shown_at(unit, "Renamed", 300), 100, 4);
  EXPECT_NEAR(shown_at(unit, "Framed"), 300, 4);
  EXPECT_NEAR(shown_at(unit, "Renamed"), middle, 4);
}

TEST_F(WindowsTest, RunsTasksAndTimersWhileItWaitsForEvents) {
  EditorsUnit unit(kCocoaView);
  ASSERT_TRUE(windows_->open(0, unit.get(), "Busy"));
  pump(0.2);
  const auto start = Clock::now();
  double times[] = {-1, -1};
  double* const task_at = &times[0];
  double* const timer_at = &times[1];
  std::thread poster([&] {
    usleep(20000);
    dispatch_async(dispatch_get_main_queue(), ^{
      *task_at = seconds_since(start);
    });
  });
  dispatch_after(dispatch_time(DISPATCH_TIME_NOW, 50 * static_cast<int64_t>(NSEC_PER_MSEC)),
                 dispatch_get_main_queue(), ^{
                   *timer_at = seconds_since(start);
                 });
  // One wait for both: it is they that must end it, not its own limit.
  windows_->pump(5);
  poster.join();
  EXPECT_GE(*task_at, 0.019);
  EXPECT_LT(*task_at, 4.9);
  EXPECT_GE(*timer_at, 0.049);
  EXPECT_LT(*timer_at, 4.9);
}

TEST_F(WindowsTest, RunsTasksWhileAViewTracksThePointer) {
  EditorsUnit unit(kTracksMouse);
  const WindowPlace window = show(0, unit, "Tracked");
  const auto ran = std::make_shared<std::atomic<bool>>(false);
  const bool ran_before_release = pump_while([&] {
    press(window, 225, 60);
    for (int i = 0; i < 1000 && unit.value(kLevel) < 0.7f; ++i) usleep(10000);
    dispatch_async(dispatch_get_main_queue(), ^{
      *ran = true;
    });
    for (int i = 0; i < 1000 && !*ran; ++i) usleep(10000);
    const bool in_time = *ran;
    output_of("xdotool mouseup 1");
    return in_time;
  });
  EXPECT_NEAR(unit.value(kLevel), 0.75, 0.02);
  EXPECT_TRUE(ran_before_release);
}

TEST_F(WindowsTest, ThePanelShowsAChangeMadeElsewhereWithinAFewTurns) {
  EditorsUnit unit(kNoEditor);
  const WindowPlace window = show(0, unit, "Follows");
  pump(0.2);
  // The switch of "Bright", the fifth row: its colour tells.
  const auto [x, y] = on_screen(window, 188 + 10, 68 + 28 * 4 + 14);
  for (const float bright : {1.0f, 0.0f, 1.0f}) {
    const unsigned long before = display_->colour_at(x, y);
    unit.set(kBright, bright);
    // Turns of 10 ms: 50 ms where the server keeps up, and not a second anywhere.
    int turns = 0;
    for (; turns < 50 && display_->colour_at(x, y) == before; ++turns) windows_->pump(0.01);
    EXPECT_NE(display_->colour_at(x, y), before);
    EXPECT_GT(turns, 0);
  }
}

}  // namespace
