// Units around LV2 plugins, through the public Audio Unit calls: sound and events.

#include "tests/lv2/lv2_unit.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <dlfcn.h>

using namespace vesk::tests;

namespace {

TEST(Lv2UnitSound, AOneChannelPluginReadsEachSideWhereItLies) {
  Lv2Unit unit("urn:vesk:test:mono");
  ASSERT_EQ(unit.set("gain", 2), noErr);
  ASSERT_TRUE(unit.initialize());
  unit.input[0] = noise(1);
  unit.input[1] = noise(2);
  ASSERT_EQ(unit.render(), noErr);
  for (int side = 0; side < 2; ++side)
    for (UInt32 i = 0; i < period_frames; ++i)
      ASSERT_EQ(unit.output[side][i], unit.input[side][i] * 2) << side << ", " << i;
  void* library = dlopen(unit.plugin().library.c_str(), RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(library, nullptr);
  auto* seen = static_cast<const void**>(dlsym(library, "test_mono_last_inputs"));
  ASSERT_NE(seen, nullptr);
  EXPECT_EQ(seen[0], unit.input[0].data());
  EXPECT_EQ(seen[1], unit.input[1].data());
  // Where the caller renders in place, the plugin must not.
  for (UInt32 side = 0; side < 2; ++side) unit.output[side] = noise(5 + side);
  unit.supply = [&](AudioUnitRenderActionFlags*, AudioBufferList* data) -> OSStatus {
    for (int side = 0; side < 2; ++side) data->mBuffers[side].mData = unit.output[side].data();
    return noErr;
  };
  ASSERT_EQ(unit.render(), noErr);
  for (UInt32 side = 0; side < 2; ++side)
    for (UInt32 i = 0; i < period_frames; ++i)
      ASSERT_EQ(unit.output[side][i], 2 * noise(5 + side)[i]);
  dlclose(library);
}

TEST(Lv2UnitEvents, KeepTheirFrameAndOrder) {
  Lv2Unit unit("urn:vesk:test:events");
  ASSERT_TRUE(unit.initialize());
  unit.midi(0x90, 10, 1, 100);
  unit.midi(0x90, 20, 2, 3);
  unit.midi(0x90, 30, 3, 100);
  unit.midi(0x90, 40, 4, 5000);  // beyond the period: at its end
  unit.midi(0xc0, 1, 0, 50);     // two bytes
  unit.midi(0xff, 0, 0, 0);      // no message at all
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.output[0][3], 20.0f / 128);
  EXPECT_EQ(unit.output[0][100], 40.0f / 128);
  EXPECT_EQ(unit.output[1][100], 4.0f / 128);
  EXPECT_EQ(unit.output[0][127], 40.0f / 128);
  EXPECT_EQ(unit.get("other"), 2.0f);
  EXPECT_EQ(unit.get("faults"), 0.0f);
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.output[0], std::vector<float>(period_frames)) << "an event is played once";
}

TEST(Lv2UnitEvents, AFloodIsPlayedOrRefusedAndLeavesOrder) {
  Lv2Unit unit("urn:vesk:test:events");
  ASSERT_TRUE(unit.initialize());
  int refused = 0;
  for (UInt32 i = 0; i < 10'000; ++i)
    refused += MusicDeviceMIDIEvent(unit.unit(), 0x90, 1, 1, i % period_frames) != noErr;
  EXPECT_GT(refused, 0);
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.get("faults"), 0.0f);
  unit.midi(0x90, 64, 64, 9);
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.output[0][9], 0.5f);
}

TEST(Lv2UnitEvents, APositionIsToldAtTheStartAndAfterAJump) {
  Lv2Unit unit("urn:vesk:test:events");
  ASSERT_TRUE(unit.initialize());
  float positions = 0;
  for (const float start : {4096.0f, 0.0f}) {
    unit.sample_time = start;
    for (int i = 0; i < 3; ++i) ASSERT_EQ(unit.render(), noErr);
    EXPECT_EQ(unit.get("positions"), ++positions);
    EXPECT_EQ(unit.get("frame"), start);
  }
}

/// A host at 90 beats a minute in 3/4, in the middle of bar 7.
struct Transport {
  double sample = 96'000;
  double now = 22;
  bool plays = true;

  static OSStatus beat(void* self, Float64* at, Float64* tempo) {
    *at = static_cast<Transport*>(self)->now;
    *tempo = 90;
    return noErr;
  }
  static OSStatus meter(void*, UInt32*, Float32* numerator, UInt32* denominator,
                        Float64* downbeat) {
    *numerator = 3;
    *denominator = 4;
    *downbeat = 21;
    return noErr;
  }
  static OSStatus state(void* self, Boolean* playing, Boolean*, Float64* at, Boolean*, Float64*,
                        Float64*) {
    *playing = static_cast<Transport*>(self)->plays;
    *at = static_cast<Transport*>(self)->sample;
    return noErr;
  }
};

TEST(Lv2UnitEvents, TheHostsTransportIsPassedOnWhenItChanges) {
  Transport transport;
  Lv2Unit unit("urn:vesk:test:events");
  const HostCallbackInfo callbacks{&transport, &Transport::beat, &Transport::meter,
                                   &Transport::state, nullptr};
  ASSERT_EQ(unit.set_property(kAudioUnitProperty_HostCallbacks, callbacks), noErr);
  ASSERT_TRUE(unit.initialize());
  EXPECT_EQ(unit.set_property(kAudioUnitProperty_HostCallbacks, callbacks),
            kAudioUnitErr_Initialized);
  const auto expect = [&](float positions, float speed, float bar_beat = 1) {
    ASSERT_EQ(unit.render(), noErr);
    EXPECT_EQ(unit.get("positions"), positions);
    EXPECT_EQ(unit.get("frame"), static_cast<float>(transport.sample));
    EXPECT_EQ(unit.get("speed"), speed);
    EXPECT_EQ(unit.get("tempo"), 90.0f);
    EXPECT_EQ(unit.get("bar"), 7.0f);
    EXPECT_EQ(unit.get("bar_beat"), bar_beat);
  };
  expect(1, 1);
  transport.plays = false;
  expect(2, 0);
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.get("positions"), 2.0f) << "nothing new";
  transport.plays = true;
  expect(3, 1);
  transport.sample += period_frames;
  transport.now += period_frames * 90.0 / 60 / 48'000;
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.get("positions"), 3.0f) << "what follows from the last";
  transport.sample += period_frames;
  transport.now = 21.5;
  expect(4, 1, 0.5f);  // a loop: the parent's time goes on, the song's does not
}

}  // namespace
