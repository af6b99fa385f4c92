// What units around LV2 plugins tell of themselves and accept: parameters, properties, statuses,
// refusals.

#include <CoreFoundation/CoreFoundation.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>

#include "components/lv2/instance/plugin_log.hpp"
#include "components/lv2/unit/cf_text.hpp"
#include "components/lv2/unit/unit.hpp"
#include "tests/lv2/lv2_unit.hpp"

using namespace vesk::tests;

namespace {

constexpr const char* piano_uri = "http://drobilla.net/plugins/mda/EPiano";

TEST(Lv2UnitParameters, AreListedWithWhatDescribesThem) {
  Lv2Unit piano(piano_uri);
  UInt32 size = 0;
  ASSERT_EQ(AudioUnitGetPropertyInfo(piano.unit(), kAudioUnitProperty_ParameterList,
                                     kAudioUnitScope_Global, 0, &size, nullptr),
            noErr);
  EXPECT_EQ(size, 12 * sizeof(AudioUnitParameterID));
  const auto decay = piano.property<AudioUnitParameterInfo>(
      kAudioUnitProperty_ParameterInfo, kAudioUnitScope_Global, piano.id_of("env_decay"));
  EXPECT_STREQ(decay.name, "Envelope Decay");
  EXPECT_EQ(decay.defaultValue, 0.5f);
  EXPECT_EQ(decay.minValue, 0.0f);
  EXPECT_EQ(decay.maxValue, 1.0f);
  EXPECT_TRUE(decay.flags & kAudioUnitParameterFlag_IsWritable);
  CFRelease(decay.cfNameString);

  Lv2Unit mono("urn:vesk:test:mono");
  const auto peak = mono.property<AudioUnitParameterInfo>(
      kAudioUnitProperty_ParameterInfo, kAudioUnitScope_Global, mono.id_of("peak"));
  EXPECT_TRUE(peak.flags & kAudioUnitParameterFlag_MeterReadOnly);
  EXPECT_FALSE(peak.flags & kAudioUnitParameterFlag_IsWritable);
  CFRelease(peak.cfNameString);
  EXPECT_EQ(mono.set("peak", 1), kAudioUnitErr_InvalidParameter);
}

TEST(Lv2UnitParameters, SayTheirUnitsCurvesAndWords) {
  Lv2Unit unit("urn:vesk:test:mono");
  constexpr UInt32 logarithmic_flag = kAudioUnitParameterFlag_DisplayLogarithmic;
  constexpr UInt32 strings_flag = kAudioUnitParameterFlag_ValuesHaveStrings;
  const struct {
    const char* symbol;
    AudioUnitParameterUnit unit;
    float def, min, max;
    UInt32 flags;
    const char* default_text;
  } cases[] = {
      {"mode", kAudioUnitParameterUnit_Indexed, 3, 2, 4, strings_flag, "two"},
      {"level", kAudioUnitParameterUnit_Decibels, 0, 0, 1, 0, "0 dB"},
      {"cutoff", kAudioUnitParameterUnit_Hertz, 12'000, 48, 24'000, logarithmic_flag, "12000 Hz"},
      {"go", kAudioUnitParameterUnit_Boolean, 0, 0, 1, 0, "0"},
  };
  for (const auto& c : cases) {
    const auto info = unit.property<AudioUnitParameterInfo>(
        kAudioUnitProperty_ParameterInfo, kAudioUnitScope_Global, unit.id_of(c.symbol));
    EXPECT_EQ(info.unit, c.unit) << c.symbol;
    EXPECT_FLOAT_EQ(info.defaultValue, c.def) << c.symbol;
    EXPECT_FLOAT_EQ(info.minValue, c.min) << c.symbol;
    EXPECT_FLOAT_EQ(info.maxValue, c.max) << c.symbol;
    EXPECT_EQ(info.flags & (logarithmic_flag | strings_flag), c.flags) << c.symbol;
    EXPECT_FLOAT_EQ(unit.get(c.symbol), c.def) << c.symbol;
    CFRelease(info.cfNameString);
    AudioUnitParameterStringFromValue asked{unit.id_of(c.symbol), nullptr, nullptr};
    UInt32 size = sizeof asked;
    ASSERT_EQ(AudioUnitGetProperty(unit.unit(), kAudioUnitProperty_ParameterStringFromValue, 0, 0,
                                   &asked, &size),
              noErr);
    char text[64] = {};
    CFStringGetCString(asked.outString, text, sizeof text, kCFStringEncodingUTF8);
    EXPECT_STREQ(text, c.default_text) << c.symbol;
    CFRelease(asked.outString);
  }
  const auto names = unit.property<CFArrayRef>(kAudioUnitProperty_ParameterValueStrings,
                                               kAudioUnitScope_Global, unit.id_of("mode"));
  ASSERT_EQ(CFArrayGetCount(names), 3);
  const char* const words[] = {"two", "3", "four"};
  for (CFIndex i = 0; i < 3; ++i) {
    char text[64] = {};
    CFStringGetCString(static_cast<CFStringRef>(CFArrayGetValueAtIndex(names, i)), text,
                       sizeof text, kCFStringEncodingUTF8);
    EXPECT_STREQ(text, words[i]);
  }
  CFRelease(names);
}

TEST(Lv2UnitParameters, HaveNamesOfTheLengthThatIsAskedFor) {
  Lv2Unit piano(piano_uri);
  AudioUnitParameterIDName asked{};
  UInt32 size = sizeof asked;
  const auto name_in = [&](SInt32 characters) {
    asked = {piano.id_of("env_decay"), characters, nullptr};
    EXPECT_EQ(
        AudioUnitGetProperty(piano.unit(), kAudioUnitProperty_ParameterIDName, 0, 0, &asked, &size),
        noErr);
    const std::string name = vesk::lv2::text_of(asked.outName);
    CFRelease(asked.outName);
    return name;
  };
  EXPECT_EQ(name_in(kAudioUnitParameterName_Full), "Envelope Decay");
  EXPECT_EQ(name_in(14), "Envelope Decay");
  EXPECT_EQ(name_in(13), "Envelope");
  EXPECT_EQ(name_in(3), "Env");
  asked = {4711, 8, nullptr};
  EXPECT_EQ(
      AudioUnitGetProperty(piano.unit(), kAudioUnitProperty_ParameterIDName, 0, 0, &asked, &size),
      kAudioUnitErr_InvalidParameter);
  const struct {
    const char* name;
    std::size_t characters;
    const char* words;
  } cases[] = {
      {"Osc 1 - Level", 8, "Osc 1"},
      {"Gain (left)", 6, "Gain"},
      {"Größe ü", 5, "Größe"},
      {"Größe", 3, "Grö"},
      {"  Indented", 4, "Inde"},
      {"--", 1, "-"},
      {"", 4, ""},
  };
  for (const auto& c : cases)
    EXPECT_EQ(vesk::lv2::first_words(c.name, c.characters), c.words) << c.name;
}

TEST(Lv2UnitParameters, AreScheduledAndReleased) {
  Lv2Unit unit("urn:vesk:test:mono");
  ASSERT_TRUE(unit.initialize());
  unit.input[0].assign(period_frames, 1.0f);
  AudioUnitParameterEvent event{};
  event.parameter = unit.id_of("gain");
  event.eventType = kParameterEvent_Immediate;
  event.eventValues.immediate = {64, 5.0f};
  ASSERT_EQ(AudioUnitScheduleParameters(unit.unit(), &event, 1), noErr);
  ASSERT_EQ(unit.set("go", 1), noErr);
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.output[0][0], 5.0f) << "one value a period, whatever its offset";
  EXPECT_EQ(unit.get("go"), 0.0f) << "a trigger falls back by itself";
}

TEST(Lv2UnitParameters, AreHeldWithinBoundsAndRefusedWhereTheyMeanNothing) {
  Lv2Unit unit("urn:vesk:test:latency");
  const struct {
    float given, kept;
  } cases[] = {{7.4f, 7}, {-3, 0}, {2000, 1000}};
  for (const auto& c : cases) {
    EXPECT_EQ(unit.set("setting", c.given), noErr);
    EXPECT_EQ(unit.get("setting"), c.kept) << c.given;
  }
  EXPECT_EQ(unit.set("setting", std::nanf("")), kAudioUnitErr_InvalidParameterValue);
  EXPECT_EQ(unit.set("setting", std::numeric_limits<float>::infinity()),
            kAudioUnitErr_InvalidParameterValue);
  EXPECT_EQ(unit.get("setting"), 1000.0f);
  EXPECT_EQ(unit.set("in_l", 1), kAudioUnitErr_InvalidParameter);
  EXPECT_EQ(unit.set("enabled", 1), kAudioUnitErr_InvalidParameter) << "that is the bypass";
  EXPECT_EQ(AudioUnitSetParameter(unit.unit(), 99999, kAudioUnitScope_Global, 0, 1, 0),
            kAudioUnitErr_InvalidParameter);
  EXPECT_EQ(AudioUnitSetParameter(unit.unit(), 4, kAudioUnitScope_Input, 0, 1, 0),
            kAudioUnitErr_InvalidScope);
}

TEST(Lv2UnitParameters, SetBeforeInitializeAreThereFromTheFirstPeriodOn) {
  Lv2Unit unit("urn:vesk:test:mono");
  ASSERT_EQ(unit.set("gain", 3), noErr);
  ASSERT_TRUE(unit.initialize());
  unit.input[0].assign(period_frames, 1.0f);
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.output[0][0], 3.0f);
  EXPECT_EQ(unit.get("peak"), 3.0f);
  ASSERT_EQ(unit.set("gain", 4), noErr);
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.output[0][0], 4.0f);
}

TEST(Lv2UnitProperties, LatencyIsTrueAfterInitializeAndToldWhenItChanges) {
  Lv2Unit unit("urn:vesk:test:latency");
  EXPECT_EQ(unit.property<Float64>(kAudioUnitProperty_Latency), 0);
  ASSERT_TRUE(unit.initialize());
  EXPECT_EQ(unit.property<Float64>(kAudioUnitProperty_Latency), 32 / rate);
  std::atomic<int> told{0};
  const auto listener = [](void* user, AudioUnit, AudioUnitPropertyID, AudioUnitScope,
                           AudioUnitElement) { ++*static_cast<std::atomic<int>*>(user); };
  ASSERT_EQ(AudioUnitAddPropertyListener(unit.unit(), kAudioUnitProperty_Latency, listener, &told),
            noErr);
  ASSERT_EQ(unit.render(), noErr);
  ASSERT_EQ(unit.set("setting", 64), noErr);
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.property<Float64>(kAudioUnitProperty_Latency), 64 / rate);
  for (int i = 0; i < 2000 && told == 0; ++i) usleep(1000);
  EXPECT_EQ(told, 1) << "once, and not for the period that changed nothing";
  EXPECT_EQ(unit.get("longest"), period_frames) << "what is announced is what was set";
}

TEST(Lv2UnitProperties, BypassIsThePluginsOwnSwitchWhereItHasOne) {
  Lv2Unit own("urn:vesk:test:latency");
  Lv2Unit none("urn:vesk:test:mono");
  for (Lv2Unit* unit : {&own, &none}) {
    ASSERT_TRUE(unit->initialize());
    unit->input[0].assign(period_frames, 0.5f);
    unit->input[1].assign(period_frames, 0.25f);
    ASSERT_EQ(unit->set_property(kAudioUnitProperty_BypassEffect, UInt32{1}), noErr);
    EXPECT_EQ(unit->property<UInt32>(kAudioUnitProperty_BypassEffect), 1u);
  }
  ASSERT_EQ(none.set("gain", 7), noErr);
  ASSERT_EQ(own.render(), noErr);
  ASSERT_EQ(none.render(), noErr);
  EXPECT_EQ(own.output[0][9], 0.5f);
  EXPECT_EQ(none.output[0][9], 0.5f);
  EXPECT_EQ(none.output[1][9], 0.25f);
  ASSERT_EQ(own.set_property(kAudioUnitProperty_BypassEffect, UInt32{0}), noErr);
  ASSERT_EQ(own.render(), noErr);
  EXPECT_EQ(own.output[0][9], 0.25f) << "the switch halves";
  Lv2Unit instrument("urn:vesk:test:events");
  EXPECT_EQ(instrument.set_property(kAudioUnitProperty_BypassEffect, UInt32{1}),
            kAudioUnitErr_InvalidProperty);
}

TEST(Lv2UnitStatuses, OfRendering) {
  Lv2Unit unit("urn:vesk:test:mono");
  EXPECT_EQ(unit.render(), kAudioUnitErr_Uninitialized);
  ASSERT_TRUE(unit.initialize());
  EXPECT_EQ(AudioUnitInitialize(unit.unit()), noErr);
  EXPECT_EQ(unit.render(0), noErr);
  EXPECT_EQ(unit.render(period_frames + 1), kAudioUnitErr_TooManyFramesToProcess);
  unit.supply = [](AudioUnitRenderActionFlags*, AudioBufferList*) -> OSStatus { return -1234; };
  EXPECT_EQ(unit.render(), -1234);
  unit.supply = [](AudioUnitRenderActionFlags*, AudioBufferList*) -> OSStatus { return noErr; };
  EXPECT_EQ(unit.render(), kAudioUnitErr_InvalidPropertyValue) << "no data and no word of silence";
  unit.supply = [](AudioUnitRenderActionFlags* flags, AudioBufferList*) -> OSStatus {
    *flags |= kAudioUnitRenderAction_OutputIsSilence;
    return noErr;
  };
  unit.output[0].assign(period_frames, 9.0f);
  EXPECT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.output[0], std::vector<float>(period_frames, 0.0f));
  EXPECT_EQ(unit.property<OSStatus>(kAudioUnitProperty_LastRenderError),
            kAudioUnitErr_Uninitialized);
  EXPECT_EQ(unit.property<OSStatus>(kAudioUnitProperty_LastRenderError), noErr);
  const AURenderCallbackStruct none{};
  ASSERT_EQ(unit.set_property(kAudioUnitProperty_SetRenderCallback, none, kAudioUnitScope_Input),
            noErr);
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
  for (const auto& wrong : {mono, integer}) {
    EXPECT_EQ(unit.set_property(kAudioUnitProperty_StreamFormat, wrong, kAudioUnitScope_Output),
              kAudioUnitErr_FormatNotSupported);
  }
  ASSERT_TRUE(unit.initialize());
  EXPECT_EQ(unit.set_property(kAudioUnitProperty_StreamFormat, format, kAudioUnitScope_Output),
            noErr);
  format.mSampleRate = 96'000;
  EXPECT_EQ(unit.set_property(kAudioUnitProperty_StreamFormat, format, kAudioUnitScope_Output),
            kAudioUnitErr_PropertyNotWritable);
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
  UInt32 size = 20;
  UInt8 part[20];
  EXPECT_EQ(AudioUnitGetProperty(unit.unit(), kAudioUnitProperty_StreamFormat,
                                 kAudioUnitScope_Output, 0, part, &size),
            noErr);
  EXPECT_EQ(size, 20u);
  Lv2Unit instrument("urn:vesk:test:events");
  EXPECT_EQ(instrument.set_property(kAudioUnitProperty_StreamFormat, format, kAudioUnitScope_Input),
            kAudioUnitErr_InvalidElement);
  EXPECT_EQ(instrument.property<UInt32>(kMusicDeviceProperty_InstrumentCount), 0u);
}

TEST(Lv2UnitRefusals, NameWhatIsMissing) {
  const struct {
    const char* uri;
    OSStatus made, opened;
    const char* line;
  } cases[] = {
      {"urn:vesk:test:needs", kAudioUnitErr_ExtensionNotFound, noErr,
       "plugin host: Test Needs needs the LV2 feature urn:vesk:test:no-such-feature\n"},
      {"urn:vesk:test:broken", noErr, -3000, "plugin host: Test Broken cannot be loaded: "},
      {"urn:vesk:test:stranger", noErr, -1, "plugin host: Test Stranger cannot be loaded: "},
  };
  for (const auto& c : cases) {
    const auto plugin = describe(c.uri);
    ASSERT_TRUE(plugin);
    testing::internal::CaptureStderr();
    OSStatus status = noErr;
    AudioComponentPlugInInterface* interface = vesk::lv2::make_unit(plugin, &status);
    EXPECT_EQ(status, c.made) << c.uri;
    EXPECT_EQ(interface == nullptr, c.made != noErr) << c.uri;
    if (interface != nullptr) EXPECT_EQ(interface->Open(interface, nullptr), c.opened) << c.uri;
    EXPECT_EQ(testing::internal::GetCapturedStderr().rfind(c.line, 0), 0u) << c.uri;
  }
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
