#pragma once

#include <AudioToolbox/AudioToolbox.h>
#include <CoreFoundation/CoreFoundation.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/display.hpp"
#include "tests/support/raw_host.hpp"
#include "windows/windows.hpp"

extern "C" {
#include "tests/components/editors/variants.h"
}

namespace vesk::tests {

using Clock = std::chrono::steady_clock;

inline double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Views and controllers of the editors unit that nobody has released for good.
inline int live_objects() {
  const std::string views =
      build_folder() + "/components/editors.component/Resources/EditorViews.bundle/EditorViews";
  void* image = dlopen(views.c_str(), RTLD_NOW | RTLD_NOLOAD);
  const auto count =
      image ? reinterpret_cast<int (*)()>(dlsym(image, VESK_EDITOR_LIVE_FUNCTION)) : nullptr;
  const int live = count ? count() : 0;
  if (image) dlclose(image);
  return live;
}

/// An instance of the editors unit that offers `variant`.
class EditorsUnit {
 public:
  explicit EditorsUnit(EditorVariant variant) {
    const AudioComponentDescription description{'aumu', 'Edit', 'Vesk', 0, 0};
    const AudioComponent component = AudioComponentFindNext(nullptr, &description);
    if (component && AudioComponentInstanceNew(component, &unit_) == noErr)
      set(kEditor, static_cast<float>(variant));
  }
  ~EditorsUnit() {
    if (unit_) AudioComponentInstanceDispose(unit_);
  }
  EditorsUnit(const EditorsUnit&) = delete;
  EditorsUnit& operator=(const EditorsUnit&) = delete;

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

/// A window manager on an X server of the suite's own.
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
    windows_ =
        std::make_unique<host::Windows>([this](unsigned plugin) { closed_.push_back(plugin); });
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
  bool pump_until(const std::function<bool()>& condition, double limit = 10) {
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
  /// Opens an editor and waits for its window; a case that it does not come for has failed.
  WindowPlace show(unsigned plugin, const EditorsUnit& unit, const std::string& title) {
    EXPECT_TRUE(windows_->open(plugin, unit.get(), title));
    const auto window = find(title);
    if (!window) throw std::runtime_error("no window " + title);
    return *window;
  }
  bool open_off_screen(unsigned plugin, const EditorsUnit& unit, const std::string& title) {
    setenv("VESK_PLUGIN_WINDOWS_OFFSCREEN", "", 1);
    const bool opened = windows_->open(plugin, unit.get(), title);
    unsetenv("VESK_PLUGIN_WINDOWS_OFFSCREEN");
    return opened;
  }
  std::optional<WindowPlace> find(const std::string& title) {
    return pump_while([&] { return find_window(title); });
  }
  std::optional<WindowPlace> look(const std::string& title) {
    return pump_while([&] { return look_for_window(title); });
  }

  std::string focused() {
    const std::string line = pump_while([] { return output_of("xdotool getwindowfocus"); });
    return line.substr(0, line.find('\n'));
  }
  static std::vector<unsigned long> stack(std::initializer_list<WindowPlace> windows) {
    std::vector<unsigned long> ids;
    for (const WindowPlace& window : windows) ids.push_back(std::stoul(window.id));
    return ids;
  }
  void move_to(const WindowPlace& window, int x, int y) {
    pump_while([&] {
      return output_of("xdotool windowmove --sync " + window.id + " " + std::to_string(x) + " " +
                       std::to_string(y));
    });
    pump(0.1);
  }
  /// Opens plugin 0 under `title`, looks where it is and closes it; with `to_x`, moved before.
  int shown_at(EditorsUnit& unit, const std::string& title, int to_x = 0) {
    const WindowPlace window = show(0, unit, title);
    if (to_x) move_to(window, to_x, 150);
    windows_->close_all();
    pump(0.05);
    return window.x;
  }

  static inline VirtualDisplay* display_ = nullptr;
  std::vector<unsigned> closed_;
  std::unique_ptr<host::Windows> windows_;
};

}  // namespace vesk::tests
