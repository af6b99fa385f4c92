// The generic panel through its window: real pointer and keys from another process.

#include <sstream>

#include "tests/support/windows_fixture.hpp"

using namespace vesk::tests;

namespace {

/// Counts the beginnings and ends of changes to one parameter.
class Gestures {
 public:
  Gestures(AudioUnit unit, AudioUnitParameterID id) {
    AUEventListenerCreate(count, this, CFRunLoopGetMain(), kCFRunLoopDefaultMode, 0, 0, &listener_);
    for (const AudioUnitEventType type :
         {kAudioUnitEvent_BeginParameterChangeGesture, kAudioUnitEvent_EndParameterChangeGesture}) {
      AudioUnitEvent event{};
      event.mEventType = type;
      event.mArgument.mParameter = {unit, id, kAudioUnitScope_Global, 0};
      AUEventListenerAddEventType(listener_, this, &event);
    }
  }
  ~Gestures() { AUListenerDispose(listener_); }
  Gestures(const Gestures&) = delete;
  Gestures& operator=(const Gestures&) = delete;

  int begun = 0;
  int ended = 0;

 private:
  static void count(void* self, void*, const AudioUnitEvent* event, UInt64, Float32) {
    auto* gestures = static_cast<Gestures*>(self);
    ++(event->mEventType == kAudioUnitEvent_BeginParameterChangeGesture ? gestures->begun
                                                                        : gestures->ended);
  }

  AUEventListenerRef listener_ = nullptr;
};

/// With VESK_TEST_WINDOW_MANAGER in the environment under openbox, which the toolkit must find when
/// it shows its first window.
class PanelTest : public WindowsTest {
 protected:
  static void SetUpTestSuite() {
    WindowsTest::SetUpTestSuite();
    if (getenv("VESK_TEST_WINDOW_MANAGER")) ASSERT_TRUE(display_->start_window_manager());
  }

  /// Opens the panel of `unit` and clicks it, since not every window manager gives the keyboard to
  /// a new window; waits until it has it.
  WindowPlace show(const EditorsUnit& unit, const std::string& title) {
    const WindowPlace window = WindowsTest::show(0, unit, title);
    act(window, "@60,20 click 1");
    EXPECT_TRUE(pump_until([&] { return focused() == window.id; }));
    return window;
  }

  /// What xdotool is to do; "@x,y" takes the pointer to a place in the view, " ; " ends a text and
  /// lets the panel take what came before it.
  void act(const WindowPlace& window, const std::string& actions) {
    std::istringstream words(actions + " ;");
    std::string command;
    for (std::string word; words >> word;) {
      int x = 0;
      int y = 0;
      if (word == ";") {
        pump_while([&] { return output_of("xdotool " + command), 0; });
        pump(0.03);
        command.clear();
      } else if (sscanf(word.c_str(), "@%d,%d", &x, &y) == 2) {
        const auto [left, top] = pump_while([&] { return on_screen(window, x, y); });
        command += "mousemove " + std::to_string(left) + " " + std::to_string(top) + " ";
      } else {
        command += word + " ";
      }
    }
  }
};

// Sliders reach from 194 to 368 points; rows are 28 high, the middle of the first is at 82, or at
// 116 below a search field. The keyboard goes to the presets, the search, then to each control and
// the text beside it.
TEST_F(PanelTest, EveryControlAnswersToPointerAndKeys) {
  struct Case {
    const char* name;
    const char* actions;
    int parameter;
    float value;
    int gestures = 1;
    bool is_long = false;
  };
  const Case cases[] = {
      {"a grasped knob stays where it is", "@242,82 click 1", kLevel, 0.25f},
      {"a knob comes to the pointer", "@324,82 click 1", kLevel, 0.75f},
      {"a dragged knob", "@238,82 mousedown 1 @281,82 @325,82 mouseup 1", kLevel, 0.75f},
      {"beyond its end", "@238,82 mousedown 1 @480,150 mouseup 1", kLevel, 1},
      {"a fine drag", "keydown shift @238,82 mousedown 1 @325,82 mouseup 1 keyup shift", kLevel,
       0.30f},
      {"the default", "@324,82 click --repeat 2 --delay 40 1", kLevel, 0.25f, 2},
      {"a switch", "@205,194 click 1", kBright, 1},
      {"a choice", "@250,166 click 1 @250,237 click 1", kShape, 2},
      {"a choice in one go", "@250,166 mousedown 1 @250,200 @250,215 mouseup 1", kShape, 1},
      {"a menu closed beside it", "@250,166 click 1 @450,250 click 1 @205,194 click 1", kBright, 1},
      {"a preset", "@400,46 click 1 @400,95 click 1", kLevel, 0.875f, 0},
      {"the wheel over a chosen slider", "@238,82 click 1 click 4 click 4", kLevel, 0.27f, 3},
      {"the wheel elsewhere", "@324,140 click --repeat 8 --delay 20 5 click 1", kExtra + 6, 0.75f,
       1, true},
      {"the scroller", "@494,110 mousedown 1 @494,300 @494,650 ; mouseup 1 ; @324,540 click 1",
       kExtra + 39, 0.75f, 1, true},
      {"the end of the list", "key End @324,540 click 1", kExtra + 39, 0.75f, 1, true},
      {"a page and back", "key Next key Prior @324,116 click 1", kLevel, 0.75f, 1, true},
      {"arrows", "key Tab Tab Right Up Left Right", kLevel, 0.27f, 4},
      {"a fine arrow", "key Tab Tab shift+Right", kLevel, 0.251f},
      {"to its ends", "key Tab Tab Home End", kLevel, 1, 2},
      {"backwards", "key Tab Tab Tab Tab shift+Tab shift+Tab Right", kLevel, 0.26f},
      {"a typed value", "key Tab Tab Tab type 0.6 ; key Return", kLevel, 0.6f},
      {"a typed value that is left", "key Tab Tab Tab type 0.6 ; key Tab", kLevel, 0.6f},
      {"a typed unit", "key Tab Tab Tab Tab Tab Tab Tab type 1,5kHz ; key Return", kCutoff, 1500},
      {"a typed value given up", "key Tab Tab Tab type 0.9 ; key Escape Right", kLevel, 0.26f},
      {"nonsense", "key Tab Tab Tab type loud ; key Return Tab shift+Tab shift+Tab Right", kLevel,
       0.26f},
      {"a switch by Space", "key Tab Tab Tab Tab Tab Tab Tab Tab Tab space", kBright, 1},
      {"a choice by keys", "key Tab Tab Tab Tab Tab Tab Tab Tab space Down Down Return", kShape, 2},
      {"a menu given up", "key Tab Tab Tab Tab Tab Tab Tab Tab space Down Escape Tab space",
       kBright, 1},
      {"a search", "key Tab Tab type 42 ; @324,116 click 1", kExtra + 32, 0.75f, 1, true},
      {"a search given up", "key Tab Tab type zzz ; key Escape @324,116 click 1", kLevel, 0.75f, 1,
       true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EditorsUnit unit(kGrows);
    if (c.is_long) unit.set(kBright, 1);
    Gestures gestures(unit.get(), static_cast<AudioUnitParameterID>(c.parameter));
    act(show(unit, c.name), c.actions);
    const auto value = [&] { return unit.value(static_cast<EditorParameter>(c.parameter)); };
    EXPECT_TRUE(pump_until([&] {
      return std::abs(value() - c.value) < 0.004f && gestures.ended >= c.gestures;
    })) << value();
    EXPECT_EQ(gestures.begun, c.gestures);
    EXPECT_EQ(gestures.ended, c.gestures);
    EXPECT_EQ(unit.value(kShape), c.parameter == kShape ? c.value : 0);
    windows_->close_all();
    pump(0.05);
  }
}

TEST_F(PanelTest, AListThatGrowsEndsADragAndKeepsEverythingInReach) {
  EditorsUnit unit(kGrows);
  Gestures gestures(unit.get(), kLevel);
  std::optional<WindowPlace> window = show(unit, "Grows");
  const int height = view_height(*window);
  const auto is_as_high = [&](bool grown) {
    return pump_until([&] {
      window = look("Grows");
      return window && (grown ? view_height(*window) > height : view_height(*window) == height);
    });
  };
  act(*window, "@324,82 mousedown 1");
  EXPECT_TRUE(pump_until([&] { return unit.value(kLevel) > 0.7f; }));
  unit.set(kBright, 1);
  EXPECT_TRUE(is_as_high(true));
  EXPECT_TRUE(pump_until([&] { return gestures.ended == 1; }));
  act(*window, "@240,82 mouseup 1");
  EXPECT_EQ(gestures.begun, 1);
  EXPECT_GT(unit.value(kLevel), 0.7f);
  act(*window, "@205,228 click 1");
  EXPECT_TRUE(pump_until([&] { return unit.value(kBright) == 0; }));
  EXPECT_TRUE(is_as_high(false));
  // A window that is made small scrolls.
  const int smaller = window->height - 94;
  act(*window, "windowsize " + window->id + " " + std::to_string(window->width) + " " +
                   std::to_string(smaller));
  EXPECT_TRUE(pump_until([&] { return (window = look("Grows")) && window->height == smaller; }));
  act(*window, "key End @205,100 click 1");
  EXPECT_TRUE(pump_until([&] { return unit.value(kBright) == 1; }));
}

TEST_F(PanelTest, WhatIsTypedCountsWhenItsWindowCloses) {
  EditorsUnit unit(kNoEditor);
  const WindowPlace window = show(unit, "Typed");
  // Within the selected text, which the first character takes away.
  const auto [x, y] = pump_while([&] { return on_screen(window, 448, 76); });
  unsigned long colour = display_->colour_at(x, y);
  const auto changes = [&] { return display_->colour_at(x, y) != colour; };
  act(window, "key Tab Tab Tab");
  EXPECT_TRUE(pump_until(changes));
  colour = display_->colour_at(x, y);
  act(window, "key 1");
  EXPECT_TRUE(pump_until(changes));
  windows_->close_all();
  EXPECT_EQ(unit.value(kLevel), 1);
}

}  // namespace
