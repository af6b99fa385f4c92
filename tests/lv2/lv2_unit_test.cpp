// Units around LV2 plugins, through the public Audio Unit calls: what they tell of themselves and
// accept, sound and events.

#include "tests/lv2/lv2_unit.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <dlfcn.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "components/lv2/instance/plugin_library.hpp"
#include "components/lv2/instance/plugin_log.hpp"
#include "tests/support/cf_text.hpp"
#include "tests/support/scratch_folder.hpp"

using namespace vesk::tests;

namespace {

TEST(Lv2UnitParameters, AreListedWithTheirNamesUnitsCurvesAndWords) {
  Lv2Unit unit("urn:vesk:test:mono");
  constexpr UInt32 logarithmic = kAudioUnitParameterFlag_DisplayLogarithmic;
  constexpr UInt32 strings = kAudioUnitParameterFlag_ValuesHaveStrings;
  constexpr UInt32 writable = kAudioUnitParameterFlag_IsWritable;
  constexpr UInt32 meter = kAudioUnitParameterFlag_MeterReadOnly;
  const struct {
    const char* symbol;
    const char* name;
    AudioUnitParameterUnit unit;
    float def, min, max;
    UInt32 flags;
    const char* default_text;
  } cases[] = {
      {"gain", "Gain", kAudioUnitParameterUnit_Ratio, 1, 0, 10, writable, "1"},
      {"peak", "Peak", kAudioUnitParameterUnit_Generic, 0, 0, 1, meter, "0"},
      {"mode", "Mode", kAudioUnitParameterUnit_Indexed, 3, 2, 4, writable | strings, "two"},
      {"level", "Level", kAudioUnitParameterUnit_Decibels, 0, 0, 1, writable, "0 dB"},
      {"cutoff", "Cutoff", kAudioUnitParameterUnit_Hertz, 12'000, 48, 24'000,
       writable | logarithmic, "12000 Hz"},
      {"go", "Go", kAudioUnitParameterUnit_Boolean, 0, 0, 1, writable, "0"},
  };
  const auto ask = [&](AudioUnitPropertyID id, auto& asked) {
    UInt32 size = sizeof asked;
    return AudioUnitGetProperty(unit.unit(), id, kAudioUnitScope_Global, 0, &asked, &size);
  };
  UInt32 size = 0;
  ASSERT_EQ(AudioUnitGetPropertyInfo(unit.unit(), kAudioUnitProperty_ParameterList,
                                     kAudioUnitScope_Global, 0, &size, nullptr),
            noErr);
  AudioUnitParameterID ids[std::size(cases)] = {};
  ASSERT_EQ(size, sizeof ids);
  ASSERT_EQ(ask(kAudioUnitProperty_ParameterList, ids), noErr);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.symbol);
    const AudioUnitParameterID id = unit.id_of(c.symbol);
    EXPECT_EQ(std::ranges::count(ids, id), 1);
    const auto info = unit.property<AudioUnitParameterInfo>(kAudioUnitProperty_ParameterInfo,
                                                            kAudioUnitScope_Global, id);
    EXPECT_STREQ(info.name, c.name);
    EXPECT_EQ(taken(info.cfNameString), c.name);
    EXPECT_EQ(info.unit, c.unit);
    EXPECT_FLOAT_EQ(info.defaultValue, c.def);
    EXPECT_FLOAT_EQ(info.minValue, c.min);
    EXPECT_FLOAT_EQ(info.maxValue, c.max);
    EXPECT_EQ(info.flags & (writable | meter | logarithmic | strings), c.flags);
    EXPECT_EQ(unit.set(c.symbol, c.def),
              c.flags & writable ? OSStatus{noErr} : OSStatus{kAudioUnitErr_InvalidParameter});
    EXPECT_FLOAT_EQ(unit.get(c.symbol), c.def);
    AudioUnitParameterStringFromValue asked{id, nullptr, nullptr};
    ASSERT_EQ(ask(kAudioUnitProperty_ParameterStringFromValue, asked), noErr);
    AudioUnitParameterValueFromString back{id, asked.outString, -1};
    EXPECT_EQ(ask(kAudioUnitProperty_ParameterValueFromString, back), noErr);
    EXPECT_EQ(taken(asked.outString), c.default_text);
    // A label stands for the value nearest to it.
    EXPECT_FLOAT_EQ(back.outValue, c.flags & strings ? 2 : c.def);
  }
  const auto names = unit.property<CFArrayRef>(kAudioUnitProperty_ParameterValueStrings,
                                               kAudioUnitScope_Global, unit.id_of("mode"));
  ASSERT_EQ(CFArrayGetCount(names), 3);
  const char* const words[] = {"two", "3", "four"};
  for (CFIndex i = 0; i < 3; ++i)
    EXPECT_EQ(text(static_cast<CFStringRef>(CFArrayGetValueAtIndex(names, i))), words[i]);
  CFRelease(names);
  AudioUnitParameterValueFromString word{unit.id_of("level"), CFSTR("loud"), 0};
  EXPECT_EQ(ask(kAudioUnitProperty_ParameterValueFromString, word),
            kAudioUnitErr_InvalidPropertyValue);
}

TEST(Lv2UnitParameters, AreHeldWithinBoundsAndRefusedWhereTheyMeanNothing) {
  Lv2Unit unit("urn:vesk:test:effect");
  constexpr OSStatus no_value = kAudioUnitErr_InvalidParameterValue;
  constexpr OSStatus no_parameter = kAudioUnitErr_InvalidParameter;
  const struct {
    const char* symbol;
    float given;
    OSStatus status;
    float kept;  // of the one that is there
  } cases[] = {
      {"setting", 7.4f, noErr, 7},
      {"setting", -3, noErr, 0},
      {"setting", 2000, noErr, 1000},
      {"setting", std::nanf(""), no_value, 1000},
      {"setting", std::numeric_limits<float>::infinity(), no_value, 1000},
      {"in_l", 1, no_parameter, 1000},
      {"enabled", 1, no_parameter, 1000},  // that is the bypass
      {"no such", 1, no_parameter, 1000},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(unit.set(c.symbol, c.given), c.status) << c.symbol << " = " << c.given;
    EXPECT_EQ(unit.get("setting"), c.kept) << c.symbol << " = " << c.given;
  }
  EXPECT_EQ(AudioUnitSetParameter(unit.unit(), 4, kAudioUnitScope_Input, 0, 1, 0),
            kAudioUnitErr_InvalidScope);
}

TEST(Lv2UnitParameters, AreThereFromTheFirstPeriodOnAndTriggersFallBack) {
  Lv2Unit unit("urn:vesk:test:mono");
  ASSERT_EQ(unit.set("gain", 3), noErr);
  ASSERT_TRUE(unit.initialize());
  unit.input[0].assign(period_frames, 1.0f);
  for (const float gain : {3.0f, 4.0f}) {
    ASSERT_EQ(unit.render(), noErr);
    EXPECT_EQ(unit.output[0][0], gain);
    EXPECT_EQ(unit.get("peak"), gain);
    EXPECT_EQ(unit.get("go"), 0.0f);
    ASSERT_EQ(unit.set("gain", 4), noErr);
    ASSERT_EQ(unit.set("go", 1), noErr);
  }
}

TEST(Lv2UnitProperties, LatencyIsTrueAfterInitializeAndWhenItChanges) {
  Lv2Unit unit("urn:vesk:test:effect");
  EXPECT_EQ(unit.property<Float64>(kAudioUnitProperty_Latency), 0);
  ASSERT_TRUE(unit.initialize());
  EXPECT_EQ(unit.property<Float64>(kAudioUnitProperty_Latency), 32 / rate);
  ASSERT_EQ(unit.render(), noErr);
  ASSERT_EQ(unit.set("setting", 64), noErr);
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.property<Float64>(kAudioUnitProperty_Latency), 64 / rate);
  EXPECT_EQ(unit.get("longest"), period_frames) << "what is announced is what was set";
}

TEST(Lv2UnitProperties, LatencyIsTrueAlsoWhereAPluginKnowsItOnlyAfterARealRun) {
  Lv2Unit unit("urn:vesk:test:effect");
  ASSERT_EQ(unit.set("next", 8), noErr);
  ASSERT_EQ(unit.set("setting", 48), noErr);
  ASSERT_TRUE(unit.initialize());
  EXPECT_EQ(unit.property<Float64>(kAudioUnitProperty_Latency), 48 / rate);
}

// What it puts off until then, such as memory, is not for its first period.
TEST(Lv2UnitRender, APluginIsRunWithoutFramesBeforeItsFirstPeriod) {
  Lv2Unit unit("urn:vesk:test:mono");
  ASSERT_TRUE(unit.initialize());
  void* library = dlopen(unit.plugin().library.c_str(), RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(library, nullptr);
  const auto* announced = static_cast<const int*>(dlsym(library, "test_mono_was_announced"));
  ASSERT_NE(announced, nullptr);
  EXPECT_EQ(*announced, 1);
  dlclose(library);
}

TEST(Lv2UnitProperties, BypassIsThePluginsOwnSwitchWhereItHasOne) {
  Lv2Unit own("urn:vesk:test:effect");
  Lv2Unit none("urn:vesk:test:mono");
  for (Lv2Unit* unit : {&own, &none}) {
    ASSERT_TRUE(unit->initialize());
    unit->input[0].assign(period_frames, 0.5f);
    unit->input[1].assign(period_frames, 0.25f);
    ASSERT_EQ(unit->set_property(kAudioUnitProperty_BypassEffect, UInt32{1}), noErr);
    EXPECT_EQ(unit->property<UInt32>(kAudioUnitProperty_BypassEffect), 1u);
  }
  ASSERT_EQ(none.set("gain", 7), noErr);
  ASSERT_EQ(none.render(), noErr);
  EXPECT_EQ(none.output[0][9], 0.5f);
  EXPECT_EQ(none.output[1][9], 0.25f);
  for (const UInt32 bypass : {1u, 0u}) {
    ASSERT_EQ(own.set_property(kAudioUnitProperty_BypassEffect, bypass), noErr);
    ASSERT_EQ(own.render(), noErr);
    EXPECT_EQ(own.output[0][9], bypass ? -0.5f : 0.5f) << "the switch turns it round";
  }
  Lv2Unit instrument("urn:vesk:test:events");
  EXPECT_EQ(instrument.set_property(kAudioUnitProperty_BypassEffect, UInt32{1}),
            kAudioUnitErr_InvalidProperty);
}

TEST(Lv2UnitStatuses, OfRendering) {
  Lv2Unit unit("urn:vesk:test:mono");
  EXPECT_EQ(unit.render(), kAudioUnitErr_Uninitialized);
  ASSERT_TRUE(unit.initialize());
  const AURenderCallbackStruct none{};
  EXPECT_EQ(unit.set_property(kAudioUnitProperty_SetRenderCallback, none, kAudioUnitScope_Input),
            kAudioUnitErr_Initialized);
  EXPECT_EQ(AudioUnitInitialize(unit.unit()), noErr);
  EXPECT_EQ(unit.render(0), noErr);
  EXPECT_EQ(unit.render(period_frames + 1), kAudioUnitErr_TooManyFramesToProcess);
  const struct {
    OSStatus answered;
    AudioUnitRenderActionFlags flags;
    OSStatus rendered;
  } supplies[] = {
      {-1234, 0, -1234},
      {noErr, 0, kAudioUnitErr_InvalidPropertyValue},  // no data and no word of silence
      {noErr, kAudioUnitRenderAction_OutputIsSilence, noErr},
  };
  for (const auto& each : supplies) {
    unit.output[0].assign(period_frames, 9.0f);
    unit.supply = [&](AudioUnitRenderActionFlags* flags, AudioBufferList*) {
      *flags |= each.flags;
      return each.answered;
    };
    EXPECT_EQ(unit.render(), each.rendered);
  }
  EXPECT_EQ(unit.output[0], std::vector<float>(period_frames, 0.0f));
  ASSERT_EQ(AudioUnitUninitialize(unit.unit()), noErr);
  ASSERT_EQ(unit.set_property(kAudioUnitProperty_SetRenderCallback, none, kAudioUnitScope_Input),
            noErr);
  ASSERT_TRUE(unit.initialize());
  EXPECT_EQ(unit.render(), kAudioUnitErr_NoConnection);
}

TEST(Lv2UnitStatuses, OfFormatsAndProperties) {
  Lv2Unit unit("urn:vesk:test:mono");
  auto format = unit.property<AudioStreamBasicDescription>(kAudioUnitProperty_StreamFormat,
                                                           kAudioUnitScope_Output);
  EXPECT_EQ(format.mSampleRate, rate);
  auto mono = format;
  mono.mChannelsPerFrame = 1;
  auto integer = format;
  integer.mFormatFlags = 0x2c;
  const auto set_format = [&](const AudioStreamBasicDescription& wanted) {
    return unit.set_property(kAudioUnitProperty_StreamFormat, wanted, kAudioUnitScope_Output);
  };
  EXPECT_EQ(set_format(mono), kAudioUnitErr_FormatNotSupported);
  EXPECT_EQ(set_format(integer), kAudioUnitErr_FormatNotSupported);
  ASSERT_TRUE(unit.initialize());
  EXPECT_EQ(set_format(format), noErr);
  format.mSampleRate = 96'000;
  EXPECT_EQ(set_format(format), kAudioUnitErr_PropertyNotWritable);
  EXPECT_EQ(unit.set_property(kAudioUnitProperty_MaximumFramesPerSlice, UInt32{64}),
            kAudioUnitErr_Initialized);
  EXPECT_EQ(unit.set_property(AudioUnitPropertyID{4711}, UInt32{0}), kAudioUnitErr_InvalidProperty);
  EXPECT_EQ(
      AudioUnitGetPropertyInfo(unit.unit(), kAudioUnitProperty_TailTime, 0, 0, nullptr, nullptr),
      kAudioUnitErr_InvalidProperty)
      << "nobody knows it";
  EXPECT_EQ(unit.set_property(kAudioUnitProperty_Latency, Float64{1}),
            kAudioUnitErr_PropertyNotWritable);
  EXPECT_EQ(AudioUnitSetProperty(unit.unit(), kAudioUnitProperty_ClassInfo, 0, 0, nullptr, 0),
            kAudioUnitErr_InvalidPropertyValue);
  UInt32 size = sizeof format - 1;
  EXPECT_EQ(AudioUnitGetProperty(unit.unit(), kAudioUnitProperty_StreamFormat,
                                 kAudioUnitScope_Output, 0, &format, &size),
            kAudioUnitErr_InvalidPropertyValue);
  Lv2Unit instrument("urn:vesk:test:events");
  EXPECT_EQ(instrument.set_property(kAudioUnitProperty_StreamFormat, format, kAudioUnitScope_Input),
            kAudioUnitErr_InvalidElement);
  for (const auto& [shape, input_buses] : {std::pair{&unit, 1u}, {&instrument, 0u}}) {
    EXPECT_EQ(shape->property<UInt32>(kAudioUnitProperty_ElementCount, kAudioUnitScope_Input),
              input_buses);
    const auto channels = shape->property<AUChannelInfo>(kAudioUnitProperty_SupportedNumChannels);
    EXPECT_EQ(channels.inChannels, 2 * input_buses);
    EXPECT_EQ(channels.outChannels, 2);
  }
}

TEST(Lv2UnitRefusals, NameWhatIsMissing) {
  const struct {
    const char* uri;
    OSStatus status;
    const char* line;
  } cases[] = {
      {"urn:vesk:test:needs", kAudioUnitErr_ExtensionNotFound,
       "plugin host: Test Needs needs the LV2 feature urn:vesk:test:no-such-feature\n"},
      {"urn:vesk:test:broken", -3000, "plugin host: Test Broken cannot be loaded: "},
      {"urn:vesk:test:stranger", -1, "plugin host: Test Stranger cannot be loaded: "},
  };
  for (const auto& c : cases) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(Lv2Unit(c.uri).status(), c.status) << c.uri;
    EXPECT_TRUE(testing::internal::GetCapturedStderr().starts_with(c.line)) << c.uri;
  }
}

TEST(Lv2UnitRefusals, APipeInALibrarysPlaceIsNotWaitedFor) {
  const vesk::tests::ScratchFolder folder;
  vesk::lv2::Description plugin;
  plugin.library = folder / "pipe.so";
  ASSERT_EQ(mkfifo(plugin.library.c_str(), 0600), 0);
  std::string error;
  bool is_missing = false;
  EXPECT_EQ(vesk::lv2::PluginLibrary::open(plugin, error, &is_missing), nullptr);
  EXPECT_NE(error, "");
}

TEST(PluginLog, PutsThePluginsNameBeforeEveryLineAndLeavesTracesOut) {
  constexpr LV2_URID trace = 7;
  vesk::lv2::PluginLog log("Tape", trace);
  const LV2_Log_Log& feature = *log.feature();
  const struct {
    LV2_URID type;
    const char* text;
    std::string written;
  } cases[] = {
      {1, "no tape", "plugin host: Tape: no tape\n"},
      {1, "\n100%s tape\n\n  gone\n", "plugin host: Tape: 100%s tape\nplugin host: Tape:   gone\n"},
      {trace, "frame 3\n", ""},
      {1, "", ""},
  };
  for (const auto& c : cases) {
    testing::internal::CaptureStderr();
    const int count = feature.printf(feature.handle, c.type, "%s", c.text);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), c.written);
    EXPECT_EQ(count, c.type == trace ? 0 : static_cast<int>(std::strlen(c.text)));
  }
  testing::internal::CaptureStderr();
  feature.printf(feature.handle, 1, "%5000d", 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "plugin host: Tape: " + std::string(1023, ' ') + "\n");
}

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
