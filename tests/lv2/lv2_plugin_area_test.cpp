// The X window that plugins' interfaces live in, on a server of its own.

#include <gtest/gtest.h>
#include <signal.h>

#include <memory>

#include "components/lv2/editor/plugin_area.hpp"
#include "components/lv2/editor/x_errors.hpp"
#include "tests/support/display.hpp"

// Last: its macros take names that others use.
#include <X11/Xlib.h>

using namespace vesk::lv2;
using namespace vesk::tests;

namespace {

/// The toolkit's connection with a window at (100, 50), and the area in it, 10 points in.
class PluginAreaTest : public testing::Test {
 protected:
  void SetUp() override {
    toolkit_ = XOpenDisplay(nullptr);
    ASSERT_NE(toolkit_, nullptr);
    open_window();
    area_ = PluginArea::open();
    ASSERT_NE(area_, nullptr);
    interface_ = XOpenDisplay(nullptr);
    ASSERT_NE(interface_, nullptr);
    content_ = XCreateSimpleWindow(interface_, area_->window(), 0, 0, 80, 60, 0, 0, 0xffffff);
    // As interfaces do: from here on no other client can ask this window for its presses.
    XSelectInput(interface_, content_, ButtonPressMask | KeyPressMask);
    XMapWindow(interface_, content_);
    XSync(interface_, False);
  }
  void open_window() {
    window_ =
        XCreateSimpleWindow(toolkit_, DefaultRootWindow(toolkit_), 100, 50, 300, 200, 0, 0, 0);
    XMapWindow(toolkit_, window_);
    XSync(toolkit_, False);
  }
  void show() {
    area_->resize({80, 60});
    area_->put_into(window_, 10, 10);
  }
  void TearDown() override {
    area_.reset();
    if (is_lost_) return;
    XCloseDisplay(interface_);
    XCloseDisplay(toolkit_);
  }

  VirtualDisplay display_;
  // Static, since lost ones cannot be closed and are to stay known to a leak checker.
  static inline Display* toolkit_ = nullptr;
  static inline Display* interface_ = nullptr;
  Window window_ = 0;
  Window content_ = 0;
  std::unique_ptr<PluginArea> area_;
  bool is_lost_ = false;
};

TEST_F(PluginAreaTest, CountsPressesInsideAndNoOthers) {
  show();
  // Coming and going is no touch.
  for (const char* other : {"", " mousemove 300 200 click 1", " mousemove 300 200 key a"}) {
    EXPECT_FALSE(area_->is_touched()) << other;
    output_of(std::string("xdotool mousemove 130 80") + other);
  }
  EXPECT_FALSE(area_->is_touched());
  // It counts although the pointer has left by the time it is asked for, and the interface has it.
  output_of("xdotool mousemove 130 80 click 1 mousemove 300 200");
  EXPECT_TRUE(area_->is_touched());
  XSync(interface_, False);
  XEvent event;
  EXPECT_TRUE(XCheckTypedEvent(interface_, ButtonPress, &event));
}

TEST_F(PluginAreaTest, CountsKeysUnderThePointer) {
  show();
  output_of("xdotool mousemove 130 80 key a");
  EXPECT_TRUE(area_->is_touched());
}

TEST_F(PluginAreaTest, KnowsTheSizeOfWhatIsInIt) {
  EXPECT_EQ(area_->new_content_size(), (AreaSize{80, 60}));
  EXPECT_EQ(area_->new_content_size(), std::nullopt);
  show();
  XResizeWindow(interface_, content_, 120, 90);
  XSync(interface_, False);
  EXPECT_EQ(area_->new_content_size(), (AreaSize{120, 90}));
}

// A menu that a click has opened must not be covered by the window that the click brings forward.
TEST_F(PluginAreaTest, IsCoveredByWindowsAndNotByMenus) {
  show();
  EXPECT_FALSE(area_->is_covered());
  XSetWindowAttributes attributes{};
  for (const bool is_menu : {true, false}) {
    attributes.override_redirect = is_menu;
    const Window above =
        XCreateWindow(interface_, DefaultRootWindow(interface_), 120, 60, 50, 50, 0, CopyFromParent,
                      InputOutput, nullptr, CWOverrideRedirect, &attributes);
    EXPECT_FALSE(area_->is_covered()) << "nothing is to be seen of it";
    XMapWindow(interface_, above);
    XSync(interface_, False);
    EXPECT_EQ(area_->is_covered(), !is_menu);
  }
  XRaiseWindow(toolkit_, window_);
  XSync(toolkit_, False);
  EXPECT_FALSE(area_->is_covered());
}

TEST_F(PluginAreaTest, OutlivesTheWindowItWasIn) {
  for (int round = 0; round < 2; ++round) {
    show();
    area_->take_out();
    XDestroyWindow(toolkit_, window_);
    open_window();
  }
  show();
  XWindowAttributes attributes;
  ASSERT_TRUE(XGetWindowAttributes(toolkit_, content_, &attributes));
  EXPECT_EQ(attributes.map_state, IsViewable);
}

TEST_F(PluginAreaTest, ErrorsOfInterfacesAreCountedAndThoseOfTheToolkitPassedOn) {
  static int passed_on = 0;
  XSetErrorHandler([](Display*, XErrorEvent*) { return ++passed_on; });
  count_x_errors(toolkit_);
  // An interface that puts its own handler there is put in its place before its next turn.
  XSetErrorHandler([](Display*, XErrorEvent*) -> int { std::abort(); });
  count_x_errors(toolkit_);
  const unsigned long before = x_error_count();
  XMapWindow(interface_, 1);
  XSync(interface_, False);
  EXPECT_EQ(x_error_count(), before + 1);
  EXPECT_EQ(passed_on, 0);
  XMapWindow(toolkit_, 1);
  XSync(toolkit_, False);
  EXPECT_EQ(x_error_count(), before + 1);
  EXPECT_EQ(passed_on, 1);
}

TEST_F(PluginAreaTest, ALostServerLeavesTheInterfaceAndNotTheProcess) {
  count_x_errors(toolkit_);
  EXPECT_FALSE(area_->is_lost());
  EXPECT_TRUE(survives_display_loss([](void*) {}, nullptr));
  const auto crash = [] { return survives_display_loss([](void*) { raise(SIGSEGV); }, nullptr); };
  EXPECT_DEATH(crash(), "") << "with a server that answers it is the interface's own";
  is_lost_ = true;
  display_.kill();
  EXPECT_TRUE(area_->is_lost());
  struct Work {
    Display* display;
    bool came_through;
  } work{interface_, false};
  EXPECT_FALSE(survives_display_loss(
      [](void* context) {
        auto& running = *static_cast<Work*>(context);
        XSync(running.display, False);
        running.came_through = true;
      },
      &work));
  EXPECT_FALSE(work.came_through);
  // What OpenGL libraries do then; twice, since the signal must not stay blocked.
  for (int crashes = 0; crashes < 2; ++crashes) EXPECT_FALSE(crash());
  // The area's own connection asks for nothing but that calls return.
  EXPECT_FALSE(area_->is_touched());
  area_->take_out();
}

}  // namespace
