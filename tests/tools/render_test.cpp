// vesk-render and vesk-list as a person runs them, with real plugins in real host processes.

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numeric>

#include "tests/support/program.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tests/support/wait_until.hpp"
#include "tests/tools/sound_file.hpp"

namespace {

using namespace vesk::tests;

constexpr const char* piano = "aumu:Sm48:LV2_";
constexpr const char* delay = "aufx:jvLs:LV2_";
constexpr const char* demo_chain = "aumu:Sm48:LV2_#4=0.6|aufx:jvLs:LV2_#2=0.3|aufx:kZu9:LV2_";
const std::string song = VESK_SONGS "/demo.mid";

ProgramResult render(std::vector<std::string> words, const ProgramOptions& options = {}) {
  words.insert(words.begin(), build_tree() + "/bin/vesk-render");
  return run_program(words, options);
}

/// Finds the units that misbehave on command (docs/misbehaving.md).
const ProgramOptions test_units{
    .environment = {"AUDIO_COMPONENT_PATH=" + build_tree() + "/components"}};

/// Two channels of it, the same every time.
void write_noise(const std::string& path, int rate, int seconds) {
  Sound noise{rate, std::vector<float>(static_cast<std::size_t>(seconds * rate) * 2)};
  std::uint32_t state = 1;
  for (float& sample : noise.samples) {
    state = state * 1664525u + 1013904223u;
    sample = static_cast<float>(state >> 8) / 16'777'216.0f - 0.5f;
  }
  write_sound(path, noise);
}

/// The length of a vector.
double norm(const std::vector<float>& samples) {
  return std::sqrt(std::inner_product(samples.begin(), samples.end(), samples.begin(), 0.0));
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
  EXPECT_FALSE(file_bytes(folder / "one.png").empty());

  const Sound audio = read_sound(folder / "one.wav");
  EXPECT_EQ(audio.rate, 48'000);
  EXPECT_GT(audio.samples.size(), 2u * 30u * 48'000u);
  EXPECT_GT(norm(audio.samples) / std::sqrt(static_cast<double>(audio.samples.size())), 0.01);
  for (const float sample : audio.samples) ASSERT_LT(std::fabs(sample), 1.0f);
  // It rings out: the last half second lies below -60 dBFS.
  for (std::size_t i = audio.samples.size() - 48'000; i < audio.samples.size(); ++i)
    ASSERT_LT(std::fabs(audio.samples[i]), 0.001f);
}

TEST(Render, SendsAudioThroughAnEffectAtItsOwnRateAndAnother) {
  const ScratchFolder folder;
  write_noise(folder / "in.wav", 44'100, 1);
  auto result = render({delay, "--input", folder / "in.wav", "-o", folder / "own.flac", "--tail",
                        "0", "--period", "441"});
  ASSERT_EQ(result.status, 0) << result.errors;
  Sound audio = read_sound(folder / "own.flac");
  EXPECT_EQ(audio.rate, 44'100);
  EXPECT_EQ(audio.samples.size(), 2u * 44'100u);

  result = render({delay, "--input", folder / "in.wav", "-o", folder / "other.wav", "-r", "48000",
                   "--tail", "1.5"});
  ASSERT_EQ(result.status, 0) << result.errors;
  EXPECT_NE(result.errors.find("converted from 44100 to 48000 Hz"), std::string::npos);
  audio = read_sound(folder / "other.wav");
  EXPECT_EQ(audio.rate, 48'000);
  EXPECT_NEAR(static_cast<double>(audio.samples.size()), 2.0 * 2.5 * 48'000, 8);
}

TEST(Render, AMetronomeClicksAtTheSongsTempoToTheSampleAndStopsWithIt) {
  const ScratchFolder folder;
  for (const std::uint32_t tempo : {60u, 240u}) {
    // Eight seconds without a note, at so many beats a minute.
    const std::uint32_t us = 60'000'000 / tempo;
    const int ticks = static_cast<int>(8 * 96 * tempo / 60);
    Bytes bytes{'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 0, 0, 1, 0, 96, 'M', 'T', 'r', 'k', 0, 0, 0, 12};
    for (const int byte : {0, 0xFF, 0x51, 3, int(us >> 16), int(us >> 8 & 255), int(us & 255),
                           ticks >> 7 | 0x80, ticks & 0x7F, 0xFF, 0x2F, 0})
      bytes.push_back(static_cast<std::uint8_t>(byte));
    std::ofstream(folder / "beat.mid", std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    const auto result = render({"augn:ad1X:LV2_", "--midi", folder / "beat.mid", "-o",
                                folder / "clicks.wav", "--period", "500"});
    ASSERT_EQ(result.status, 0) << result.errors;
    const Sound audio = read_sound(folder / "clicks.wav");
    std::vector<std::size_t> clicks, wanted;
    std::size_t last = 0;
    for (std::size_t i = 0; i < audio.samples.size(); i += 2) {
      if (std::fabs(audio.samples[i]) < 1e-4f) continue;
      if (clicks.empty() || i / 2 > last + 2000) clicks.push_back(i / 2);
      last = i / 2;
    }
    // A click is a sine, and so silent in its first sample.
    for (std::size_t beat = 0; beat < 8 * tempo / 60; ++beat)
      wanted.push_back(beat * 48'000 * 60 / tempo + 1);
    EXPECT_EQ(clicks, wanted) << tempo;
  }
}

TEST(Render, TakesAnyPeriodLength) {
  const ScratchFolder folder;
  Sound reference;
  for (const char* period : {"64", "1000", "4096"}) {
    SCOPED_TRACE(period);
    const std::string path = folder / (std::string(period) + ".wav");
    const auto result =
        render({piano, "--midi", song, "-o", path, "--period", period, "--tail", "0"});
    ASSERT_EQ(result.status, 0) << result.errors;
    const Sound audio = read_sound(path);
    if (reference.samples.empty()) reference = audio;
    ASSERT_EQ(audio.samples.size(), reference.samples.size());
    // The piano's own filters run a period at a time; its notes must not move.
    std::vector<float> difference = audio.samples;
    for (std::size_t i = 0; i < difference.size(); ++i) difference[i] -= reference.samples[i];
    EXPECT_LT(norm(difference), 1e-4 * norm(reference.samples));
  }
}

TEST(Render, SaysInOneLineWhatIsWrongAndLeavesNothing) {
  const ScratchFolder folder;
  std::ofstream(folder / "text.mid") << "no song";
  write_noise(folder / "in.wav", 48'000, 20);
  const std::string out = folder / "out.wav";
  const auto broken = [&](const char* chain) {
    return std::vector<std::string>{chain, "--midi", song, "-o", out};
  };
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
      {{delay, "--input", folder / "none.wav", "-o", out},
       folder / "none.wav: No such file or directory"},
      {{delay, "--input", folder / "", "-o", out}, folder / ": is a folder"},
      {broken("aumu:none:Here"), "component not found"},
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
      {{piano, "--midi", song}, "no output given (-o FILE); vesk-render --help tells how", 2},
      {broken("aumu:Bad_:Vesk#0=200"), "period 1"},
      {broken("aumu:Null:Vesk|aufx:Bad_:Vesk#1=200"), "period 1"},
      {broken("aumu:Bad_:Vesk#2=200"), "waits for something that does not come"},
      {broken("aumu:Bad_:Vesk#3=200"), "does not come back from its work"},
      {broken("aumu:Bad_:Vesk#19=1"), "OSStatus -10875"},
      {broken("aumu:Bad_:Vesk#15=1"), "the host did not start"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.words[0] + ": " + test.message);
    ProgramOptions options = test_units;
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

TEST(Render, RemarksOnWhatIsOddAndRendersIt) {
  const ScratchFolder folder;
  const std::pair<std::string, std::string> cases[] = {
      {std::string(piano) + "@" + (folder / "none"),
       (folder / "none") + " does not exist; aumu:Sm48:LV2_ starts with its own settings\n"},
      {"aumu:Bad_:Vesk#7=100", "are infinite or not a number"},
  };
  for (const auto& [chain, remark] : cases) {
    SCOPED_TRACE(chain);
    const std::string out = folder / "out.flac";
    const auto result = render({chain, "--midi", song, "-o", out, "--tail", "0"}, test_units);
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_NE(result.errors.find(remark), std::string::npos) << result.errors;
    EXPECT_EQ(std::ranges::count(result.errors, '\n'), 1) << result.errors;
    for (const float sample : read_sound(out).samples) ASSERT_TRUE(std::isfinite(sample));
  }
}

TEST(Render, TrimsTheLatencyOfTheChainUnlessAskedNotTo) {
  const ScratchFolder folder;
  write_noise(folder / "in.wav", 48'000, 1);
  const auto rendered = [&](const char* option) {
    const auto result = render({"aufx:Bad_:Vesk#25=100", "--input", folder / "in.wav", "--tail",
                                "0", "-o", folder / "out.wav", option},
                               test_units);
    EXPECT_EQ(result.status, 0) << result.errors;
    return read_sound(folder / "out.wav").samples;
  };
  const auto trimmed = rendered("--quiet");
  const auto whole = rendered("--keep-latency");
  ASSERT_EQ(trimmed.size(), 96'000u);
  ASSERT_EQ(whole.size(), 96'000u);
  EXPECT_TRUE(std::equal(trimmed.begin(), trimmed.end() - 9'600, whole.begin() + 9'600));
  EXPECT_EQ(whole, read_sound(folder / "in.wav").samples) << "it does not have what it reports";
}

TEST(Render, RemovesHalfAFileWhenInterrupted) {
  const ScratchFolder folder;
  std::ofstream(folder / "out.wav") << "the one before";
  const auto interrupt = [&](pid_t program) {
    EXPECT_TRUE(wait_until([&] {
      const auto names = folder.names();
      return std::ranges::any_of(names, [&](const std::string& name) {
        return name != "out.wav" && !file_bytes(folder / name).empty();
      });
    })) << "nothing is written";
    kill(program, SIGINT);
  };
  // A tail of an hour: the run lasts long enough to be interrupted, whatever the machine.
  const auto result = render(
      {demo_chain, "--midi", song, "-o", folder / "out.wav", "--tail", "3600", "--period", "16"},
      {.meanwhile = interrupt});
  EXPECT_EQ(result.status, 128 + SIGINT) << result.output << result.errors;
  EXPECT_EQ(folder.names(), std::vector<std::string>{"out.wav"});
  EXPECT_EQ(file_bytes(folder / "out.wav").size(), 14u);
}

TEST(List, NamesTheDemoPluginsAndTheirParameters) {
  const std::string program = build_tree() + "/bin/vesk-list";
  const struct {
    std::vector<std::string> words;
    int status;
    std::vector<std::string> texts;
  } cases[] = {
      {{program}, 0, {"aumu:Sm48:LV2_  ", "aufx:jvLs:LV2_  "}},
      {{program, "--parameters", delay}, 0, {"Feedback", "0 to 1"}},
      {{program, "--parameters", "aumu:none:Here"},
       1,
       {"vesk-list: aumu:none:Here is not installed; vesk-list without arguments shows what is\n"}},
  };
  for (const auto& test : cases) {
    const auto result = run_program(test.words);
    EXPECT_EQ(result.status, test.status);
    const std::string& printed = test.status == 0 ? result.output : result.errors;
    for (const std::string& text : test.texts)
      EXPECT_NE(printed.find(text), std::string::npos) << text << " in " << printed;
  }
}

}  // namespace
