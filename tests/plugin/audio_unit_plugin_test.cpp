#include "plugin/audio_unit_plugin.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>

#include "tests/support/recording_unit.hpp"
#include "tests/support/scratch_folder.hpp"

namespace vesk {
namespace {

using tests::ScratchFolder;

constexpr double rate = 48000;
constexpr unsigned max_frames = 64;

AudioUnitPlugin make_plugin(const std::string& text) {
  std::string error;
  return AudioUnitPlugin(*PluginSpec::parse(text, error), false);
}

void write(const std::string& path, std::string_view content) {
  std::ofstream(path, std::ios::binary) << content;
}

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

TEST(AudioUnitPlugin, LoadsAnInstrumentOrAnEffectInOrder) {
  UnitScript script;
  script.latency = 0.25;
  script.max_frames_status = kAudioUnitErr_InvalidPropertyValue;
  script.parameter_status = kAudioUnitErr_InvalidParameter;
  {
    auto plugin = make_plugin(std::string(UnitScript::instrument) + "#2=800,3=0.5");
    std::string error = "left alone";
    ASSERT_TRUE(plugin.load(rate, max_frames, error)) << error;
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
                              "parameter 2=800", "parameter 3=0.5", "initialize", "latency",
                              "parameter 4=1", "parameter 5=1", "uninitialize", "close"}));
  const AudioStreamBasicDescription& format = script.output_format;
  EXPECT_EQ(format.mSampleRate, rate);
  EXPECT_EQ((std::vector{format.mFormatID, format.mFormatFlags, format.mBytesPerPacket,
                         format.mFramesPerPacket, format.mBytesPerFrame, format.mChannelsPerFrame,
                         format.mBitsPerChannel, format.mReserved}),
            (std::vector<UInt32>{0x6C70636D, 0x29, 4, 1, 4, 2, 32, 0}));
  EXPECT_EQ(script.max_frames, max_frames);

  script.calls.clear();
  script.latency = -1;
  auto effect = make_plugin(UnitScript::effect);
  std::string error;
  ASSERT_TRUE(effect.load(rate, max_frames, error)) << error;
  EXPECT_EQ(script.calls,
            (std::vector<std::string>{"open", "property 8 scope 2 size 40",
                                      "property 8 scope 1 size 40", "property 23 scope 1 size 16",
                                      "property 14 scope 0 size 4", "initialize", "latency"}));
  EXPECT_EQ(effect.latency_seconds(), 0) << "not reported";
}

TEST(AudioUnitPlugin, TellsWhyALoadFailed) {
  struct Case {
    OSStatus UnitScript::* status;
    const char* spec;
    const char* error;
  };
  const Case cases[] = {
      {&UnitScript::open_status, UnitScript::instrument, "instantiation failed (OSStatus -50)"},
      {&UnitScript::output_format_status, UnitScript::instrument,
       "stream format rejected (OSStatus -50)"},
      {&UnitScript::input_format_status, UnitScript::effect,
       "effect input rejected (OSStatus -50)"},
      {&UnitScript::callback_status, UnitScript::effect, "effect input rejected (OSStatus -50)"},
      {&UnitScript::initialize_status, UnitScript::instrument, "initialize failed (OSStatus -50)"},
      {&UnitScript::open_status, "aumu:none:Here", "component not found: aumu:none:Here"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.error);
    UnitScript script;
    script.*c.status = kAudio_ParamError;
    auto plugin = make_plugin(c.spec);
    std::string error = "replaced";
    EXPECT_FALSE(plugin.load(rate, max_frames, error));
    EXPECT_EQ(error, c.error);
    float left[1], right[1];
    EXPECT_FALSE(plugin.render_add(left, right, 1, 0));
  }
}

TEST(AudioUnitPlugin, RestoresThePresetThatItSavedAndTellsHowLongEachPhaseTook) {
  const ScratchFolder folder;
  UnitScript script;
  script.state_text = "tuned <&> \xC3\xBC";
  std::string error;
  auto first = make_plugin(UnitScript::instrument);
  ASSERT_TRUE(first.load(rate, max_frames, error));
  const auto bytes = first.state();
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  ASSERT_TRUE(text.starts_with("<?xml")) << text;
  const std::string preset = folder / "p.aupreset";
  write(preset, text);

  script.state_text = "fresh";
  script.pause = std::chrono::milliseconds(2);
  auto second = make_plugin(std::string(UnitScript::instrument) + "@" + preset);
  script.calls.clear();
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(second.load(rate, max_frames, error)) << error;
  const std::chrono::duration<double, std::milli> all = std::chrono::steady_clock::now() - start;
  const Timings& t = second.timings();
  for (const double phase : {t.instantiate_ms, t.initialize_ms, t.restore_ms}) EXPECT_GE(phase, 2);
  EXPECT_LE(t.instantiate_ms + t.initialize_ms + t.restore_ms, all.count());
  EXPECT_EQ(script.calls[4], "property 0 scope 0 size 8");
  EXPECT_EQ(script.calls.back(), "latency") << "which a state may change";
  EXPECT_EQ(script.state_text, "tuned <&> \xC3\xBC");
  EXPECT_EQ(second.state(), bytes);
}

TEST(AudioUnitPlugin, TellsWhyAPresetWasRefused) {
  const ScratchFolder folder;
  std::filesystem::create_directory(folder / "folder");
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  const std::string list = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict/></plist>";
  const std::string unread = "could not read preset ";
  struct Case {
    std::string path;     // within the folder, or absolute
    std::string content;  // written there, unless it is empty
    std::string error;    // beginning with `unread`: the path follows; empty: the load succeeds
    OSStatus set_status = noErr;
  };
  const Case cases[] = {
      {"missing", "", ""},
      {"list", list, ""},
      {"/dev/null", "", unread},
      {"folder", "", unread},
      {std::string(300, 'x'), "", unread},
      {"pipe", "", unread},
      {"/dev/zero", "", unread},
      {"text", "<not a property list>", "preset is not a property list"},
      {"cut", "<plist version=\"1.0\"><dict><key>data</key>", "preset is not a property list"},
      {"binary", "bplist00 and then nothing", "preset is not a property list"},
      {"refused", list, "preset restore failed (OSStatus -10851)",
       kAudioUnitErr_InvalidPropertyValue},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.path);
    const std::string path = c.path.starts_with('/') ? c.path : folder / c.path;
    if (!c.content.empty()) write(path, c.content);
    UnitScript script;
    script.class_info_set_status = c.set_status;
    auto plugin = make_plugin(std::string(UnitScript::instrument) + "@" + path);
    std::string error;
    EXPECT_EQ(plugin.load(rate, max_frames, error), c.error.empty());
    EXPECT_EQ(error, c.error == unread ? unread + path : c.error);
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
      EXPECT_EQ(plugin.load(rate, max_frames, error), c.error == nullptr);
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
  script.class_info_is_null = true;
  EXPECT_FALSE(
      AudioUnitPlugin(*PluginSpec::parse(spec, error), true).load(rate, max_frames, error));
  EXPECT_EQ(error, "EXS state transfer failed (OSStatus -10851)");
  EXPECT_TRUE(make_plugin("exs:/no \xff UTF-8.exs").load(rate, max_frames, error)) << error;
  EXPECT_EQ(script.sampler_path, "/no \xff UTF-8.exs");
  script.sampler_path.clear();
  EXPECT_TRUE(make_plugin(UnitScript::sampler).load(rate, max_frames, error)) << error;
  EXPECT_EQ(script.sampler_path, "") << "without a path nothing is loaded";
}

}  // namespace
}  // namespace vesk
