// Editors whose code throws, and what the host makes of it.

#include <new>
#include <set>

#include "tests/support/windows_fixture.hpp"

using namespace vesk::tests;

namespace {

TEST_F(WindowsTest, WhatAViewThrowsClosesItsEditorAndNoOther) {
  struct Case {
    const char* name;
    EditorVariant variant;
    bool opens;
    bool spares_others;
    const char* reason;
    int lost = 0;  ///< views that are never let go
  };
  // Each is followed by one that shows whether events, drawing and turns of the loop go on.
  const Case cases[] = {
      {"throws in its factory", kThrowsInFactory, false, true, "no view today"},
      {"raises in its factory", kRaisesInFactory, false, true, "no view raised"},
      // Nobody can tell whose task or timer it was.
      {"throws in a task", kThrowsInMainQueueTask, true, false, "task in vain"},
      {"throws in a timer", kThrowsInTimer, true, false, "timed in vain", 1},
      {"throws in an event", kThrowsInMouseDown, true, true, "clicked in vain"},
      {"throws while it draws", kThrowsInDrawing, true, true, "drawn in vain"},
      {"raises while it draws", kRaisesInDrawing, true, true, "drawn in vain"},
      {"throws in an update", kThrowsInUpdate, true, true, "updated in vain", 1},
  };
  int lost = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    closed_.clear();
    EditorsUnit innocent(kCocoaView);
    EditorsUnit guilty(c.variant);
    ASSERT_TRUE(windows_->open(0, innocent.get(), "Innocent"));
    testing::internal::CaptureStderr();
    EXPECT_EQ(windows_->open(1, guilty.get(), c.name), c.opens);
    if (c.opens) {
      const auto window = find(c.name);
      ASSERT_TRUE(window);
      pump_while([&] { return click(*window, 20, 60), 0; });
      EXPECT_TRUE(pump_until([&] { return !(windows_->open_mask() & 2u); }));
    }
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_NE(lines.find(std::string("editor of plugin 1 failed: ") + c.reason + "\n"), lines.npos)
        << lines;
    EXPECT_EQ(windows_->open_mask(), c.spares_others ? 1u : 0u);
    if (c.spares_others) {
      // Which lives on: it takes a click (the first one makes its window the key one) and draws
      // what became of it.
      const auto window = find("Innocent");
      ASSERT_TRUE(window);
      const auto [x, y] = on_screen(*window, 150, 60);
      pump(0.05);
      const unsigned long before = display_->colour_at(x, y);
      pump_while([&] { return click(*window, 225, 60, 2), 0; });
      EXPECT_TRUE(pump_until([&] { return display_->colour_at(x, y) != before; }));
    }
    windows_->close_all();
    pump(0.05);
    lost += c.lost;
    EXPECT_TRUE(pump_until([&] { return live_objects() <= lost; })) << live_objects();
  }
}

// Nothing that closing an editor would mend.
TEST_F(WindowsTest, BeingOutOfMemoryPassesOn) {
  EditorsUnit unit(kRunsOutOfMemory);
  const WindowPlace window = show(0, unit, "Greedy");
  for (const int x : {75, 225}) {  // in C++ on the left, in Objective-C on the right
    SCOPED_TRACE(x);
    std::thread clicking([&] { click(window, x, 60); });
    bool passed = false;
    for (const auto start = Clock::now(); !passed && seconds_since(start) < 10;) {
      try {
        windows_->pump(0.01);
      } catch (const std::bad_alloc&) {
        passed = true;
      }
    }
    clicking.join();
    EXPECT_TRUE(passed);
    EXPECT_EQ(windows_->open_mask(), 1u);
  }
}

TEST_F(WindowsTest, WhatAViewThrowsAsItsWindowClosesKeepsNothingFromClosing) {
  struct Case {
    const char* name;
    EditorVariant variant;
    const char* line;
    int lost;  ///< views that are never let go
  };
  const Case cases[] = {
      // The toolkit swallows it.
      {"raises as it hears of it", kRaisesInClosing, "", 0},
      {"throws as it hears of it", kThrowsInClosing, "closed in vain", 1},
      {"raises as it leaves the window", kRaisesInLeaving, "left in vain", 1},
      {"throws as it leaves the window", kThrowsInLeaving, "left in vain", 1},
  };
  int lost = live_objects();
  for (const Case& c : cases) {
    for (const bool by_close_box : {false, true}) {
      SCOPED_TRACE(c.name + std::string(by_close_box ? ", close box" : ", all"));
      closed_.clear();
      EditorsUnit innocent(kCocoaView);
      EditorsUnit guilty(c.variant);
      ASSERT_TRUE(windows_->open(0, innocent.get(), "Before"));
      ASSERT_TRUE(windows_->open(2, innocent.get(), "After"));
      ASSERT_TRUE(windows_->open(1, guilty.get(), "Guilty"));
      testing::internal::CaptureStderr();
      if (by_close_box) {
        const auto window = find("Guilty");
        ASSERT_TRUE(window);
        pump_while([&] { return click_close_box(*window), 0; });
        EXPECT_TRUE(pump_until([&] { return windows_->open_mask() == 5u; }));
        pump(0.05);
        EXPECT_EQ(windows_->open_mask(), 5u);
        EXPECT_EQ(std::set(closed_.begin(), closed_.end()), std::set{1u});
      }
      windows_->close_all();
      EXPECT_EQ(windows_->open_mask(), 0u);
      EXPECT_EQ(std::set(closed_.begin(), closed_.end()), (std::set{0u, 1u, 2u}));
      pump(0.05);
      lost += c.lost;
      EXPECT_TRUE(pump_until([&] { return live_objects() <= lost; })) << live_objects();
      EXPECT_EQ(
          testing::internal::GetCapturedStderr(),
          *c.line ? "plugin host: editor of plugin 1 failed: " + std::string(c.line) + "\n" : "");
    }
  }
  // A manager that ends has no turn left in which to let go of a window.
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EditorsUnit guilty(c.variant);
    closed_.clear();
    ASSERT_TRUE(windows_->open(1, guilty.get(), "Guilty"));
    SetUp();
    EXPECT_EQ(std::set(closed_.begin(), closed_.end()), std::set{1u});
    pump(0.05);
  }
}

}  // namespace
