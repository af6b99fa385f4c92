// The window manager on an X server of its own, with the editors of the test unit.

#include "windows/windows.hpp"

#include <AudioToolbox/AudioToolbox.h>
#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include "support/display.hpp"
#include "support/raw_host.hpp"

extern "C" {
#include "units/editors/variants.h"
}

using namespace vesk::tests;
using vesk::host::Windows;
using Clock = std::chrono::steady_clock;

namespace {

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

bool maps_window_libraries() {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find("gnustep") != line.npos) return true;
  }
  return false;
}

/// An instance of the editors unit that offers `variant`.
class Unit {
 public:
  explicit Unit(EditorVariant variant) {
    const AudioComponentDescription description{'aumu', 'Edit', 'Vesk', 0, 0};
    const AudioComponent component = AudioComponentFindNext(nullptr, &description);
    if (component && AudioComponentInstanceNew(component, &unit_) == noErr) {
      set(kEditor, static_cast<float>(variant));
    }
  }
  ~Unit() {
    if (unit_) AudioComponentInstanceDispose(unit_);
  }
  Unit(const Unit&) = delete;
  Unit& operator=(const Unit&) = delete;

  AudioUnit get() const { return unit_; }
  void set(EditorParameter id, float value) {
    AudioUnitSetParameter(unit_, id, kAudioUnitScope_Global, 0, value, 0);
  }
  float value(EditorParameter id) const {
    float value = -1;
    AudioUnitGetParameter(unit_, id, kAudioUnitScope_Global, 0, &value);
    return value;
  }
  /// Lets the unit count what was not released.
  float held_references() {
    CFPropertyListRef state = nullptr;
    UInt32 size = sizeof state;
    AudioUnitGetProperty(unit_, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0, &state,
                         &size);
    if (state) CFRelease(state);
    return value(kHeldReferences);
  }

 private:
  AudioUnit unit_ = nullptr;
};

class WindowsTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    setenv("AUDIO_COMPONENT_PATH", (build_folder() + "/components").c_str(), 1);
    unsetenv("VESK_PLUGIN_WINDOWS_OFFSCREEN");
    display_ = new VirtualDisplay;
    ASSERT_TRUE(display_->is_running());
  }
  static void TearDownTestSuite() {
    delete display_;
    display_ = nullptr;
  }

  void SetUp() override {
    windows_ = std::make_unique<Windows>([this](unsigned plugin) { closed_.push_back(plugin); });
  }
  void TearDown() override {
    if (!windows_) return;
    windows_->close_all();
    pump(0.05);
    windows_.reset();
  }

  void pump(double seconds) {
    for (const auto start = Clock::now(); seconds_since(start) < seconds;) windows_->pump(0.01);
  }
  bool pump_until(const std::function<bool()>& condition, double limit = 3) {
    const auto start = Clock::now();
    while (!condition() && seconds_since(start) < limit) windows_->pump(0.01);
    return condition();
  }
  /// Runs `work` on a thread of its own and pumps until it has ended: what another process does.
  template <class Work>
  auto pump_while(const Work& work) {
    std::atomic<bool> ended{false};
    decltype(work()) result;
    std::thread thread([&] {
      result = work();
      ended = true;
    });
    while (!ended) windows_->pump(0.01);
    thread.join();
    return result;
  }
  std::optional<WindowPlace> find(const std::string& title) {
    return pump_while([&] { return find_window(title); });
  }
  std::optional<WindowPlace> look(const std::string& title) {
    return pump_while([&] { return look_for_window(title); });
  }

  static VirtualDisplay* display_;
  std::vector<unsigned> closed_;
  std::unique_ptr<Windows> windows_;
};

VirtualDisplay* WindowsTest::display_ = nullptr;

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

TEST_F(WindowsTest, ShowsTheViewThatTheUnitOffersFirstAtItsSize) {
  constexpr int panel_width = 500;
  struct Case {
    const char* name;
    EditorVariant variant;
    int width;
    int height;  ///< 0: as the panel likes
    int requests;
    double least_seconds;
  };
  const Case cases[] = {
      {"nothing offered", kNoEditor, panel_width, 0, 1, 0},
      {"a Cocoa view", kCocoaView, 300, 120, 0, 0},
      {"a Cocoa view and a controller", kCocoaViewAndController, 300, 120, 0, 0},
      {"three classes", kThreeClasses, 300, 120, 0, 0},
      {"a class that is no factory", kNonconformingClass, 240, 90, 1, 0},
      {"a location without a class", kLocationOnly, 240, 90, 1, 0},
      {"a controller by way of the main queue", kControllerOnMainQueue, 240, 90, 1, 0},
      {"a controller from a thread, half a preferred size", kControllerFromThread, 600, 400, 1,
       0.1},
      {"an empty view and a preferred size", kControllerPreferredSize, 320, 200, 1, 0},
      {"no controller after all", kControllerNull, panel_width, 0, 1, 0},
      {"a controller that never comes", kControllerNever, panel_width, 0, 1, 2.0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Unit unit(c.variant);
    const auto start = Clock::now();
    ASSERT_TRUE(windows_->open(0, unit.get(), c.name));
    EXPECT_GE(seconds_since(start), c.least_seconds);
    EXPECT_LT(seconds_since(start), c.least_seconds + 1);
    EXPECT_EQ(windows_->open_mask(), 1u);
    const auto window = find(c.name);
    ASSERT_TRUE(window);
    EXPECT_EQ(view_width(*window), c.width);
    if (c.height) {
      EXPECT_EQ(view_height(*window), c.height);
    }
    EXPECT_EQ(unit.value(kControllerRequests), c.requests);
    EXPECT_EQ(unit.held_references(), 0);
    windows_->close_all();
    pump(0.05);
  }
}

TEST_F(WindowsTest, ASecondOpenRetitlesAndBringsToTheFront) {
  Unit unit(kCocoaView);
  ASSERT_TRUE(windows_->open(0, unit.get(), "First"));
  const auto first = find("First");
  ASSERT_TRUE(first);
  ASSERT_TRUE(windows_->open(0, unit.get(), "Second"));
  const auto second = find("Second");
  ASSERT_TRUE(second);
  EXPECT_EQ(second->id, first->id);
  EXPECT_FALSE(look("First"));
}

TEST_F(WindowsTest, TellsInOrderWhichEditorsCloseAndForgetsThemLater) {
  Unit unit(kCocoaView);
  for (const unsigned plugin : {32u, 5u, 31u, 0u}) {
    ASSERT_TRUE(windows_->open(plugin, unit.get(), "Plugin " + std::to_string(plugin)));
  }
  EXPECT_EQ(windows_->open_mask(), (1u << 31) | (1u << 5) | 1u);
  windows_->close_all();
  EXPECT_EQ(closed_, (std::vector<unsigned>{0, 5, 31, 32}));
  EXPECT_EQ(windows_->open_mask(), 0u);
  // Closed but not yet removed: telling it again may repeat each, not more than once.
  windows_->close_all();
  EXPECT_LE(closed_.size(), 8u);
  pump(0.05);
  closed_.clear();
  windows_->close_all();
  EXPECT_TRUE(closed_.empty());
}

TEST_F(WindowsTest, AWindowShownAgainBeforeItsRemovalStays) {
  Unit unit(kCocoaView);
  ASSERT_TRUE(windows_->open(3, unit.get(), "Kept"));
  windows_->close_all();
  ASSERT_TRUE(windows_->open(3, unit.get(), "Kept again"));
  pump(0.1);
  EXPECT_EQ(windows_->open_mask(), 1u << 3);
  EXPECT_TRUE(find("Kept again"));
  closed_.clear();
  windows_->close_all();
  EXPECT_EQ(closed_, std::vector<unsigned>{3});
  pump(0.05);
  EXPECT_EQ(windows_->open_mask(), 0u);
}

TEST_F(WindowsTest, ARemovalThatIsStillPendingOutlivesTheManager) {
  Unit unit(kCocoaView);
  ASSERT_TRUE(windows_->open(0, unit.get(), "Gone"));
  windows_.reset();
  EXPECT_EQ(closed_, std::vector<unsigned>{0});
  CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.05, false);
}

TEST_F(WindowsTest, ShowsATitleThatIsNoText) {
  Unit unit(kCocoaView);
  ASSERT_TRUE(windows_->open(0, unit.get(), "Caf\xE9 \xF0\x9F\x8E\xB9 bar"));
  const auto window = find("bar");
  ASSERT_TRUE(window);
  EXPECT_EQ(title_of(*window), "Caf\xEF\xBF\xBD \xF0\x9F\x8E\xB9 bar");
}

TEST_F(WindowsTest, PlacesWindowsOffScreenWhenTold) {
  Unit unit(kCocoaView);
  setenv("VESK_PLUGIN_WINDOWS_OFFSCREEN", "", 1);
  const bool opened = windows_->open(0, unit.get(), "Far away");
  unsetenv("VESK_PLUGIN_WINDOWS_OFFSCREEN");
  ASSERT_TRUE(opened);
  EXPECT_EQ(windows_->open_mask(), 1u);
  pump(0.1);
  const auto window = find("Far away");
  ASSERT_TRUE(window);
  EXPECT_LT(window->x, -9000);
  // Seen by nobody, so not remembered: without the setting it is centred.
  windows_->close_all();
  pump(0.05);
  ASSERT_TRUE(windows_->open(0, unit.get(), "Far away"));
  const auto next = find("Far away");
  ASSERT_TRUE(next);
  EXPECT_NEAR(next->x + next->width / 2.0, 640, 4);
}

TEST_F(WindowsTest, RemembersAFrameUnderTitleAndIndex) {
  Unit unit(kCocoaView);
  for (const unsigned plugin : {0u, 1u}) {
    ASSERT_TRUE(windows_->open(plugin, unit.get(), "Framed"));
    const auto window = find("Framed");
    ASSERT_TRUE(window);
    EXPECT_NEAR(window->x + window->width / 2.0, 640, 4) << "a name never seen is centred";
    pump_while([&, x = 100 + 300 * static_cast<int>(plugin)] {
      return output_of("xdotool windowmove --sync " + window->id + " " + std::to_string(x) +
                       " 150");
    });
    pump(0.1);
    windows_->close_all();
    pump(0.05);
  }
  for (const unsigned plugin : {0u, 1u}) {
    ASSERT_TRUE(windows_->open(plugin, unit.get(), "Framed"));
    const auto window = find("Framed");
    ASSERT_TRUE(window);
    EXPECT_NEAR(window->x, 100 + 300 * static_cast<int>(plugin), 4);
    EXPECT_NEAR(window->y, 150, 4);
    windows_->close_all();
    pump(0.05);
  }
}

TEST_F(WindowsTest, RunsTasksAndTimersWhileItWaitsForEvents) {
  Unit unit(kCocoaView);
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
  windows_->pump(0.2);
  poster.join();
  EXPECT_GE(*task_at, 0.019);
  EXPECT_LT(*task_at, 0.035);
  EXPECT_GE(*timer_at, 0.049);
  EXPECT_LT(*timer_at, 0.065);
}

TEST_F(WindowsTest, AClickAndTheCloseBoxReachTheView) {
  Unit unit(kCocoaView);
  ASSERT_TRUE(windows_->open(0, unit.get(), "Clicked"));
  const auto window = find("Clicked");
  ASSERT_TRUE(window);
  pump_while([&] { return click(*window, 225, 60), 0; });
  EXPECT_TRUE(pump_until([&] { return unit.value(kLevel) > 0.7f; }));
  EXPECT_NEAR(unit.value(kLevel), 0.75, 0.02);
  pump_while([&] { return click_close_box(*window), 0; });
  EXPECT_TRUE(pump_until([&] { return closed_ == std::vector<unsigned>{0}; }));
  EXPECT_EQ(windows_->open_mask(), 0u);
}

TEST_F(WindowsTest, WhatAViewThrowsClosesItsEditorAndNoOther) {
  struct Case {
    const char* name;
    EditorVariant variant;
    bool opens;
    bool spares_others;
    const char* reason;
  };
  const Case cases[] = {
      {"throws in its factory", kThrowsInFactory, false, true, "no view today"},
      {"raises in its factory", kRaisesInFactory, false, true, "no view raised"},
      {"throws in an event", kThrowsInMouseDown, true, true, "clicked in vain"},
      {"raises while it draws", kRaisesInDrawing, true, true, "drawn in vain"},
      // Nobody can tell whose task it was.
      {"throws in a task", kThrowsInMainQueueTask, true, false, "task in vain"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    closed_.clear();
    Unit innocent(kCocoaView);
    Unit guilty(c.variant);
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
    windows_->close_all();
    pump(0.05);
  }
}

}  // namespace
