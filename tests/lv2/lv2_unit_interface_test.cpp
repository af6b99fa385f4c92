// What units around LV2 plugins tell of themselves and accept: parameters, properties, statuses,
// refusals.

#include <CoreFoundation/CoreFoundation.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "components/lv2/instance/plugin_library.hpp"
#include "components/lv2/instance/plugin_log.hpp"
#include "tests/lv2/lv2_unit.hpp"
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

}  // namespace
