// vesk-render and vesk-list as a person runs them, with real plugins in real host processes.

#include <gtest/gtest.h>
#include <signal.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>

#include "tests/support/lv2_bundles.hpp"
#include "tests/support/program.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tools/program/json.hpp"

namespace {

using namespace vesk::tests;
using namespace std::chrono_literals;
using vesk::tools::Json;

constexpr const char* piano = "aumu:Sm48:LV2_";
constexpr const char* delay = "aufx:jvLs:LV2_";
constexpr const char* demo_chain = "aumu:Sm48:LV2_#4=0.6|aufx:jvLs:LV2_#2=0.3|aufx:kZu9:LV2_";
const std::string song = VESK_SONGS "/demo.mid";

ProgramResult render(std::vector<std::string> words, const ProgramOptions& options = {}) {
  words.insert(words.begin(), build_tree() + "/bin/vesk-render");
  return run_program(words, options);
}

/// Finds the units that misbehave on command (tests/components/misbehaving/commands.h).
const ProgramOptions test_units{
    .environment = {"AUDIO_COMPONENT_PATH=" + build_tree() + "/components"}};

struct Audio {
  int rate = 0;
  std::vector<float> samples;  // left and right in turn
};

Audio read_audio(const std::string& path) {
  SF_INFO info{};
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
  Audio audio;
  if (!file) return audio;
  audio.rate = info.samplerate;
  audio.samples.resize(static_cast<std::size_t>(info.frames * info.channels));
  sf_readf_float(file, audio.samples.data(), info.frames);
  sf_close(file);
  return audio;
}

void write_noise(const std::string& path, int rate, double seconds) {
  SF_INFO info{};
  info.samplerate = rate;
  info.channels = 2;
  info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  std::vector<float> samples(static_cast<std::size_t>(seconds * rate) * 2);
  std::uint32_t state = 1;
  for (float& sample : samples) {
    state = state * 1664525u + 1013904223u;
    sample = static_cast<float>(state >> 8) / 16'777'216.0f - 0.5f;
  }
  sf_writef_float(file, samples.data(), static_cast<sf_count_t>(samples.size() / 2));
  sf_close(file);
}

/// A song of one second: a note of half of it.
void write_note(const std::string& path) {
  constexpr char bytes[] =
      "MThd\0\0\0\6\0\0\0\1\0\x60MTrk\0\0\0\x0c\0\x90\x3c\x64\x60\x80\x3c\0\x60\xff\x2f\0";
  std::ofstream(path, std::ios::binary).write(bytes, sizeof bytes - 1);
}

TEST(Render, PlaysTheDemoSongTheSameEveryTime) {
  const ScratchFolder folder;
  for (const char* name : {"one", "two"}) {
    const auto result =
        render({demo_chain, "--midi", song, "-o", folder / (std::string(name) + ".wav"), "--plot",
                folder / (std::string(name) + ".png")});
    ASSERT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    EXPECT_NE(result.output.find("LUFS integrated"), std::string::npos) << result.output;
  }
  EXPECT_TRUE(file_bytes(folder / "one.wav") == file_bytes(folder / "two.wav"));
  EXPECT_TRUE(file_bytes(folder / "one.png") == file_bytes(folder / "two.png"));

  const Audio audio = read_audio(folder / "one.wav");
  EXPECT_EQ(audio.rate, 48'000);
  EXPECT_GT(audio.samples.size(), 2u * 30u * 48'000u);
  double square = 0.0;
  float peak = 0.0f;
  for (const float sample : audio.samples) {
    ASSERT_TRUE(std::isfinite(sample));
    square += static_cast<double>(sample) * static_cast<double>(sample);
    peak = std::max(peak, std::fabs(sample));
  }
  EXPECT_GT(std::sqrt(square / static_cast<double>(audio.samples.size())), 0.01);
  EXPECT_LT(peak, 1.0f);
  // It rings out: the last half second lies below -60 dBFS.
  for (std::size_t i = audio.samples.size() - 48'000; i < audio.samples.size(); ++i)
    ASSERT_LT(std::fabs(audio.samples[i]), 0.001f);
}

TEST(Render, SendsAudioThroughAnEffectAtItsOwnRateAndAnother) {
  const ScratchFolder folder;
  write_noise(folder / "in.wav", 44'100, 1.0);
  auto result =
      render({delay, "--input", folder / "in.wav", "-o", folder / "own.flac", "--tail", "0"});
  ASSERT_EQ(result.status, 0) << result.errors;
  Audio audio = read_audio(folder / "own.flac");
  EXPECT_EQ(audio.rate, 44'100);
  EXPECT_EQ(audio.samples.size(), 2u * 44'100u);

  result = render({delay, "--input", folder / "in.wav", "-o", folder / "other.wav", "-r", "48000",
                   "--tail", "1.5"});
  ASSERT_EQ(result.status, 0) << result.errors;
  EXPECT_NE(result.errors.find("converted from 44100 to 48000 Hz"), std::string::npos);
  audio = read_audio(folder / "other.wav");
  EXPECT_EQ(audio.rate, 48'000);
  EXPECT_NEAR(static_cast<double>(audio.samples.size()), 2.0 * 2.5 * 48'000, 8);
}

TEST(Render, PassesThroughPipes) {
  const ScratchFolder folder;
  const std::string program = build_tree() + "/bin/vesk-render ";
  const auto result = run_program(
      {"/bin/sh", "-c",
       "cat " + song + " | " + program + piano + " -m - -o - --duration 2 --tail 0 | " + program +
           delay + " -i - -o " + (folder / "out.ogg") + " --duration 1.5 --tail 0.5"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(result.errors.starts_with("standard output: 2.000 s")) << result.errors;
  EXPECT_TRUE(result.output.starts_with((folder / "out.ogg") + ": 2.000 s")) << result.output;
  const Audio audio = read_audio(folder / "out.ogg");
  EXPECT_EQ(audio.rate, 48'000);
  EXPECT_EQ(audio.samples.size(), 2u * 2u * 48'000u);
  EXPECT_GT(std::ranges::max(audio.samples), 0.01f);
}

TEST(Render, TakesAnyPeriodLength) {
  const ScratchFolder folder;
  Audio reference;
  for (const char* period : {"64", "1000", "4096"}) {
    SCOPED_TRACE(period);
    const std::string path = folder / (std::string(period) + ".wav");
    const auto result =
        render({piano, "--midi", song, "-o", path, "--period", period, "--tail", "0"});
    ASSERT_EQ(result.status, 0) << result.errors;
    const Audio audio = read_audio(path);
    if (reference.samples.empty()) reference = audio;
    ASSERT_EQ(audio.samples.size(), reference.samples.size());
    // The piano's own filters run a period at a time; its notes must not move.
    double difference = 0.0, whole = 0.0;
    for (std::size_t i = 0; i < audio.samples.size(); ++i) {
      difference += std::pow(static_cast<double>(audio.samples[i] - reference.samples[i]), 2);
      whole += std::pow(static_cast<double>(reference.samples[i]), 2);
    }
    EXPECT_LT(std::sqrt(difference / whole), 1e-4);
  }
}

TEST(Render, SaysInOneLineWhatIsWrongAndLeavesNothing) {
  const ScratchFolder folder;
  std::ofstream(folder / "text.mid") << "no song";
  write_noise(folder / "in.wav", 48'000, 20.0);
  const std::string out = folder / "out.wav";
  const struct {
    std::vector<std::string> words;
    std::string message;
    int status = 1;
    std::size_t largest_file = 0;
  } cases[] = {
      {{piano, "--midi", folder / "none.mid", "-o", out},
       folder / "none.mid: No such file or directory"},
      {{piano, "--midi", folder / "text.mid", "-o", out}, folder / "text.mid: not a MIDI file"},
      {{delay, "--input", folder / "text.mid", "-o", out},
       folder / "text.mid: not an audio file that can be read"},
      {{"aumu:none:Here", "--midi", song, "-o", out},
       "aumu:none:Here is not installed; vesk-list shows what is"},
      {{std::string(piano) + "@" + (folder / "text.mid"), "--midi", song, "-o", out},
       "preset is not a property list"},
      {{piano, "--midi", song, "-o", folder / "none/out.wav"},
       folder / "none/out.wav: cannot be written: No such file or directory"},
      {{piano, "--midi", song, "-o", out, "--plot", folder / "none/out.png"},
       folder / "none/out.png: cannot be written: No such file or directory"},
      {{delay, "--input", folder / "in.wav", "-o", out},
       out + ": cannot be written: File too large",
       1,
       1'000'000},
      {{piano, "--midi", song, "-o", out, "-r", "384000", "--tail", "3600"},
       out + ": 61 minutes at 384000 Hz are more than a WAV file can hold (4 GB)"},
      {{piano, "--midi", song, "-o", folder / "out.ogg", "-r", "384000"},
       folder / "out.ogg: Ogg Vorbis goes up to 200000 Hz"},
      {{piano, "--midi", song}, "no output given (-o FILE); vesk-render --help tells how", 2},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.message);
    ProgramOptions options;
    options.largest_file = test.largest_file;
    const auto result = render(test.words, options);
    EXPECT_EQ(result.status, test.status);
    EXPECT_TRUE(result.errors.starts_with("vesk-render: ")) << result.errors;
    EXPECT_NE(result.errors.find(test.message), std::string::npos) << result.errors;
    EXPECT_EQ(std::ranges::count(result.errors, '\n'), 1) << result.errors;
    EXPECT_EQ(result.output, "");
    auto names = folder.names();
    std::ranges::sort(names);
    EXPECT_EQ(names, (std::vector<std::string>{"in.wav", "text.mid"}));
  }
}

struct Fault {
  const char* chain;
  const char* message;
};

#ifdef VESK_SANITIZER
constexpr const char* died_in_render = "the host ended with status 3";
#else
constexpr const char* died_in_render = "aufx:Bad_:Vesk (plugin 2 of 2) died in render: exit";
#endif

/// What a broken plugin does to a rendering, told in one line.
const std::map<std::string, Fault> faults{
    {"crash", {"aumu:Bad_:Vesk#0=200", "period 198 (at 0:02.112)"}},
    {"exit", {"aumu:Null:Vesk|aufx:Bad_:Vesk#1=200", died_in_render}},
    {"hang", {"aumu:Bad_:Vesk#2=200", "aumu:Bad_:Vesk waits for something that does not come"}},
    {"spin", {"aumu:Bad_:Vesk#3=200", "aumu:Bad_:Vesk does not come back from its work"}},
    {"refusal", {"aumu:Bad_:Vesk#19=1", "OSStatus -10875"}},
    {"crash_in_load", {"aumu:Bad_:Vesk#15=1", "the host did not start"}},
};

class BrokenPlugin : public testing::TestWithParam<std::string> {};

TEST_P(BrokenPlugin, IsToldAndLeavesNothing) {
  const Fault& fault = faults.at(GetParam());
  const ScratchFolder folder;
  const auto result = render({fault.chain, "--midi", song, "-o", folder / "out.wav"}, test_units);
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(result.errors.starts_with("vesk-render: ")) << result.errors;
  EXPECT_NE(result.errors.find(fault.message), std::string::npos) << result.errors;
  EXPECT_EQ(std::ranges::count(result.errors, '\n'), 1) << result.errors;
  EXPECT_TRUE(folder.names().empty());
}

INSTANTIATE_TEST_SUITE_P(Render, BrokenPlugin,
                         testing::Values("crash", "exit", "hang", "spin", "refusal",
                                         "crash_in_load"),
                         [](const auto& info) { return info.param; });

TEST(Render, TellsWhatCanHardlyBeMeantAndRefusesItWhenStrict) {
  const ScratchFolder folder;
  const std::string preset = folder / "none", out = folder / "out.flac";
  const struct {
    std::string chain;
    std::string warning;
    int strict_status;
    const char* kind;
  } cases[] = {
      {std::string(piano) + "#99=0.5",
       "aumu:Sm48:LV2_ has no parameter 99; vesk-list --parameters aumu:Sm48:LV2_ shows what it "
       "has",
       3, "no_such_parameter"},
      {"aumu:Tone:Vesk|aufx:Bad_:Vesk#100=1",
       "aufx:Bad_:Vesk has no parameter 100 that can be set; vesk-list --parameters "
       "aufx:Bad_:Vesk shows what it has",
       3, "no_such_parameter"},
      {std::string(piano) + "#4=0.5,4=1.5",
       "parameter 4 (Modulation) of aumu:Sm48:LV2_ takes 0 to 1, not 1.5", 4, "out_of_range"},
      {std::string(piano) + "#4=nan",
       "parameter 4 (Modulation) of aumu:Sm48:LV2_ takes 0 to 1, not nan", 4, "out_of_range"},
      {std::string(piano) + "@" + preset,
       preset + " does not exist; aumu:Sm48:LV2_ starts with its own settings", 5, "no_preset"},
      {"aumu:Bad_:Vesk#7=1", " samples are infinite or not a number: a plugin is broken", 6,
       "not_finite"},
      {"aumu:Null:Vesk", "the output is silent from beginning to end", 7, "silent"},
      {"aumu:Tone:Vesk|aumf:5t5y:LV2_",
       "aumf:5t5y:LV2_ gets no MIDI events: they go to the chain's first plugin alone", 7, "note"},
  };
  const ScratchFolder songs;
  write_note(songs / "note.mid");
  for (const auto& test : cases) {
    SCOPED_TRACE(test.chain);
    const std::vector<std::string> words{
        test.chain, "--midi", songs / "note.mid", "-o", out, "--tail", "0", "--json"};
    auto result = render(words, test_units);
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(result.errors.starts_with("vesk-render: ")) << result.errors;
    EXPECT_NE(result.errors.find(test.warning + "\n"), std::string::npos) << result.errors;
    const auto summary = Json::parse(result.output);
    EXPECT_EQ(summary["output"], out);
    EXPECT_EQ(summary["warnings"][0]["kind"], test.kind);
    EXPECT_NE(summary["warnings"][0]["text"].get<std::string>().find(test.warning),
              std::string::npos);
    for (const float sample : read_audio(out).samples) ASSERT_TRUE(std::isfinite(sample));

    std::filesystem::remove(out);
    auto strict_words = words;
    strict_words.push_back("--strict");
    result = render(strict_words, test_units);
    EXPECT_EQ(result.status, test.strict_status);
    EXPECT_NE(result.errors.find(test.warning + "\n"), std::string::npos) << result.errors;
    EXPECT_EQ(Json::parse(result.output)["status"], test.strict_status);
    EXPECT_TRUE(folder.names().empty());
  }
}

TEST(Render, GivesTheReasonForWhichAPluginCannotBeLoaded) {
  const ScratchFolder folder;
  write_plain_bundle(folder / "lv2/x.lv2", "urn:vesk:x", "X");
  const ProgramOptions options{
      .environment = {"LV2_PATH=" + folder / "lv2", "VESK_CACHE=" + folder / "cache"}};
  const auto listed = run_program({build_tree() + "/bin/vesk-list"}, options).output;
  const std::string name = listed.substr(0, listed.find("  X\n"));
  write_noise(folder / "in.wav", 48'000, 0.1);
  const auto result =
      render({name, "--input", folder / "in.wav", "-o", folder / "out.wav"}, options);
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(result.errors.starts_with("vesk-render: " + name + ": instantiation failed"))
      << result.errors;
  EXPECT_NE(result.errors.find("lv2/x.lv2/plugin.so: cannot open shared object file"),
            std::string::npos)
      << result.errors;
}

TEST(Render, TrimsTheLatencyOfTheChainUnlessAskedNotTo) {
  const ScratchFolder folder;
  write_noise(folder / "in.wav", 48'000, 1.0);
  const std::vector<std::string> words{
      "aufx:Bad_:Vesk#25=100", "--input", folder / "in.wav", "--tail", "0", "-o"};
  const auto with = [&](std::vector<std::string> more) {
    std::vector<std::string> all = words;
    all.insert(all.end(), more.begin(), more.end());
    return all;
  };
  ASSERT_EQ(render(with({folder / "trimmed.wav"}), test_units).status, 0);
  ASSERT_EQ(render(with({folder / "whole.wav", "--keep-latency"}), test_units).status, 0);
  const auto trimmed = read_audio(folder / "trimmed.wav").samples;
  const auto whole = read_audio(folder / "whole.wav").samples;
  ASSERT_EQ(trimmed.size(), 96'000u);
  ASSERT_EQ(whole.size(), 96'000u);
  EXPECT_TRUE(std::equal(trimmed.begin(), trimmed.end() - 9'600, whole.begin() + 9'600));
  EXPECT_NE(whole[0], trimmed[0]);
}

TEST(Render, RemovesHalfAFileWhenInterrupted) {
  const ScratchFolder folder;
  std::ofstream(folder / "out.wav") << "the one before";
  // A tail of an hour: the run lasts long enough to be interrupted, whatever the machine.
  ProgramOptions options;
  options.signal = SIGINT;
  options.signal_after = 1500ms;
  const auto result = render(
      {demo_chain, "--midi", song, "-o", folder / "out.wav", "--tail", "3600", "--period", "16"},
      options);
  EXPECT_EQ(result.status, 128 + SIGINT) << result.output << result.errors;
  EXPECT_EQ(folder.names(), std::vector<std::string>{"out.wav"});
  EXPECT_EQ(file_bytes(folder / "out.wav").size(), 14u);
}

TEST(List, NamesTheDemoPluginsAndTheirParameters) {
  const std::string program = build_tree() + "/bin/vesk-list";
  auto result = run_program({program});
  ASSERT_EQ(result.status, 0) << result.errors;
  EXPECT_NE(result.output.find("aumu:Sm48:LV2_  "), std::string::npos);
  EXPECT_NE(result.output.find("aufx:jvLs:LV2_  "), std::string::npos);
  result = run_program({program, "--parameters", delay});
  ASSERT_EQ(result.status, 0) << result.errors;
  EXPECT_NE(result.output.find("Feedback"), std::string::npos) << result.output;
  EXPECT_NE(result.output.find("0 to 1"), std::string::npos) << result.output;
  result = run_program({program, "--parameters", "aumu:none:Here"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.errors,
            "vesk-list: aumu:none:Here is not installed; vesk-list without arguments shows what "
            "is\n");
}

}  // namespace
