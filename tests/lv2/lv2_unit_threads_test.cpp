// Units around LV2 plugins with several threads at them: work beside rendering, presets and
// parameters that change while a period is under way.

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <cstring>
#include <set>
#include <thread>

#include "components/lv2/instance/urid_map.hpp"
#include "components/unit_support/cf_object.hpp"
#include "components/unit_support/message_ring.hpp"
#include "tests/lv2/lv2_unit.hpp"
#include "tests/support/wait_until.hpp"

using namespace vesk::tests;
using vesk::CfObject;
using vesk::MessageRing;

namespace {

// The plugin counts as faults what it sees of the wrong thread.
TEST(Lv2UnitWorker, AnswersArriveWithoutHoldingUpTheRender) {
  Lv2Unit unit("urn:vesk:test:events");
  ASSERT_TRUE(unit.initialize());
  unit.midi(0xb0, 64, 1, 0);
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.get("answer"), 0.0f);
  EXPECT_TRUE(wait_until([&] { return unit.render() == noErr && unit.get("answer") == 64; }));
  EXPECT_EQ(unit.get("faults"), 0.0f);
}

TEST(Lv2UnitWorker, RenderingOfflineDoesNotDependOnTheWorkersSpeed) {
  Lv2Unit unit("urn:vesk:test:events");
  ASSERT_EQ(unit.set_property(kAudioUnitProperty_OfflineRender, UInt32{1}), noErr);
  ASSERT_TRUE(unit.initialize());
  for (UInt32 number = 1; number < 100; ++number) {
    unit.midi(0xb0, number, 1, 0);
    // The answer is handed over at the end of the first period.
    for (int period = 0; period < 2; ++period) ASSERT_EQ(unit.render(), noErr);
    ASSERT_EQ(unit.get("answer"), static_cast<float>(number));
  }
  EXPECT_EQ(unit.get("faults"), 0.0f);
}

TEST(Lv2UnitWorker, UnitsEndWhileWorkIsUnderWay) {
  for (int i = 0; i < 20; ++i) {
    Lv2Unit unit("urn:vesk:test:events");
    ASSERT_TRUE(unit.initialize());
    for (UInt32 number = 0; number < 50; ++number) unit.midi(0xb0, number, 1, 0);
    ASSERT_EQ(unit.render(), noErr);
  }
}

TEST(Lv2UnitWorker, PluginsOfAProcessWorkOneAfterTheOther) {
  Lv2Unit first("urn:vesk:test:events"), second("urn:vesk:test:events");
  Lv2Unit* const units[] = {&first, &second};
  constexpr UInt32 last = 60;
  for (Lv2Unit* unit : units) ASSERT_TRUE(unit->initialize());
  for (UInt32 number = 1; number <= last; ++number)
    for (Lv2Unit* unit : units) unit->midi(0xb0, number, 1, 0);
  for (Lv2Unit* unit : units) ASSERT_EQ(unit->render(), noErr);
  for (int i = 0; i < 10; ++i) {
    Lv2Unit third("urn:vesk:test:events");
    ASSERT_TRUE(third.initialize());
    ASSERT_EQ(third.render(), noErr);
    EXPECT_EQ(third.get("faults"), 0.0f) << "made while others work";
  }
  for (Lv2Unit* unit : units) {
    EXPECT_TRUE(wait_until([&] { return unit->render() == noErr && unit->get("answer") == last; }));
    EXPECT_EQ(unit->get("faults"), 0.0f);
  }
}

TEST(Lv2UnitThreads, AStateIsExchangedBetweenPeriodsAndParametersAtAnyTime) {
  Lv2Unit unit("urn:vesk:test:effect");
  ASSERT_TRUE(unit.initialize());
  unit.input[0].assign(period_frames, 1.0f);
  std::vector<CfObject<CFPropertyListRef>> states;
  const float factors[] = {2.0f, 3.0f, 5.0f};
  for (const float factor : factors) {
    ASSERT_EQ(unit.set("next", factor), noErr);
    ASSERT_EQ(unit.render(), noErr);
    states.emplace_back(unit.property<CFPropertyListRef>(kAudioUnitProperty_ClassInfo));
  }
  std::atomic<int> periods{0};
  std::atomic<float> last{0};
  const std::jthread renderer([&](const std::stop_token& stop) {
    for (; !stop.stop_requested(); ++periods) {
      EXPECT_EQ(unit.render(), noErr);
      last = unit.output[0][0];
      EXPECT_EQ(unit.output[0][0], unit.output[0][period_frames - 1]) << "torn";
    }
  });
  for (std::size_t i = 0; i < 100; ++i) {
    ASSERT_EQ(unit.set_property(kAudioUnitProperty_ClassInfo, states[i % 3].get()), noErr);
    ASSERT_EQ(unit.set("setting", static_cast<float>(i)), noErr);
    const int before = periods;
    while (periods < before + 2) std::this_thread::yield();
    ASSERT_EQ(last, factors[i % 3]) << i;
    if (i % 16 == 0) EXPECT_FALSE(unit.saved().empty());
  }
}

// The caller may well go on to dispose of it.
TEST(Lv2UnitThreads, AUnitStaysWholeWhileAPeriodDoesNotEnd) {
  Lv2Unit unit("urn:vesk:test:mono");
  std::atomic<bool> is_inside{false}, may_leave{false};
  unit.supply = [&](AudioUnitRenderActionFlags*, AudioBufferList* data) -> OSStatus {
    is_inside = true;
    may_leave.wait(false);
    for (int side = 0; side < 2; ++side) data->mBuffers[side].mData = unit.input[side].data();
    return noErr;
  };
  ASSERT_TRUE(unit.initialize());
  std::thread renderer([&] { EXPECT_EQ(unit.render(), noErr); });
  EXPECT_TRUE(wait_until([&] { return is_inside.load(); }));
  for (int attempt = 0; attempt < 2; ++attempt)
    EXPECT_EQ(AudioUnitUninitialize(unit.unit()), kAudioUnitErr_CannotDoInCurrentContext);
  may_leave = true;
  may_leave.notify_all();
  renderer.join();
  EXPECT_EQ(AudioUnitUninitialize(unit.unit()), noErr);
}

TEST(MessageRing, ProducersLoseNothingAndKeepTheirOrder) {
  constexpr std::uint32_t producer_count = 3, messages = 5'000;
  const auto body_of = [](std::uint32_t i) { return std::vector<std::uint32_t>(1 + i % 7, i); };
  MessageRing ring(64);
  std::vector<std::jthread> producers;
  for (std::uint32_t who = 0; who < producer_count; ++who) {
    producers.emplace_back([&, who](const std::stop_token& failed) {
      for (std::uint32_t i = 0; i < messages; ++i) {
        const auto body = body_of(i);
        const auto size = static_cast<std::uint32_t>(body.size() * sizeof body[0]);
        while (!ring.push(who, body.data(), size) && !failed.stop_requested())
          std::this_thread::yield();
      }
    });
  }
  std::uint32_t next[producer_count] = {};
  MessageRing::Message message;
  for (std::uint32_t received = 0; received < producer_count * messages;) {
    MessageRing::Cursor cursor = ring.begin();
    for (; ring.next(cursor, message); ++received) {
      ASSERT_LT(message.tag, producer_count);
      // NOLINTNEXTLINE(clang-analyzer-security.ArrayBound): the tag is checked above
      const auto expected = body_of(next[message.tag]++);
      ASSERT_EQ(message.size, expected.size() * sizeof expected[0]);
      ASSERT_EQ(std::memcmp(message.data, expected.data(), message.size), 0);
    }
    ring.release(cursor);
  }
  EXPECT_FALSE(ring.push(0, next, 8 * 65)) << "longer than the ring";
}

TEST(UridMap, ThreadsAgreeOnEveryNumber) {
  constexpr int thread_count = 4, uris = 500;
  std::vector<std::vector<std::uint32_t>> numbers(thread_count);
  std::vector<std::jthread> threads;
  for (int t = 0; t < thread_count; ++t) {
    threads.emplace_back([&numbers, t] {
      for (int i = 0; i < uris; ++i) {
        const std::string uri = "urn:vesk:test:uri" + std::to_string(i);
        numbers[static_cast<std::size_t>(t)].push_back(vesk::lv2::map_uri(uri.c_str()));
      }
    });
  }
  threads.clear();
  for (const auto& other : numbers) EXPECT_EQ(other, numbers[0]);
  EXPECT_EQ(std::set<std::uint32_t>(numbers[0].begin(), numbers[0].end()).size(),
            std::size_t{uris});
  EXPECT_STREQ(vesk::lv2::unmap_urid(numbers[0][7]), "urn:vesk:test:uri7");
  EXPECT_EQ(vesk::lv2::unmap_urid(0), nullptr);
  EXPECT_EQ(vesk::lv2::unmap_urid(0xffffffff), nullptr);
  EXPECT_EQ(vesk::lv2::map_uri(nullptr), 0u);
}

}  // namespace
