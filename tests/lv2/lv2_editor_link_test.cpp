// What a unit lends to its plugin's interface, with no display and no interface.

#include <CoreFoundation/CoreFoundation.h>

#include <thread>

#include "components/lv2/unit/editor_link.hpp"
#include "components/unit_support/cf_object.hpp"
#include "tests/lv2/lv2_unit.hpp"
#include "tests/support/wait_until.hpp"

using namespace vesk::lv2;
using vesk::CfObject;
using vesk::tests::Lv2Unit;

namespace {

constexpr std::uint32_t questions = 0;
constexpr std::uint32_t level_id = 4;
constexpr std::uint32_t half_level = 7;
constexpr std::uint32_t connected = 8;
using Numbers = std::vector<std::int32_t>;

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
    ASSERT_NE(link_, nullptr);
    ASSERT_TRUE(unit_->initialize());
  }
  void render() { ASSERT_EQ(unit_->render(), noErr); }
  void ask(std::int32_t number) {
    const LV2_Atom_Int question{{sizeof number, link_->map(LV2_ATOM__Int)}, number};
    EXPECT_TRUE(link_->send(questions, &question.atom));
  }
  Numbers answers() {
    Numbers numbers;
    link_->receive(
        [](void* context, std::uint32_t port, const LV2_Atom* atom) {
          EXPECT_EQ(port, 1u);
          static_cast<Numbers*>(context)->push_back(
              reinterpret_cast<const LV2_Atom_Int*>(atom)->body);
        },
        &numbers);
    return numbers;
  }

  Viewer viewer_;
  std::unique_ptr<Lv2Unit> unit_ = std::make_unique<Lv2Unit>("urn:vesk:test:knob");
  EditorLink* link_ = unit_->property<EditorLink*>(editor_link_property);
};

TEST_F(EditorLinkTest, NamesTheInterfaceThatCanBeShown) {
  EXPECT_EQ(link_->editor().uri, "urn:vesk:test:knob-ui");
  const Lv2Unit plain("urn:vesk:test:mono");
  for (const AudioUnitPropertyID id :
       {AudioUnitPropertyID{kAudioUnitProperty_CocoaUI}, editor_link_property}) {
    const auto info = [&](AudioUnit unit) {
      return AudioUnitGetPropertyInfo(unit, id, kAudioUnitScope_Global, 0, nullptr, nullptr);
    };
    EXPECT_EQ(info(unit_->unit()), noErr);
    // One without an interface of its own has the panel that every unit has.
    EXPECT_EQ(info(plain.unit()), kAudioUnitErr_InvalidProperty);
  }
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

TEST_F(EditorLinkTest, AtomsArriveWithThePeriodInOrderAndOnlyAtTheViewThatAsked) {
  ASSERT_TRUE(link_->attach(&viewer_));
  render();
  ask(1);
  ask(2);
  EXPECT_TRUE(answers().empty());
  render();
  EXPECT_EQ(answers(), (Numbers{2, 4}));
  render();
  EXPECT_TRUE(answers().empty());
  EXPECT_FALSE(link_->send(level_id, nullptr));
  // Said, and not listened to; and asked, and not delivered.
  ask(4);
  render();
  ask(5);
  link_->detach(&viewer_);
  render();
  ASSERT_TRUE(link_->attach(&viewer_));
  render();
  EXPECT_TRUE(answers().empty());
  ask(3);
  render();
  EXPECT_EQ(answers(), (Numbers{6}));
  link_->detach(&viewer_);
}

TEST_F(EditorLinkTest, ViewsComeAndGoBesideRendering) {
  std::jthread renderer([this](const std::stop_token& stop) {
    while (!stop.stop_requested()) render();
  });
  for (std::int32_t view = 0; view < 200; ++view) {
    ASSERT_TRUE(link_->attach(&viewer_));
    Numbers heard, wanted;
    for (std::int32_t number = 1; number <= 20; ++number) {
      ask(1000 * view + number);
      wanted.push_back(2 * (1000 * view + number));
    }
    vesk::tests::wait_until([&] {
      for (const std::int32_t answer : answers()) heard.push_back(answer);
      return heard.size() >= wanted.size();
    });
    // What this view has asked, all of it, and nothing of the one before it.
    ASSERT_EQ(heard, wanted);
    // Never heard.
    ask(-1);
    link_->detach(&viewer_);
  }
}

TEST_F(EditorLinkTest, ValuesSetAreHeardByListenersAndPlayed) {
  using Events = std::vector<AudioUnitEventType>;
  const Events types = {kAudioUnitEvent_BeginParameterChangeGesture,
                        kAudioUnitEvent_ParameterValueChange,
                        kAudioUnitEvent_EndParameterChangeGesture};
  AUEventListenerRef listener = nullptr;
  Events heard;
  ASSERT_EQ(AUEventListenerCreate(
                [](void* user, void*, const AudioUnitEvent* event, UInt64, Float32) {
                  static_cast<Events*>(user)->push_back(event->mEventType);
                },
                &heard, nullptr, nullptr, 0, 0, &listener),
            noErr);
  for (const AudioUnitEventType type : types) {
    AudioUnitEvent event{};
    event.mEventType = type;
    event.mArgument.mParameter = {unit_->unit(), level_id, kAudioUnitScope_Global, 0};
    ASSERT_EQ(AUEventListenerAddEventType(listener, nullptr, &event), noErr);
  }
  link_->touch(level_id, true);
  link_->set_value(level_id, 0.5f);
  link_->touch(level_id, false);
  render();
  EXPECT_EQ(link_->value(half_level), 0.25f);
  EXPECT_EQ(heard, types);
  AUListenerDispose(listener);
}

TEST_F(EditorLinkTest, TellsWhenThePluginsHandleGoes) {
  ASSERT_TRUE(link_->attach(&viewer_));
  ASSERT_NE(link_->handle(), nullptr);
  const CfObject<CFPropertyListRef> state(
      unit_->property<CFPropertyListRef>(kAudioUnitProperty_ClassInfo));
  EXPECT_EQ(viewer_.leaves, 0);
  ASSERT_EQ(unit_->set_property(kAudioUnitProperty_ClassInfo, state.get()), noErr);
  EXPECT_EQ(viewer_.leaves, 1);
  // The new one serves the view that is still there.
  render();
  EXPECT_EQ(link_->value(connected), 1);
  EXPECT_EQ(viewer_.ends, 0);
  unit_.reset();
  EXPECT_EQ(viewer_.ends, 1);
}

}  // namespace
