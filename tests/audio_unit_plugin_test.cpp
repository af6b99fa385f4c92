#include "plugin/audio_unit_plugin.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>

#include "support/recording_unit.hpp"

namespace vesk {
namespace {

constexpr double kRate = 48000;
constexpr unsigned kMaxFrames = 64;

AudioUnitPlugin make_plugin(const std::string& text) {
  std::string error;
  return AudioUnitPlugin(*PluginSpec::parse(text, error), false);
}

/// A unit's output: both channels from one value a frame.
void fill(AudioBufferList* data, UInt32 frames, float left, float right) {
  AudioBuffer* const buffers = data->mBuffers;
  std::fill_n(static_cast<float*>(buffers[0].mData), frames, left);
  std::fill_n(static_cast<float*>(buffers[1].mData), frames, right);
}

struct TemporaryFolder {
  TemporaryFolder() {
    char pattern[] = "/tmp/vesk-plugin-XXXXXX";
    path = mkdtemp(pattern);
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path); }
  std::string write(const char* name, std::string_view content) const {
    const std::string file = path + "/" + name;
    std::ofstream(file, std::ios::binary) << content;
    return file;
  }
  std::string path;
};

TEST(AudioUnitPlugin, IsInertBeforeItsLoad) {
  UnitScript script;
  auto plugin = make_plugin(UnitScript::instrument);
  float left[4] = {1, 2, 3, 4}, right[4] = {5, 6, 7, 8};
  EXPECT_FALSE(plugin.render_add(left, right, 4, 0));
  EXPECT_FALSE(plugin.process(left, right, 4, 0, 0));
  plugin.midi(0x90, 60, 100, 0, 0);
  EXPECT_FALSE(plugin.set_parameter(1, 1));
  EXPECT_EQ(left[3], 4);
  EXPECT_TRUE(plugin.state().empty());
  EXPECT_EQ(plugin.unit(), nullptr);
  EXPECT_FALSE(plugin.failed());
  EXPECT_EQ(plugin.stats().renders, 0u);
  EXPECT_EQ(plugin.stats().mean_load_percent, 0);
  EXPECT_EQ(plugin.stats().min_note_latency, -1);
  EXPECT_TRUE(script.calls.empty());
}

TEST(AudioUnitPlugin, LoadsAnInstrumentInOrder) {
  UnitScript script;
  script.latency = 0.25;
  script.max_frames_status = kAudioUnitErr_InvalidPropertyValue;
  script.parameter_status = kAudioUnitErr_InvalidParameter;
  {
    auto plugin = make_plugin(std::string(UnitScript::instrument) + "#2=800,3=0.5");
    std::string error = "left alone";
    ASSERT_TRUE(plugin.load(kRate, kMaxFrames, error)) << error;
    EXPECT_EQ(error, "left alone");
    EXPECT_EQ(plugin.latency_seconds(), 0.25);
    EXPECT_FALSE(plugin.set_parameter(4, 1)) << "refused";
    script.parameter_status = noErr;
    EXPECT_TRUE(plugin.set_parameter(5, 1));
    plugin.detach();
    float left[1] = {}, right[1] = {};
    EXPECT_FALSE(plugin.render_add(left, right, 1, 0));
    EXPECT_FALSE(plugin.state().empty()) << "detaching cuts off the render path alone";
    plugin.dispose();
    EXPECT_TRUE(plugin.state().empty());
  }
  EXPECT_EQ(script.calls, (std::vector<std::string>{
                              "open", "property 8 scope 2 size 40", "property 14 scope 0 size 4",
                              "parameter 2=800", "parameter 3=0.5", "initialize", "parameter 4=1",
                              "parameter 5=1", "uninitialize", "close"}));
  const AudioStreamBasicDescription& format = script.output_format;
  EXPECT_EQ(format.mSampleRate, kRate);
  EXPECT_EQ((std::vector{format.mFormatID, format.mFormatFlags, format.mBytesPerPacket,
                         format.mFramesPerPacket, format.mBytesPerFrame, format.mChannelsPerFrame,
                         format.mBitsPerChannel, format.mReserved}),
            (std::vector<UInt32>{0x6C70636D, 0x29, 4, 1, 4, 2, 32, 0}));
  EXPECT_EQ(script.max_frames, kMaxFrames);
}

TEST(AudioUnitPlugin, TellsHowLongEachPhaseOfItsLoadTook) {
  const TemporaryFolder folder;
  const std::string preset =
      folder.write("list", "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict/></plist>");
  UnitScript script;
  script.pause = std::chrono::milliseconds(2);
  auto plugin = make_plugin(std::string(UnitScript::instrument) + "@" + preset);
  std::string error;
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(plugin.load(kRate, kMaxFrames, error)) << error;
  const std::chrono::duration<double, std::milli> all = std::chrono::steady_clock::now() - start;
  const Timings& t = plugin.timings();
  for (const double phase : {t.instantiate_ms, t.initialize_ms, t.restore_ms}) EXPECT_GE(phase, 2);
  EXPECT_LE(t.instantiate_ms + t.initialize_ms + t.restore_ms, all.count());
}

TEST(AudioUnitPlugin, WiresAnEffectsInput) {
  UnitScript script;
  auto plugin = make_plugin(UnitScript::effect);
  std::string error;
  ASSERT_TRUE(plugin.load(kRate, kMaxFrames, error)) << error;
  EXPECT_EQ(script.calls,
            (std::vector<std::string>{"open", "property 8 scope 2 size 40",
                                      "property 8 scope 1 size 40", "property 23 scope 1 size 16",
                                      "property 14 scope 0 size 4", "initialize"}));
  EXPECT_EQ(plugin.latency_seconds(), 0) << "not reported";
}

TEST(AudioUnitPlugin, TellsWhyALoadFailed) {
  struct Case {
    const char* name;
    OSStatus UnitScript::* status;
    const char* spec;
    const char* error;
  };
  const Case cases[] = {
      {"open", &UnitScript::open_status, UnitScript::instrument,
       "instantiation failed (OSStatus -50)"},
      {"output", &UnitScript::output_format_status, UnitScript::instrument,
       "stream format rejected (OSStatus -50)"},
      {"input", &UnitScript::input_format_status, UnitScript::effect,
       "effect input rejected (OSStatus -50)"},
      {"callback", &UnitScript::callback_status, UnitScript::effect,
       "effect input rejected (OSStatus -50)"},
      {"initialize", &UnitScript::initialize_status, UnitScript::instrument,
       "initialize failed (OSStatus -50)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    UnitScript script;
    script.*c.status = kAudio_ParamError;
    auto plugin = make_plugin(c.spec);
    std::string error = "replaced";
    EXPECT_FALSE(plugin.load(kRate, kMaxFrames, error));
    EXPECT_EQ(error, c.error);
    float left[1], right[1];
    EXPECT_FALSE(plugin.render_add(left, right, 1, 0));
  }
  auto missing = make_plugin("aumu:none:Here");
  std::string error;
  EXPECT_FALSE(missing.load(kRate, kMaxFrames, error));
  EXPECT_EQ(error, "component not found: aumu:none:Here");
}

TEST(AudioUnitPlugin, RestoresThePresetThatItSaved) {
  const TemporaryFolder folder;
  UnitScript script;
  script.state_text = "tuned <&> \xC3\xBC";
  std::string error;
  auto first = make_plugin(UnitScript::instrument);
  ASSERT_TRUE(first.load(kRate, kMaxFrames, error));
  const auto bytes = first.state();
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  ASSERT_TRUE(text.starts_with("<?xml")) << text;
  const std::string preset = folder.write("p.aupreset", text);

  script.state_text = "fresh";
  auto second = make_plugin(std::string(UnitScript::instrument) + "@" + preset);
  ASSERT_TRUE(second.load(kRate, kMaxFrames, error)) << error;
  EXPECT_EQ(script.state_text, "tuned <&> \xC3\xBC");
  EXPECT_EQ(second.state(), bytes);
}

TEST(AudioUnitPlugin, TellsWhyAPresetWasRefused) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder.path + "/folder");
  const std::string empty = folder.write("empty", "");
  const std::string text = folder.write("text", "<not a property list>");
  const std::string list =
      folder.write("list", "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict/></plist>");
  const std::string too_long = folder.path + "/" + std::string(300, 'x');
  struct Case {
    std::string path;
    OSStatus set_status;
    std::string error;  // empty: the load succeeds
  };
  const Case cases[] = {
      {folder.path + "/missing", noErr, ""},
      {list, noErr, ""},
      {empty, noErr, "could not read preset " + empty},
      {folder.path + "/folder", noErr, "could not read preset " + folder.path + "/folder"},
      {too_long, noErr, "could not read preset " + too_long},
      {text, noErr, "preset is not a property list"},
      {list, kAudioUnitErr_InvalidPropertyValue, "preset restore failed (OSStatus -10851)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    UnitScript script;
    script.class_info_set_status = c.set_status;
    auto plugin = make_plugin(std::string(UnitScript::instrument) + "@" + c.path);
    std::string error;
    EXPECT_EQ(plugin.load(kRate, kMaxFrames, error), c.error.empty());
    EXPECT_EQ(error, c.error);
  }
}

TEST(AudioUnitPlugin, LoadsASamplerInstrument) {
  const std::string spec = std::string(UnitScript::sampler) + "/instruments/Grand Piano.exs";
  struct Case {
    const char* name;
    bool out_of_process;
    OSStatus UnitScript::* status;  // what fails
    const char* error;              // null: the load succeeds
  };
  const Case cases[] = {
      {"here", false, nullptr, nullptr},
      {"refused", false, &UnitScript::sampler_status, "EXS load failed (OSStatus -50)"},
      {"by way of a temporary unit", true, nullptr, nullptr},
      {"refused there", true, &UnitScript::sampler_status, "EXS load failed (OSStatus -50)"},
      {"not given there", true, &UnitScript::class_info_get_status,
       "EXS state transfer failed (OSStatus -50)"},
      {"not taken here", true, &UnitScript::class_info_set_status,
       "EXS state transfer failed (OSStatus -50)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    UnitScript script;
    if (c.status != nullptr) script.*c.status = kAudio_ParamError;
    std::string error;
    {
      AudioUnitPlugin plugin(*PluginSpec::parse(spec, error), c.out_of_process);
      EXPECT_EQ(plugin.load(kRate, kMaxFrames, error), c.error == nullptr);
      EXPECT_EQ(error, c.error == nullptr ? "" : c.error);
    }
    EXPECT_EQ(script.sampler_path, "/instruments/Grand Piano.exs");
    EXPECT_EQ(script.sampler_request.instrumentType, kInstrumentType_EXS24);
    EXPECT_EQ(script.sampler_request.bankMSB, kAUSampler_DefaultMelodicBankMSB);
    EXPECT_EQ(script.sampler_request.bankLSB, kAUSampler_DefaultBankLSB);
    const auto count = [&](const char* call) {
      return std::count(script.calls.begin(), script.calls.end(), call);
    };
    EXPECT_EQ(count("open"), c.out_of_process ? 2 : 1);
    EXPECT_EQ(count("close"), count("open")) << "whatever fails, both units end";
  }

  UnitScript script;
  std::string error;
  EXPECT_TRUE(make_plugin(UnitScript::sampler).load(kRate, kMaxFrames, error)) << error;
  EXPECT_EQ(script.sampler_path, "") << "without a path nothing is loaded";
}

TEST(AudioUnitPlugin, AddsAnInstrumentsAudioAndMeasuresIt) {
  UnitScript script;
  script.render = [](UInt32 frames, AudioBufferList* data) {
    fill(data, frames, -0.5f, 2.0f);
    return noErr;
  };
  auto plugin = make_plugin(UnitScript::instrument);
  std::string error;
  ASSERT_TRUE(plugin.load(kRate, kMaxFrames, error));
  float left[4] = {1, 1, 1, 1}, right[4] = {};
  ASSERT_TRUE(plugin.render_add(left, right, 3, 1024));
  EXPECT_EQ(left[2], 0.5f);
  EXPECT_EQ(right[2], 2.0f);
  EXPECT_EQ(left[3], 1.0f);
  EXPECT_EQ(script.render_time.mSampleTime, 1024);
  EXPECT_EQ(script.render_time.mFlags, UInt32{kAudioTimeStampSampleTimeValid});
  EXPECT_EQ(plugin.stats().peak, 0.5f) << "the left channel alone counts";
  EXPECT_EQ(plugin.stats().renders, 1u);

  const double load = plugin.stats().mean_load_percent;
  ASSERT_TRUE(plugin.render_add(left, right, 0, 2048));
  EXPECT_EQ(plugin.stats().renders, 2u);
  EXPECT_LE(plugin.stats().mean_load_percent, load) << "no frames, nothing to measure against";

  float big[kMaxFrames + 1] = {};
  EXPECT_FALSE(plugin.render_add(big, big, kMaxFrames + 1, 0)) << "more than it was loaded for";
  EXPECT_FALSE(plugin.failed());
  EXPECT_EQ(plugin.stats().renders, 2u);
}

TEST(AudioUnitPlugin, MeasuresNoteLatencies) {
  UnitScript script;
  UInt32 sound_at = 0;
  script.render = [&](UInt32 frames, AudioBufferList* data) {
    fill(data, frames, 0, 1);
    if (sound_at < frames) static_cast<float*>(data->mBuffers[0].mData)[sound_at] = 0.1f;
    return noErr;
  };
  auto plugin = make_plugin(UnitScript::instrument);
  std::string error;
  ASSERT_TRUE(plugin.load(kRate, kMaxFrames, error));
  struct Step {
    std::uint8_t status, velocity;
    double note_time;
    unsigned offset;
    double render_time;
    UInt32 sound_at;
    std::int64_t shortest, longest;
  };
  const Step steps[] = {
      {0x90, 0, 900, 0, 900, 0, -1, -1},      // a note-off in disguise
      {0xB0, 7, 900, 0, 900, 0, -1, -1},      // no note
      {0x93, 1, 1000, 10, 1024, 6, 20, 20},   //
      {0x90, 9, 2000, 0, 2030, 0, 20, 30},    //
      {0x90, 9, 3000, 0, 3000, 99, 20, 30},   // silent: stays pending
      {0x90, 9, 3064, 0, 3064, 0, 20, 64},    // measured from the pending one
      {0x90, 9, 5000, 10, 5000, 0, -10, 64},  // sound before the note
      {0x90, 9, 6000, 0, 6040, 0, 40, 64},    // replaces a negative minimum
      {0x90, 9, 7000, 0, 7030.9, 0, 30, 64},  // cut towards zero,
      {0x90, 9, 8000, 0, 7999.1, 0, 0, 64},   // from either side
  };
  float left[kMaxFrames], right[kMaxFrames];
  for (const Step& step : steps) {
    SCOPED_TRACE(step.note_time);
    plugin.midi(step.status, 60, step.velocity, step.note_time, step.offset);
    sound_at = step.sound_at;
    ASSERT_TRUE(plugin.finish_render(left, right, kMaxFrames, step.render_time, 0));
    EXPECT_EQ(plugin.stats().min_note_latency, step.shortest);
    EXPECT_EQ(plugin.stats().max_note_latency, step.longest);
  }
  EXPECT_EQ(script.calls[3], "initialize");
  EXPECT_EQ(script.calls[4], "midi 90 3c 00 at 0") << "bytes pass unchanged";
  EXPECT_EQ(script.calls[8], "midi 93 3c 01 at 10");
}

TEST(AudioUnitPlugin, AFailedRenderIsForGood) {
  UnitScript script;
  script.render = [](UInt32, AudioBufferList*) { return OSStatus{-10863}; };
  auto plugin = make_plugin(UnitScript::effect);
  std::string error;
  ASSERT_TRUE(plugin.load(kRate, kMaxFrames, error));
  float left[2] = {1, 2}, right[2] = {3, 4};
  EXPECT_FALSE(plugin.process(left, right, 2, 0, 0));
  EXPECT_FALSE(plugin.process(left, right, 2, 2, 0));
  plugin.midi(0x90, 60, 100, 4, 0);
  EXPECT_EQ(left[1], 2) << "the input passes through";
  EXPECT_TRUE(plugin.failed());
  const Stats stats = plugin.stats();
  EXPECT_EQ(stats.renders, 1u);
  EXPECT_EQ(stats.render_errors, 1u);
  EXPECT_EQ(stats.first_error, -10863);
  EXPECT_EQ(script.calls.back(), "render 2 at 0");
}

TEST(AudioUnitPlugin, AChannelWhoseDataIsTakenAwayIsSilent) {
  UnitScript script;
  unsigned taken = 0;  // bit n: channel n
  script.render = [&](UInt32 frames, AudioBufferList* data) {
    fill(data, frames, 5, 7);
    AudioBuffer* const buffers = data->mBuffers;
    for (unsigned channel = 0; channel < 2; ++channel)
      if ((taken >> channel & 1) != 0) buffers[channel].mData = nullptr;
    return noErr;
  };
  auto instrument = make_plugin(UnitScript::instrument);
  auto effect = make_plugin(UnitScript::effect);
  std::string error;
  ASSERT_TRUE(instrument.load(kRate, kMaxFrames, error));
  ASSERT_TRUE(effect.load(kRate, kMaxFrames, error));
  for (taken = 0; taken < 4; ++taken) {
    SCOPED_TRACE(taken);
    const float wants[] = {(taken & 1) != 0 ? 0.0f : 5.0f, (taken & 2) != 0 ? 0.0f : 7.0f};
    float left[2] = {1, 1}, right[2] = {1, 1};
    EXPECT_TRUE(instrument.render_add(left, right, 2, 0));
    EXPECT_EQ(left[1], 1 + wants[0]);
    EXPECT_EQ(right[1], 1 + wants[1]);
    EXPECT_TRUE(effect.process(left, right, 2, 0, 0));
    EXPECT_EQ(left[1], wants[0]);
    EXPECT_EQ(right[1], wants[1]);
  }
  EXPECT_FALSE(instrument.failed());
}

TEST(AudioUnitPlugin, HandsAnEffectItsInput) {
  UnitScript script;
  AudioUnitRenderActionFlags flags = 0;
  bool offers_buffers = false;
  const void* pulled = nullptr;
  script.render = [&](UInt32 frames, AudioBufferList* data) {
    float own[2][kMaxFrames];
    std::fill_n(&own[0][0], 2 * kMaxFrames, 9.0f);
    struct {
      AudioBufferList list;
      AudioBuffer second;
    } input{};
    AudioBuffer* const buffers = input.list.mBuffers;
    input.list.mNumberBuffers = 2;
    if (offers_buffers) {
      buffers[0].mData = own[0];
      buffers[1].mData = own[1];
    }
    flags = 0;
    const OSStatus status = script.pull_input(&flags, frames, &input.list);
    pulled = buffers[0].mData;
    for (int channel = 0; channel < 2; ++channel) {
      const auto* from = static_cast<const float*>(buffers[channel].mData);
      auto* to = static_cast<float*>(data->mBuffers[channel].mData);
      for (UInt32 i = 0; i < frames; ++i) to[i] = from == nullptr ? -1 : 2 * from[i];
    }
    return status;
  };
  auto plugin = make_plugin(UnitScript::effect);
  std::string error;
  ASSERT_TRUE(plugin.load(kRate, kMaxFrames, error));

  for (const bool offers : {false, true}) {
    SCOPED_TRACE(offers);
    offers_buffers = offers;
    float left[2] = {1, 2}, right[2] = {3, 4};
    ASSERT_TRUE(plugin.process(left, right, 2, 0, 0));
    EXPECT_EQ(left[1], 4);
    EXPECT_EQ(right[1], 8);
    EXPECT_EQ(pulled == left, !offers) << "without a buffer of its own it reads the caller's";
    EXPECT_EQ(flags, 0u);

    float sum[2] = {}, sum_right[2] = {};
    ASSERT_TRUE(plugin.render_add(sum, sum_right, 2, 2));
    EXPECT_EQ(sum[0], offers ? 0 : -1) << "rendered outside process: silence, or nothing";
    EXPECT_EQ(flags, UInt32{kAudioUnitRenderAction_OutputIsSilence});
  }
}

}  // namespace
}  // namespace vesk
