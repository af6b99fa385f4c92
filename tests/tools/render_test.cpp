// vesk-render and vesk-list as a person runs them, with real plugins in real host processes.

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "tests/support/lv2_bundles.hpp"
#include "tests/support/program.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tests/support/wait_until.hpp"
#include "tests/tools/rendering.hpp"
#include "tests/tools/sound_file.hpp"
#include "tools/program/json.hpp"

namespace {

using namespace vesk::tests;
using vesk::tools::Json;

constexpr const char* demo_chain = "aumu:Sm48:LV2_#4=0.6|aufx:jvLs:LV2_#2=0.3|aufx:kZu9:LV2_";

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
  auto result = render({delay, "--input", folder / "in.wav", "-o", folder / "own.FLAC", "--tail",
                        "0", "--period=441"});
  ASSERT_EQ(result.status, 0) << result.errors;
  Sound audio = read_sound(folder / "own.FLAC");
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

TEST(Render, MonoUnitsPlayAsStereoOnesDo) {
  const ScratchFolder folder;
  write_noise(folder / "in.wav", 44'100, 1);
  const std::string preset = folder / "half.aupreset";
  std::ofstream(preset) << R"(<plist version="1.0"><dict>
      <key>version</key> <integer>0</integer>
      <key>type</key> <integer>1635083896</integer>
      <key>subtype</key> <integer>1299148399</integer>
      <key>manufacturer</key> <integer>1449489259</integer>
      <key>name</key> <string>Half</string>
      <key>data</key> <data>AAAAAAAAAD8BAAAAAACAPw==</data></dict></plist>)";
  const struct {
    const char* source;
    std::string path, mono, stereo;
  } cases[] = {
      {"--midi", song, "aumu:Mono:Vesk#1=2", "aumu:Tone:Vesk#1=2"},
      {"--input", folder / "in.wav", "aufx:Mono:Vesk#0=0.5", "aufx:Gain:Vesk#0=0.5"},
      {"--input", folder / "in.wav", "aufx:Mono:Vesk#0=2,1=1", "aufx:Gain:Vesk#0=2"},
      {"--input", folder / "in.wav", "aufx:Mono:Vesk@" + preset, "aufx:Gain:Vesk#0=0.5"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.mono);
    for (const std::string& chain : {test.mono, test.stereo})
      EXPECT_EQ(render({chain, test.source, test.path, "--period", "77", "--tail", "0", "-o",
                        folder / (chain == test.mono ? "mono.wav" : "stereo.wav")},
                       test_units)
                    .errors,
                "");
    const Sound sound = read_sound(folder / "mono.wav");
    EXPECT_TRUE(sound.samples == read_sound(folder / "stereo.wav").samples);
    EXPECT_GT(norm(sound.samples), 10);
    for (const char* name : {"mono.wav", "stereo.wav"}) std::filesystem::remove(folder / name);
  }
}

TEST(Render, PassesThroughPipes) {
  const ScratchFolder folder;
  const std::string program = build_tree() + "/bin/vesk-render ";
  const auto result =
      run_program({"/bin/sh", "-c",
                   "cat " + song + " | " + program + piano + " -m - -o - --duration 2 --tail 0 | " +
                       program + delay + " - -o - -f flac --duration 1.5 --tail 0.5 -q | " +
                       program + delay + " -i - -o " + (folder / "out.ogg") + " --tail 0"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(result.errors.starts_with("standard output: 2.000 s")) << result.errors;
  EXPECT_TRUE(result.output.starts_with((folder / "out.ogg") + ": 2.000 s")) << result.output;
  const Sound audio = read_sound(folder / "out.ogg");
  EXPECT_EQ(audio.rate, 48'000);
  EXPECT_EQ(audio.samples.size(), 2u * 2u * 48'000u);
  EXPECT_GT(std::ranges::max(audio.samples), 0.01f);
}

TEST(Render, APartSoundsAsItDoesInTheWhole) {
  const ScratchFolder folder;
  write_noise(folder / "in.wav", 44'100, 3);
  const std::string beats = folder / "beats.mid";
  write_song(beats, {0x86, 0, 0xFF, 0x2F, 0});  // four seconds of them
  const struct {
    std::vector<std::string> words;  // the chain and what it plays
    std::vector<std::string> part;
    double start, end;  // of it, in the whole
  } cases[] = {
      {{piano, song}, {"--start", "2", "--preroll", "2", "--duration", "1"}, 2, 3},
      {{piano, song}, {"--start", "2.5", "--preroll", "9", "--duration", "1.5"}, 2.5, 4},
      // Its output is what it is told of the song.
      {{"aumu:Bad_:Vesk#30=1", beats},
       {"--start", "1", "--preroll", "0.5", "--duration", "1"},
       1,
       2},
      {{delay, folder / "in.wav"}, {"--start", "1", "--preroll", "1", "--duration", "1"}, 1, 2},
      {{"aufx:Null:Vesk", folder / "in.wav", "-r", "48000"},
       {"--start", "1.25", "--duration", "1"},
       1.25,
       2.25},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.words[0] + " " + test.part[1]);
    Sound sounds[2];
    for (const bool is_part : {false, true}) {
      auto words = test.words;
      if (is_part) words.insert(words.end(), test.part.begin(), test.part.end());
      words.insert(words.end(), {"--tail", "0", "-q", "--period", "500", "-o", folder / "out.wav"});
      EXPECT_EQ(render(words, test_units).status, 0);
      sounds[is_part] = read_sound(folder / "out.wav");
    }
    const auto place = [&](double seconds) {
      return sounds[0].samples.begin() + std::lround(seconds * sounds[0].rate) * 2;
    };
    ASSERT_LE(place(test.end), sounds[0].samples.end());
    const std::vector<float> wanted(place(test.start), place(test.end));
    EXPECT_TRUE(sounds[1].samples == wanted) << sounds[1].samples.size() << " " << wanted.size();
    EXPECT_GT(norm(wanted), 0.1);
  }
}

TEST(Render, AMetronomeClicksAtTheSongsTempoToTheSampleAndStopsWithIt) {
  const ScratchFolder folder;
  for (const std::uint32_t tempo : {60u, 240u}) {
    // Eight seconds without a note, at so many beats a minute.
    const std::uint32_t us = 60'000'000 / tempo;
    const std::uint32_t ticks = 8 * 96 * tempo / 60;
    Bytes track;
    for (const auto byte : {0u, 0xFFu, 0x51u, 3u, us >> 16, us >> 8 & 255, us & 255,
                            ticks >> 7 | 0x80, ticks & 0x7F, 0xFFu, 0x2Fu, 0u})
      track.push_back(static_cast<std::uint8_t>(byte));
    write_song(folder / "beat.mid", track);
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

#ifdef VESK_SANITIZER
constexpr const char* died_in_load = "the host did not start";
constexpr const char* died_in_render = "the host ended with status 3";
constexpr const char* hangs = "a plugin waits for something that does not come";
#else
constexpr const char* died_in_load = "died in load: SIGSEGV";
constexpr const char* died_in_render = "aufx:Bad_:Vesk (plugin 2 of 2) died in render: exit";
constexpr const char* hangs =
    "aufx:Bad_:Vesk (plugin 2 of 2) waits for something that does not come";
#endif

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
      {broken("aumu:none:Here"), "aumu:none:Here is not installed; vesk-list shows what is"},
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
      {{piano, "--midi", song, "-o", folder / "out.ogg", "-r", "384000"},
       folder / "out.ogg: Ogg Vorbis goes up to 200000 Hz"},
      {{piano, "--midi", song, "-o", folder / "out.opus", "-r", "44100"},
       folder / "out.opus: Opus has 8000, 12000, 16000, 24000 or 48000 Hz"},
      {{delay, folder / "in.wav", "-o", out, "--start", "20"},
       folder / "in.wav has 20.000 seconds, and --start is behind that"},
      {{piano, "--midi", song}, "no output given (-o FILE); vesk-render --help tells how", 2},
      {broken("aumu:Bad_:Vesk#0=200"), "period 199 (at 0:02.123)"},
      {broken("aumu:Null:Vesk|aufx:Bad_:Vesk#1=200"), died_in_render},
      {broken("aumu:Null:Vesk|aufx:Bad_:Vesk#2=200"), hangs},
      {broken("aumu:Bad_:Vesk#3=200"), " does not come back from its work"},
      {broken("aumu:Bad_:Vesk#19=1"), "OSStatus -10875"},
      {broken("aumu:Bad_:Vesk#15=1"), died_in_load},
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

TEST(Render, TellsWhatCanHardlyBeMeantAndRefusesItWhenStrict) {
  const ScratchFolder folder;
  const std::string preset = folder / "none", out = folder / "out.flac";
  const std::string four_times = "|aufx:Gain:Vesk#0=4";
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
      {"aumu:Tone:Vesk#0=1,1=3" + four_times + four_times + four_times + four_times + four_times,
       "the peak is 58.1 dB beyond full scale; a plugin is broken or set to what it cannot take", 0,
       "note"},
      {"aumu:Tone:Vesk|aumf:5t5y:LV2_",
       "aumf:5t5y:LV2_ gets no MIDI events: they go to the chain's first plugin alone", 7, "note"},
  };
  const ScratchFolder songs;
  // A note of half a second, and half a second of none.
  write_song(songs / "note.mid", {0, 0x90, 60, 100, 96, 0x80, 60, 0, 96, 0xFF, 0x2F, 0});
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
    for (const float sample : read_sound(out).samples) ASSERT_TRUE(std::isfinite(sample));

    std::filesystem::remove(out);
    auto strict_words = words;
    strict_words.push_back("--strict");
    result = render(strict_words, test_units);
    EXPECT_EQ(result.status, test.strict_status);
    EXPECT_NE(result.errors.find(test.warning + "\n"), std::string::npos) << result.errors;
    EXPECT_EQ(Json::parse(result.output)["status"], test.strict_status);
    EXPECT_EQ(std::filesystem::remove(out), test.strict_status == 0);
    EXPECT_TRUE(folder.names().empty());
  }
}

TEST(Render, VerifiesThatASecondRenderingIsTheSame) {
  const ScratchFolder folder, hosts;
  for (const char* name : {"a.wav", "a.flac", "a.ogg", "a.opus"}) {
    const auto result = render({piano, song, "--duration", "2", "--verify", "-o", folder / name});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_NE(result.output.find("verified: "), std::string::npos);
    std::filesystem::remove(folder / name);
  }
  ProgramOptions options = test_units;
  options.environment.push_back(
      "VESK_HOST=" + host_that_recovers(hosts, "export VESK_MISBEHAVE=nan-in-render=100"));
  const auto result =
      render({"aumu:Bad_:Vesk", song, "--verify", "-o", folder / "a.wav", "--json"}, options);
  EXPECT_EQ(result.status, 8);
  EXPECT_EQ(Json::parse(result.output)["error"].get<std::string>(),
            folder /
                "a.wav: a second rendering differs from the first from frame 50688 on "
                "(1.056 s)");
  EXPECT_TRUE(folder.names().empty());
}

TEST(Render, TakesNamesAndSaysWhatTheyStandFor) {
  const ScratchFolder folder;
  write_noise(folder / "in.wav", 48'000, 1);
  const ProgramOptions options{.environment = {test_units.environment[0], "LV2_PATH="}};
  const auto with = [&](const std::string& chain, std::vector<std::string> more) {
    more.insert(more.begin(), {chain, "--input", folder / "in.wav", "-o", folder / "out.wav"});
    return render(more, options);
  };
  const std::string specification = "aufx:Null:Vesk|aufx:Gain:Vesk#1=1,0=0.5";
  const std::string line = "vesk-render: the chain is " + specification + "\n";
  const auto named = with("wire|Vesk: Gain#1=1", {"-s", "2:gain=0.5", "--json"});
  EXPECT_EQ(named.status, 0);
  EXPECT_EQ(named.errors.substr(0, line.size()), line);
  EXPECT_EQ(Json::parse(named.output)["specification"], specification);
  EXPECT_EQ(with("wire", {"--quiet"}).errors, "");
  EXPECT_EQ(with("aufx:Null:Vesk", {}).errors.find("the chain is"), std::string::npos);

  const auto unknown = with("wier", {"--json"});
  EXPECT_EQ(unknown.status, 1);
  EXPECT_EQ(Json::parse(unknown.output)["error"], "no plugin is called \"wier\"");
  // What a name stands for may still not stand there.
  const auto misplaced = with("wire|tone", {});
  EXPECT_EQ(misplaced.status, 2);
  EXPECT_EQ(
      misplaced.errors,
      "vesk-render: chain \"aufx:Null:Vesk|aumu:Tone:Vesk\": aumu:Tone:Vesk is not an effect; "
      "vesk-render --help tells how\n");
}

TEST(Render, GivesTheReasonForWhichAPluginCannotBeLoaded) {
  const ScratchFolder folder;
  write_plain_bundle(folder / "lv2/x.lv2", "urn:vesk:x", "X");
  const ProgramOptions options{
      .environment = {"LV2_PATH=" + folder / "lv2", "VESK_CACHE=" + folder / "cache"}};
  const auto listed = run_program({build_tree() + "/bin/vesk-list", "urn:vesk:x"}, options).output;
  ASSERT_TRUE(listed.starts_with("X\t\teffect\taufx:")) << listed;
  const std::string name = listed.substr(10, 14);
  write_noise(folder / "in.wav", 48'000, 1);
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
    // The file has no name yet.
    EXPECT_TRUE(wait_until([&] {
      std::error_code gone;
      for (const auto& entry :
           std::filesystem::directory_iterator("/proc/" + std::to_string(program) + "/fd", gone))
        if (read_symlink(entry.path(), gone).string().starts_with(folder.path()) &&
            file_size(entry.path(), gone) > 0)
          return true;
      return false;
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

}  // namespace
