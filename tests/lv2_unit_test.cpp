// Units around LV2 plugins, through the public Audio Unit calls: sound, events, parameters,
// properties and statuses.

#include <CoreFoundation/CoreFoundation.h>
#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <limits>

#include "components/lv2/unit.hpp"
#include "lv2/lv2_unit.hpp"
#include "support/reference_plugin.hpp"

using namespace vesk::tests;
using BarePlugin = vesk::reference::ReferencePlugin;

namespace {

constexpr const char* kPiano = "http://drobilla.net/plugins/mda/EPiano";
constexpr const char* kAmbience = "http://drobilla.net/plugins/mda/Ambience";
constexpr const char* kAmp = "http://lv2plug.in/plugins/eg-amp";

class Lilv {
 public:
  Lilv() { lilv_world_load_all(world_.get()); }
  std::unique_ptr<BarePlugin> load(const char* uri) {
    return BarePlugin::load(world_.get(), uri, kRate, kFrames);
  }

 private:
  std::unique_ptr<LilvWorld, decltype(&lilv_world_free)> world_{lilv_world_new(), lilv_world_free};
};

float peak_of(const std::vector<float>& samples) {
  float peak = 0;
  for (const float sample : samples) peak = std::max(peak, std::fabs(sample));
  return peak;
}

TEST(Lv2UnitSound, AnInstrumentIsBitEqualToTheBarePlugin) {
  Lv2Unit unit(kPiano);
  ASSERT_TRUE(unit.initialize());
  Lilv lilv;
  const auto bare = lilv.load(kPiano);
  ASSERT_TRUE(bare);
  float peak = 0;
  for (UInt32 period = 0; period < 200; ++period) {
    std::vector<vesk::host::MidiEvent> events;
    const auto key = static_cast<std::uint8_t>(40 + period % 40);
    if (period % 10 == 0) events = {{0x90, key, 100, 0, 0}, {0x90, 90, 50, 0, 127}};
    if (period % 10 == 6) events = {{0x80, 90, 0, 0, 5}, {0xb0, 64, 127, 0, 64}};
    for (const auto& event : events) {
      unit.midi(event.status, event.data1, event.data2, event.offset);
    }
    ASSERT_EQ(unit.render(), noErr);
    bare->run(kFrames, events);
    for (int channel = 0; channel < 2; ++channel) {
      for (UInt32 i = 0; i < kFrames; ++i) {
        ASSERT_EQ(unit.output[channel][i], bare->output[channel][i]) << period << ", " << i;
      }
    }
    peak = std::max(peak, peak_of(unit.output[0]));
  }
  EXPECT_GT(peak, 0.01f);
}

TEST(Lv2UnitSound, AnEffectIsBitEqualToTheBarePlugin) {
  Lv2Unit unit(kAmbience);
  ASSERT_TRUE(unit.initialize());
  Lilv lilv;
  const auto bare = lilv.load(kAmbience);
  ASSERT_TRUE(bare);
  for (UInt32 period = 0; period < 60; ++period) {
    for (UInt32 channel = 0; channel < 2; ++channel) {
      unit.input[channel] = noise(period * 2 + channel);
      bare->input[channel] = unit.input[channel];
    }
    ASSERT_EQ(unit.render(), noErr);
    bare->run(kFrames, {});
    ASSERT_EQ(unit.output[0], bare->output[0]) << period;
    ASSERT_EQ(unit.output[1], bare->output[1]) << period;
  }
}

TEST(Lv2UnitSound, AOneChannelPluginTakesEachSideForItself) {
  Lv2Unit unit(kAmp);
  ASSERT_EQ(unit.set("gain", 6.0f), noErr);
  ASSERT_TRUE(unit.initialize());
  unit.input[0] = noise(1);
  unit.input[1] = noise(2);
  ASSERT_EQ(unit.render(), noErr);
  const float gain = std::pow(10.0f, 6.0f * 0.05f);
  for (int side = 0; side < 2; ++side) {
    for (UInt32 i = 0; i < kFrames; ++i) {
      ASSERT_FLOAT_EQ(unit.output[side][i], unit.input[side][i] * gain) << side << ", " << i;
    }
  }
}

TEST(Lv2UnitSound, TheSideInputOfAnEffectIsSilent) {
  Lv2Unit unit("urn:vesk:test:mono");
  ASSERT_TRUE(unit.initialize());
  unit.input[0] = noise(3);
  unit.input[1] = noise(4);
  ASSERT_EQ(unit.set("gain", 2.0f), noErr);
  ASSERT_EQ(unit.render(), noErr);
  for (int side = 0; side < 2; ++side) {
    for (UInt32 i = 0; i < kFrames; ++i) {
      ASSERT_EQ(unit.output[side][i], unit.input[side][i] * 2) << side << ", " << i;
    }
  }
}

TEST(Lv2UnitSound, TheCallersInputIsReadWhereItLies) {
  Lv2Unit unit("urn:vesk:test:mono");
  ASSERT_TRUE(unit.initialize());
  ASSERT_EQ(unit.render(), noErr);
  void* library = dlopen(unit.plugin().library.c_str(), RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(library, nullptr);
  auto* seen = static_cast<const void**>(dlsym(library, "test_mono_last_inputs"));
  ASSERT_NE(seen, nullptr);
  EXPECT_EQ(seen[0], unit.input[0].data());
  EXPECT_EQ(seen[1], unit.input[1].data());
  // Where the caller renders in place, the plugin must not.
  unit.input[0] = noise(5);
  unit.input[1] = noise(6);
  const std::vector<float> given[2] = {unit.input[0], unit.input[1]};
  unit.output[0] = unit.input[0];
  unit.output[1] = unit.input[1];
  unit.supply = [&](AudioUnitRenderActionFlags*, AudioBufferList* data) -> OSStatus {
    data->mBuffers[0].mData = unit.output[0].data();
    data->mBuffers[1].mData = unit.output[1].data();
    return noErr;
  };
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.output[0], given[0]);
  EXPECT_EQ(unit.output[1], given[1]);
  dlclose(library);
}

TEST(Lv2UnitSound, AConnectedUnitIsTheInput) {
  Lv2Unit source("urn:vesk:test:events");
  Lv2Unit effect("urn:vesk:test:mono");
  ASSERT_TRUE(source.initialize());
  const AudioUnitConnection connection{source.unit(), 0, 0};
  ASSERT_EQ(
      effect.set_property(kAudioUnitProperty_MakeConnection, connection, kAudioUnitScope_Input),
      noErr);
  ASSERT_TRUE(effect.initialize());
  source.midi(0x90, 64, 32, 17);
  ASSERT_EQ(effect.render(), noErr);
  EXPECT_EQ(effect.output[0][17], 0.5f);
  EXPECT_EQ(effect.output[1][17], 0.25f);
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
  const UInt8 sysex[] = {0xf0, 1, 2, 3, 4, 0xf7};
  EXPECT_EQ(MusicDeviceSysEx(unit.unit(), sysex, sizeof sysex), noErr);
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.output[0][3], 20.0f / 128);
  EXPECT_EQ(unit.output[0][100], 40.0f / 128);
  EXPECT_EQ(unit.output[1][100], 4.0f / 128);
  EXPECT_EQ(unit.output[0][127], 40.0f / 128);
  EXPECT_EQ(unit.get("other"), 8.0f);
  EXPECT_EQ(unit.get("disorder"), 0.0f);
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(peak_of(unit.output[0]), 0.0f) << "an event is played once";
}

TEST(Lv2UnitEvents, AFloodIsPlayedOrRefusedAndLeavesOrder) {
  Lv2Unit unit("urn:vesk:test:events");
  ASSERT_TRUE(unit.initialize());
  int refused = 0;
  for (UInt32 i = 0; i < 10'000; ++i) {
    refused += MusicDeviceMIDIEvent(unit.unit(), 0x90, 1, 1, i % kFrames) != noErr;
  }
  EXPECT_GT(refused, 0);
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.get("disorder"), 0.0f);
  unit.midi(0x90, 64, 64, 9);
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.output[0][9], 0.5f);
}

TEST(Lv2UnitEvents, APositionIsToldAtTheStartAndAfterAJump) {
  Lv2Unit unit("urn:vesk:test:events");
  ASSERT_TRUE(unit.initialize());
  unit.sample_time = 4096;
  for (int i = 0; i < 3; ++i) ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.get("positions"), 1.0f);
  EXPECT_EQ(unit.get("frame"), 4096.0f);
  unit.sample_time = 0;
  for (int i = 0; i < 3; ++i) ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.get("positions"), 2.0f);
  EXPECT_EQ(unit.get("frame"), 0.0f);
}

TEST(Lv2UnitParameters, AreListedWithWhatDescribesThem) {
  Lv2Unit piano(kPiano);
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
  unit.input[0].assign(kFrames, 1.0f);
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
  EXPECT_EQ(unit.property<Float64>(kAudioUnitProperty_Latency), 32 / kRate);
  std::atomic<int> told{0};
  const auto listener = [](void* user, AudioUnit, AudioUnitPropertyID, AudioUnitScope,
                           AudioUnitElement) { ++*static_cast<std::atomic<int>*>(user); };
  ASSERT_EQ(AudioUnitAddPropertyListener(unit.unit(), kAudioUnitProperty_Latency, listener, &told),
            noErr);
  ASSERT_EQ(unit.render(), noErr);
  ASSERT_EQ(unit.set("setting", 64), noErr);
  ASSERT_EQ(unit.render(), noErr);
  EXPECT_EQ(unit.property<Float64>(kAudioUnitProperty_Latency), 64 / kRate);
  for (int i = 0; i < 2000 && told == 0; ++i) usleep(1000);
  EXPECT_EQ(told, 1) << "once, and not for the period that changed nothing";
  EXPECT_EQ(unit.get("longest"), kFrames) << "what is announced is what was set";
}

TEST(Lv2UnitProperties, BypassIsThePluginsOwnSwitchWhereItHasOne) {
  Lv2Unit own("urn:vesk:test:latency");
  Lv2Unit none("urn:vesk:test:mono");
  for (Lv2Unit* unit : {&own, &none}) {
    ASSERT_TRUE(unit->initialize());
    unit->input[0].assign(kFrames, 0.5f);
    unit->input[1].assign(kFrames, 0.25f);
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
  EXPECT_EQ(unit.render(kFrames + 1), kAudioUnitErr_TooManyFramesToProcess);
  unit.supply = [](AudioUnitRenderActionFlags*, AudioBufferList*) -> OSStatus { return -1234; };
  EXPECT_EQ(unit.render(), -1234);
  unit.supply = [](AudioUnitRenderActionFlags*, AudioBufferList*) -> OSStatus { return noErr; };
  EXPECT_EQ(unit.render(), kAudioUnitErr_InvalidPropertyValue) << "no data and no word of silence";
  unit.supply = [](AudioUnitRenderActionFlags* flags, AudioBufferList*) -> OSStatus {
    *flags |= kAudioUnitRenderAction_OutputIsSilence;
    return noErr;
  };
  unit.output[0].assign(kFrames, 9.0f);
  EXPECT_EQ(unit.render(), noErr);
  EXPECT_EQ(peak_of(unit.output[0]), 0.0f);
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
  EXPECT_EQ(format.mSampleRate, kRate);
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

}  // namespace
