// What a unit lends to its plugin's interface, with no display and no interface.

#include <AudioToolbox/AudioToolbox.h>
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "components/lv2/catalogue/component_code.hpp"
#include "components/lv2/unit/editor_link.hpp"

using namespace vesk::lv2;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr UInt32 period_frames = 64;
constexpr std::uint32_t questions = 0;
constexpr std::uint32_t level_id = 4;
constexpr std::uint32_t half_level = 7;
constexpr std::uint32_t connected = 8;

AudioUnit open_unit(const char* uri, OSType type) {
  const AudioComponentDescription codes{type, primary_code(uri), 'LV2_', 0, 0};
  AudioUnit unit = nullptr;
  const AudioComponent component = AudioComponentFindNext(nullptr, &codes);
  EXPECT_NE(component, nullptr) << uri;
  if (component != nullptr) EXPECT_EQ(AudioComponentInstanceNew(component, &unit), noErr);
  return unit;
}

/// Takes notes of what the unit tells.
struct Viewer final : EditorViewer {
  void instance_leaves() override { ++leaves; }
  void unit_ends() override { ++ends; }
  int leaves = 0;
  int ends = 0;
};

class EditorLinkTest : public testing::Test {
 protected:
  void SetUp() override {
    unit_ = open_unit("urn:vesk:test:knob", kAudioUnitType_MusicDevice);
    ASSERT_NE(unit_, nullptr);
    UInt32 size = sizeof link_;
    ASSERT_EQ(
        AudioUnitGetProperty(unit_, editor_link_property, kAudioUnitScope_Global, 0, &link_, &size),
        noErr);
    ASSERT_EQ(AudioUnitInitialize(unit_), noErr);
  }
  void TearDown() override { dispose(); }

  void dispose() {
    if (unit_ != nullptr) AudioComponentInstanceDispose(unit_);
    unit_ = nullptr;
  }
  void render() {
    struct {
      AudioBufferList list;
      AudioBuffer second;
    } data{};
    data.list.mNumberBuffers = 2;
    AudioUnitRenderActionFlags flags = 0;
    AudioTimeStamp time{};
    ASSERT_EQ(AudioUnitRender(unit_, &flags, &time, 0, period_frames, &data.list), noErr);
  }
  void ask(std::int32_t number) {
    const LV2_Atom_Int question{{sizeof number, link_->map(LV2_ATOM__Int)}, number};
    EXPECT_TRUE(link_->send(questions, &question.atom));
  }
  std::vector<std::int32_t> answers() {
    std::vector<std::int32_t> numbers;
    link_->receive(
        [](void* context, std::uint32_t port, const LV2_Atom* atom) {
          EXPECT_EQ(port, 1u);
          static_cast<std::vector<std::int32_t>*>(context)->push_back(
              reinterpret_cast<const LV2_Atom_Int*>(atom)->body);
        },
        &numbers);
    return numbers;
  }

  AudioUnit unit_ = nullptr;
  EditorLink* link_ = nullptr;
  Viewer viewer_;
};

TEST_F(EditorLinkTest, NamesTheInterfaceThatCanBeShown) {
  EXPECT_EQ(link_->editor().uri, "urn:vesk:test:knob-ui");
  UInt32 size = 0;
  EXPECT_EQ(AudioUnitGetPropertyInfo(unit_, kAudioUnitProperty_CocoaUI, kAudioUnitScope_Global, 0,
                                     &size, nullptr),
            noErr);
  EXPECT_EQ(size, sizeof(AudioUnitCocoaViewInfo));
  // One without an interface of its own has the panel that every unit has.
  const AudioUnit plain = open_unit("urn:vesk:test:mono", kAudioUnitType_Effect);
  for (const AudioUnitPropertyID id :
       {AudioUnitPropertyID{kAudioUnitProperty_CocoaUI}, editor_link_property}) {
    EXPECT_EQ(AudioUnitGetPropertyInfo(plain, id, kAudioUnitScope_Global, 0, nullptr, nullptr),
              kAudioUnitErr_InvalidProperty);
  }
  AudioComponentInstanceDispose(plain);
}

TEST_F(EditorLinkTest, AnOptionalOutputIsConnectedOnlyWhileItIsWatched) {
  for (int view = 0; view < 2; ++view) {
    render();
    EXPECT_EQ(link_->value(connected), 0);
    ASSERT_TRUE(link_->attach(&viewer_));
    EXPECT_FALSE(link_->attach(&viewer_));
    render();
    EXPECT_EQ(link_->value(connected), 1);
    link_->detach(&viewer_);
  }
  render();
  EXPECT_EQ(link_->value(connected), 0);
}

TEST_F(EditorLinkTest, AtomsArriveWithThePeriodAndInOrder) {
  ASSERT_TRUE(link_->attach(&viewer_));
  render();
  ask(1);
  ask(2);
  EXPECT_TRUE(answers().empty());
  render();
  EXPECT_EQ(answers(), (std::vector<std::int32_t>{2, 4}));
  render();
  EXPECT_TRUE(answers().empty());
  EXPECT_FALSE(link_->send(level_id, nullptr));
  link_->detach(&viewer_);
}

TEST_F(EditorLinkTest, ANewViewHearsNothingOfTheOldOne) {
  ASSERT_TRUE(link_->attach(&viewer_));
  render();
  ask(1);
  render();
  // Said, and not listened to; and asked, and not delivered.
  ask(5);
  link_->detach(&viewer_);
  render();
  ASSERT_TRUE(link_->attach(&viewer_));
  render();
  EXPECT_TRUE(answers().empty());
  ask(3);
  render();
  EXPECT_EQ(answers(), (std::vector<std::int32_t>{6}));
  link_->detach(&viewer_);
}

TEST_F(EditorLinkTest, ViewsComeAndGoBesideRendering) {
  std::jthread renderer([this](const std::stop_token& stop) {
    while (!stop.stop_requested()) render();
  });
  for (std::int32_t view = 0; view < 200; ++view) {
    ASSERT_TRUE(link_->attach(&viewer_));
    std::vector<std::int32_t> heard;
    std::vector<std::int32_t> wanted;
    for (std::int32_t number = 1; number <= 20; ++number) {
      ask(1000 * view + number);
      wanted.push_back(2 * (1000 * view + number));
    }
    for (const auto end = Clock::now() + 5s; heard.size() < wanted.size() && Clock::now() < end;) {
      for (const std::int32_t answer : answers()) heard.push_back(answer);
      std::this_thread::yield();
    }
    // What this view has asked, all of it, and nothing of the one before it.
    ASSERT_EQ(heard, wanted);
    // Never heard.
    ask(-1);
    link_->detach(&viewer_);
  }
}

TEST_F(EditorLinkTest, ValuesSetAreHeardByListenersAndPlayed) {
  AUEventListenerRef listener = nullptr;
  std::vector<AudioUnitEventType> heard;
  ASSERT_EQ(AUEventListenerCreate(
                [](void* user, void*, const AudioUnitEvent* event, UInt64, Float32) {
                  static_cast<std::vector<AudioUnitEventType>*>(user)->push_back(event->mEventType);
                },
                &heard, nullptr, nullptr, 0, 0, &listener),
            noErr);
  for (const AudioUnitEventType type :
       {kAudioUnitEvent_BeginParameterChangeGesture, kAudioUnitEvent_ParameterValueChange,
        kAudioUnitEvent_EndParameterChangeGesture}) {
    AudioUnitEvent event{};
    event.mEventType = type;
    event.mArgument.mParameter = {unit_, level_id, kAudioUnitScope_Global, 0};
    ASSERT_EQ(AUEventListenerAddEventType(listener, nullptr, &event), noErr);
  }
  link_->touch(level_id, true);
  link_->set_value(level_id, 0.5f);
  link_->touch(level_id, false);
  render();
  EXPECT_EQ(link_->value(half_level), 0.25f);
  EXPECT_EQ(heard, (std::vector<AudioUnitEventType>{kAudioUnitEvent_BeginParameterChangeGesture,
                                                    kAudioUnitEvent_ParameterValueChange,
                                                    kAudioUnitEvent_EndParameterChangeGesture}));
  AUListenerDispose(listener);
}

TEST_F(EditorLinkTest, TellsWhenThePluginsHandleGoes) {
  ASSERT_TRUE(link_->attach(&viewer_));
  const LV2_Handle first = link_->handle();
  ASSERT_NE(first, nullptr);
  CFPropertyListRef state = nullptr;
  UInt32 size = sizeof state;
  ASSERT_EQ(AudioUnitGetProperty(unit_, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0,
                                 &state, &size),
            noErr);
  EXPECT_EQ(viewer_.leaves, 0);
  ASSERT_EQ(AudioUnitSetProperty(unit_, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0,
                                 &state, sizeof state),
            noErr);
  CFRelease(state);
  EXPECT_EQ(viewer_.leaves, 1);
  // The new one serves the view that is still there.
  render();
  EXPECT_EQ(link_->value(connected), 1);
  EXPECT_EQ(viewer_.ends, 0);
  dispose();
  EXPECT_EQ(viewer_.ends, 1);
}

}  // namespace
