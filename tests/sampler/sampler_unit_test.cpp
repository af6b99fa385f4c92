// The sampler unit through the public Audio Unit calls: what it tells of itself and accepts,
// loading, state.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/sampler/exs_writer.hpp"
#include "tests/sampler/open_sampler.hpp"
#include "tests/sampler/sample_files.hpp"
#include "tests/support/scratch_folder.hpp"

using namespace vesk::tests;

namespace {

namespace fs = std::filesystem;

constexpr UInt32 c4 = 60;

/// A folder with `piano.exs` and its sample, a looped middle C.
class SamplerUnit : public testing::Test {
 protected:
  void SetUp() override {
    ExsZone& zone = instrument_.zones.emplace_back();
    zone.has_loop = true;
    zone.loop_start = 100;
    zone.loop_end = 40'100;
    add_sample("c4.wav");
    // Times are 10 s * (value / 127)^4.
    instrument_.parameters = {{0x05, 8}, {0x55, 64}};
    ASSERT_TRUE(write_sine(folder_ / "c4.wav", {.frequency = 264.6, .frames = 40'200}));
    ASSERT_TRUE(write_exs(piano_, instrument_));
  }
  void add_sample(const char* file) {
    ExsSample& sample = instrument_.samples.emplace_back();
    sample.folder = "/Volumes/Gone";
    sample.file_name = file;
  }
  /// What `load` says on standard error, and that it answers `status`.
  static std::string said_by_load(OpenSampler& unit, const std::string& path, OSStatus status,
                                  UInt8 type = kInstrumentType_EXS24) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(unit.load(path, type), status) << path;
    return testing::internal::GetCapturedStderr();
  }
  static OSStatus restore(OpenSampler& unit, const std::vector<UInt8>& saved) {
    const auto data =
        own(CFDataCreate(kCFAllocatorDefault, saved.data(), static_cast<CFIndex>(saved.size())));
    const auto list =
        own(CFPropertyListCreateWithData(kCFAllocatorDefault, data.get(), 0, nullptr, nullptr));
    return unit.set_property(kAudioUnitProperty_ClassInfo, CFPropertyListRef{list.get()});
  }
  /// Whether a note sounds.
  static bool sounds(OpenSampler& unit) {
    unit.midi(0x90, c4, 100, 0);
    const auto sound = unit.play(4);
    unit.midi(0xb0, 120, 0, 0);
    unit.play(4);
    return std::ranges::max(sound.left) > 0.01f;
  }

  const ScratchFolder scratch_;
  /// Samples are looked for in all that is two folders above.
  const fs::path folder_ = fs::path(scratch_.path()) / "library" / "pianos";
  const std::string piano_ = folder_ / "piano.exs";
  ExsInstrument instrument_;
};

TEST_F(SamplerUnit, ListsTheParametersThatItsInstrumentHas) {
  OpenSampler unit;
  ASSERT_EQ(unit.load(piano_), noErr);
  const struct {
    AudioUnitParameterID id;
    const char* name;
    AudioUnitParameterUnit unit;
    float least, most, begin;
  } cases[] = {
      {900, "Gain", kAudioUnitParameterUnit_Decibels, -90, 12, 0},
      {901, "Coarse tuning", kAudioUnitParameterUnit_RelativeSemiTones, -24, 24, 0},
      {902, "Fine tuning", kAudioUnitParameterUnit_Cents, -99, 99, 0},
      {903, "Pan", kAudioUnitParameterUnit_Pan, -1, 1, 0},
      {910, "Attack", kAudioUnitParameterUnit_Seconds, 0, 10, 0},
      {911, "Release", kAudioUnitParameterUnit_Seconds, 0, 10, 0.645f},
      {912, "Polyphony", kAudioUnitParameterUnit_Indexed, 1, 128, 8},
  };
  const auto ids = unit.property<std::array<AudioUnitParameterID, std::size(cases)>>(
      kAudioUnitProperty_ParameterList);
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const auto& c = cases[i];
    SCOPED_TRACE(c.name);
    EXPECT_EQ(ids[i], c.id);
    const auto info = unit.property<AudioUnitParameterInfo>(kAudioUnitProperty_ParameterInfo,
                                                            kAudioUnitScope_Global, c.id);
    EXPECT_EQ(taken(info.cfNameString), c.name);
    EXPECT_STREQ(info.name, c.name);
    EXPECT_EQ(info.unit, c.unit);
    EXPECT_EQ(info.minValue, c.least);
    EXPECT_EQ(info.maxValue, c.most);
    EXPECT_NEAR(info.defaultValue, c.begin, 0.01f);
    EXPECT_NEAR(unit.get(c.id), c.begin, 0.01f);
    EXPECT_EQ(unit.set(c.id, c.most * 2), noErr);
    EXPECT_EQ(unit.get(c.id), c.most);
  }
  EXPECT_EQ(unit.set(904, 0), kAudioUnitErr_InvalidParameter);
  EXPECT_EQ(unit.set(900, NAN), kAudioUnitErr_InvalidParameterValue);
  // What the next instrument asks for counts from its load on.
  ASSERT_EQ(unit.load(piano_), noErr);
  EXPECT_EQ(unit.get(912), 8);
}

TEST_F(SamplerUnit, AnswersWhatHostsAsk) {
  OpenSampler unit;
  const struct {
    AudioUnitPropertyID id;
    AudioUnitScope scope;
    OSStatus status;
    UInt32 size;
    bool is_writable;
  } cases[] = {
      {kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, noErr, 40, true},
      {kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, kAudioUnitErr_InvalidScope, 0,
       false},
      {kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, noErr, 4, true},
      {kAudioUnitProperty_SupportedNumChannels, kAudioUnitScope_Global, noErr, 4, false},
      {kAudioUnitProperty_ElementCount, kAudioUnitScope_Input, noErr, 4, false},
      {kAudioUnitProperty_Latency, kAudioUnitScope_Global, noErr, 8, false},
      {kAudioUnitProperty_OfflineRender, kAudioUnitScope_Global, noErr, 4, true},
      {kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, noErr, 8, true},
      {kMusicDeviceProperty_InstrumentCount, kAudioUnitScope_Global, noErr, 4, false},
      {kAUSamplerProperty_LoadInstrument, kAudioUnitScope_Global, noErr, 16, true},
      {kAudioUnitProperty_TailTime, kAudioUnitScope_Global, kAudioUnitErr_InvalidProperty, 0,
       false},
      {kAudioUnitProperty_CocoaUI, kAudioUnitScope_Global, kAudioUnitErr_InvalidProperty, 0, false},
  };
  for (const auto& c : cases) {
    UInt32 size = 0;
    Boolean writable = false;
    EXPECT_EQ(AudioUnitGetPropertyInfo(unit.unit(), c.id, c.scope, 0, &size, &writable), c.status)
        << c.id;
    EXPECT_EQ(size, c.size) << c.id;
    EXPECT_EQ(writable, c.is_writable) << c.id;
  }
  EXPECT_EQ(unit.property<UInt32>(kAudioUnitProperty_ElementCount, kAudioUnitScope_Input), 0u);
  EXPECT_EQ(MusicDeviceMIDIEvent(unit.unit(), 0x90, c4, 100, 0), kAudioUnitErr_Uninitialized);
  EXPECT_EQ(unit.render(), kAudioUnitErr_Uninitialized);
  ASSERT_TRUE(unit.initialize());
  EXPECT_EQ(unit.render(period_frames + 1), kAudioUnitErr_TooManyFramesToProcess);
  std::ranges::fill(unit.output[0], 1.0f);
  EXPECT_EQ(unit.render(), noErr);
  EXPECT_EQ(std::ranges::count(unit.output[0], 0.0f), period_frames) << "no instrument, silence";
}

TEST_F(SamplerUnit, AFailedLoadSaysWhyAndLeavesWhatPlays) {
  std::ofstream(folder_ / "text.exs") << "no instrument, whatever it is called";
  std::ofstream(folder_ / "short.exs") << "TBOS";
  ExsInstrument silent = instrument_;
  silent.samples[0].file_name = "gone.wav";
  ASSERT_TRUE(write_exs(folder_ / "silent.exs", silent));
  auto bytes = exs_file(instrument_);
  bytes.resize(100);
  std::ofstream(folder_ / "cut.exs", std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), 100);
  fs::create_directory(folder_ / "folder.exs");
  ASSERT_EQ(mkfifo((folder_ / "pipe.exs").c_str(), 0600), 0);
  OpenSampler unit;
  ASSERT_EQ(unit.load(piano_), noErr);
  ASSERT_TRUE(unit.initialize());
  const struct {
    const char* file;
    OSStatus status;
    const char* said;
  } cases[] = {
      {"none.exs", kAudio_FileNotFoundError, " is not there\n"},
      {"folder.exs", kAudioUnitErr_InvalidFile, " is no file\n"},
      {"pipe.exs", kAudioUnitErr_InvalidFile, " is no file\n"},
      {"text.exs", kAudioUnitErr_UnknownFileType,
       " is neither an EXS24 instrument nor a SoundFont\n"},
      {"short.exs", kAudioUnitErr_UnknownFileType,
       " is neither an EXS24 instrument nor a SoundFont\n"},
      {"cut.exs", kAudioUnitErr_InvalidFile, "\n"},
      {"silent.exs", kAudioUnitErr_InvalidFile, "gone.wav\n"},
  };
  for (const auto& c : cases) {
    const std::string path = folder_ / c.file, said = said_by_load(unit, path, c.status);
    EXPECT_TRUE(said.starts_with("plugin host: Sampler: " + path)) << said;
    EXPECT_TRUE(said.ends_with(c.said)) << said;
    EXPECT_EQ(std::ranges::count(said, '\n'), 1) << said;
    EXPECT_TRUE(sounds(unit)) << c.file;
  }
  const struct {
    UInt8 type;
    OSStatus status;
  } types[] = {{kInstrumentType_SF2Preset, noErr},
               {kInstrumentType_EXS24, noErr},
               {2, kAudioUnitErr_InstrumentTypeNotFound},
               {3, kAudioUnitErr_InstrumentTypeNotFound}};
  for (const auto& c : types) said_by_load(unit, piano_, c.status, c.type);
  EXPECT_EQ(unit.set_property(kAUSamplerProperty_LoadInstrument, AUSamplerInstrumentData{}),
            kAudioUnitErr_FileNotSpecified);
}

TEST_F(SamplerUnit, SaysWhatIsMissingInOneLine) {
  for (const int sample : {1, 2}) {
    ExsZone& zone = instrument_.zones.emplace_back();
    zone.sample = sample;
    zone.key_high = 20;
  }
  add_sample("one.wav");
  add_sample("two.wav");
  ASSERT_TRUE(write_exs(piano_, instrument_));
  OpenSampler unit;
  const std::string said = said_by_load(unit, piano_, noErr);
  EXPECT_EQ(said, "plugin host: Sampler: " + piano_ +
                      ": 2 of 3 samples are missing, the first is one.wav\n");
  ASSERT_TRUE(unit.initialize());
  EXPECT_TRUE(sounds(unit));
}

TEST_F(SamplerUnit, RestoresItsInstrumentAndParameters) {
  OpenSampler unit;
  ASSERT_EQ(unit.load(piano_), noErr);
  for (const auto [id, value] : {std::pair{900u, -3.5f}, {902u, 12.25f}, {912u, 5.0f}})
    EXPECT_EQ(unit.set(id, value), noErr);
  const auto saved = unit.saved();
  OpenSampler early, late;
  ASSERT_EQ(restore(early, saved), noErr);
  ASSERT_TRUE(early.initialize());
  ASSERT_TRUE(late.initialize());
  ASSERT_EQ(restore(late, saved), noErr);
  for (OpenSampler* other : {&early, &late}) {
    EXPECT_EQ(other->saved(), saved);
    EXPECT_EQ(other->get(900), -3.5f);
    EXPECT_EQ(other->get(912), 5);
    EXPECT_TRUE(sounds(*other));
  }
  // A state without an instrument leaves none.
  OpenSampler empty;
  const auto nothing = empty.saved();
  EXPECT_EQ(restore(late, nothing), noErr);
  EXPECT_FALSE(sounds(late));
  EXPECT_EQ(late.saved(), nothing);
}

TEST_F(SamplerUnit, FindsAnInstrumentThatWasMovedWithItsFolder) {
  OpenSampler unit;
  const fs::path home = scratch_ / "home", present = scratch_ / "present/two/three";
  ASSERT_EQ(unit.load(piano_), noErr);
  const auto saved = unit.saved();
  const fs::path before = fs::current_path();
  const std::string old_home = getenv("HOME");
  setenv("HOME", home.c_str(), 1);
  for (const fs::path& place : {present / "piano.exs", home / fs::path(piano_).relative_path()}) {
    SCOPED_TRACE(place);
    fs::create_directories(present);
    fs::create_directories(place.parent_path());
    fs::current_path(present);
    fs::rename(piano_, place);
    fs::copy_file(folder_ / "c4.wav", place.parent_path() / "c4.wav");
    OpenSampler moved;
    EXPECT_EQ(restore(moved, saved), noErr);
    ASSERT_TRUE(moved.initialize());
    EXPECT_TRUE(sounds(moved));
    // What is saved from here on names the new place.
    EXPECT_NE(moved.saved(), saved);
    fs::current_path(before);
    fs::rename(place, piano_);
  }
  fs::remove(piano_);
  testing::internal::CaptureStderr();
  OpenSampler gone;
  EXPECT_EQ(restore(gone, saved), kAudio_FileNotFoundError);
  EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      "plugin host: Sampler: " + piano_ + ", which the preset names, is not there any more\n");
  setenv("HOME", old_home.c_str(), 1);
}

TEST_F(SamplerUnit, RefusesStatesOfOtherUnitsAndShrugsAtOddValues) {
  OpenSampler unit;
  const auto state = [](const char* key, CFTypeRef value) {
    const OpenSampler fresh;
    const auto list = own(fresh.property<CFPropertyListRef>(kAudioUnitProperty_ClassInfo));
    auto changed = own(CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0,
                                                     static_cast<CFDictionaryRef>(list.get())));
    CFDictionarySetValue(changed.get(), own(make(key)).get(), value);
    CFRelease(value);
    return changed;
  };
  const auto number = [](SInt32 value) -> CFTypeRef {
    return CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value);
  };
  const struct {
    const char* key;
    CFTypeRef value;
    OSStatus status;
  } cases[] = {
      {"version", number(1), kAudioUnitErr_InvalidPropertyValue},
      {"subtype", number(1), kAudioUnitErr_InvalidPropertyValue},
      {"manufacturer", make("appl"), kAudioUnitErr_InvalidPropertyValue},
      {"file-references", make("no dictionary"), noErr},
      {"bank-msb", number(-5), noErr},
      {"data", CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>("odd"), 3), noErr},
  };
  for (const auto& c : cases)
    EXPECT_EQ(unit.set_property(kAudioUnitProperty_ClassInfo,
                                CFPropertyListRef{state(c.key, c.value).get()}),
              c.status)
        << c.key;
  EXPECT_EQ(unit.set_property(kAudioUnitProperty_ClassInfo, CFPropertyListRef{}),
            kAudioUnitErr_InvalidPropertyValue);
}

TEST_F(SamplerUnit, InstrumentsAreExchangedWhileItRenders) {
  OpenSampler unit;
  ASSERT_EQ(unit.load(piano_), noErr);
  ASSERT_TRUE(unit.initialize());
  std::atomic<bool> is_done{false};
  std::thread renderer([&] {
    for (int period = 0; !is_done.load(); ++period) {
      if (period % 4 == 0) unit.midi(0x90, c4, 100, 5);
      EXPECT_EQ(unit.render(), noErr);
    }
  });
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(unit.load(piano_), noErr);
    EXPECT_EQ(unit.set(900, static_cast<float>(-i)), noErr);
  }
  is_done = true;
  renderer.join();
  EXPECT_TRUE(sounds(unit));
}

}  // namespace
