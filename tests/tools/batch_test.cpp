// Many inputs in one call of vesk-render: their outputs' names, and real processes that fail.

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>

#include "tests/support/wait_until.hpp"
#include "tests/tools/rendering.hpp"
#include "tools/program/json.hpp"
#include "tools/render/batch_plan.hpp"

namespace {

namespace fs = std::filesystem;
using namespace vesk::tests;
using vesk::tools::Json;

const std::string tone = "aumu:Tone:Vesk";

/// A song of one note.
void write_note(const std::string& path) {
  write_song(path, {0, 0x90, 60, 100, 96, 0x80, 60, 0, 0, 0xFF, 0x2F, 0});
}

std::string states(const Json& told) {
  if (!told.is_object()) return "no answer";
  std::string text = std::to_string(told["status"].get<int>()) + ":";
  for (const Json& result : told["results"])
    text += " " + result["state"].get<std::string>() + "/" +
            std::to_string(result["attempts"].get<int>());
  return text;
}

Json render_all(std::vector<std::string> words, const ProgramOptions& options = test_units) {
  words.insert(words.end(), {"--json", "--tail", "0"});
  return Json::parse(render(words, options).output, nullptr, false);
}

std::vector<std::string> sorted_names(const ScratchFolder& folder, const std::string& below) {
  std::vector<std::string> names;
  std::error_code none;
  for (const auto& entry : fs::recursive_directory_iterator(folder / below, none))
    if (!entry.is_directory())
      names.push_back(entry.path().lexically_relative(folder / below).string());
  std::ranges::sort(names);
  return names;
}

TEST(BatchPlan, NamesEachOutputByItsInputAloneAndNoFileTwice) {
  const ScratchFolder folder;
  write_note(folder / "song.wav");
  const struct {
    std::vector<std::string> inputs;
    bool keeps_folders;
    std::vector<std::string> outputs;
    std::string error;
  } cases[] = {
      {{"a/kick.wav", "song.v2.mid", "/x/plain"},
       false,
       {"out/kick.flac", "out/song.v2.flac", "out/plain.flac"},
       ""},
      {{"a/kick.wav", "./b/../b/kick.wav", "../up/kick.wav", "/x/kick.wav", "kick.wav"},
       true,
       {"out/a/kick.flac", "out/b/kick.flac", "out/up/kick.flac", "out/x/kick.flac",
        "out/kick.flac"},
       ""},
      {{"a/kick.wav", "b/kick.aif"},
       false,
       {},
       "a/kick.wav and b/kick.aif would both be written to out/kick.flac; --keep-folders keeps "
       "folders apart"},
      {{"a/kick.wav", "a/kick.aif"},
       true,
       {},
       "a/kick.wav and a/kick.aif would both be written to out/a/kick.flac"},
      {{"a.wav", "a.wav"}, false, {}, "a.wav is given twice"},
      {{"a.wav", "drums/"}, false, {}, "\"drums/\" is not the name of a file"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.inputs.back());
    vesk::tools::RenderArguments arguments;
    arguments.out_dir = "out";
    arguments.format = vesk::tools::AudioFormat::flac;
    arguments.inputs = test.inputs;
    arguments.keeps_folders = test.keeps_folders;
    std::string error;
    const auto jobs = plan_batch(arguments, error);
    EXPECT_EQ(error, test.error);
    if (!jobs || test.outputs.empty()) continue;
    for (std::size_t i = 0; i < test.outputs.size(); ++i)
      EXPECT_EQ(jobs->at(i).output, test.outputs[i]);
  }
  // Under whatever name, no input is written over.
  fs::create_directory_symlink(folder.path(), folder / "link");
  const auto result =
      render({"aufx:Gain:Vesk", folder / "song.wav", "--out-dir", folder / "link"}, test_units);
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.errors.find("would be written over"), std::string::npos) << result.errors;
}

TEST(Batch, OneThatFailsCostsNoOtherAndEachIsAsIfAlone) {
  const ScratchFolder folder;
  write_noise(folder / "a.wav", 44'100, 1);
  write_noise(folder / "b.wav", 48'000, 1);
  std::ofstream(folder / "text.wav") << "no sound";
  const std::string chain = "aufx:Gain:Vesk#0=0.5";
  const auto result =
      render({chain, folder / "a.wav", folder / "text.wav", folder / "none.wav", folder / "b.wav",
              "--out-dir", folder / "new/out", "--jobs", "2", "-f", "opus", "--tail", "0"},
             test_units);
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(
      result.output.starts_with(folder / "new/out: 2 written, 2 failed; 2.0 s of audio in "))
      << result.output;
  for (const std::string line : {"text.wav: not an audio file that can be read",
                                 "none.wav: No such file or directory", "a.wav converted from"})
    EXPECT_NE(result.errors.find("vesk-render: " + (folder / line)), std::string::npos)
        << result.errors;
  EXPECT_EQ(sorted_names(folder, "new/out"),
            (std::vector<std::string>{".vesk-render", "a.opus", "b.opus"}));
  EXPECT_EQ(
      render({chain, folder / "a.wav", "-o", folder / "a.opus", "--tail", "0"}, test_units).status,
      0);
  EXPECT_TRUE(file_bytes(folder / "a.opus") == file_bytes(folder / "new/out/a.opus"));
}

TEST(Batch, ALaterCallLeavesWhatIsFinishedAndMakesAgainWhatHasChanged) {
  const ScratchFolder folder;
  const std::string out = folder / "out", a = folder / "a.mid", b = folder / "b.mid";
  write_note(a);
  write_note(b);
  const struct {
    const char* change;
    std::function<void()> make;
    std::vector<std::string> options;
    std::string states;
  } calls[] = {
      {"the first call", [] {}, {}, "0: written/1 written/1"},
      {"nothing", [] {}, {"--jobs", "1", "--limit", "60"}, "0: finished/0 finished/0"},
      {"the input",
       [&] { fs::last_write_time(b, fs::file_time_type::clock::now()); },
       {},
       "0: finished/0 written/1"},
      {"how it sounds", [] {}, {"--period", "64"}, "0: written/1 written/1"},
      {"the chain", [] {}, {"--period", "64", "-s", "0=0.1"}, "0: written/1 written/1"},
      {"an output is gone",
       [&] { fs::remove(folder / "out/a.wav"); },
       {"--period", "64", "-s", "0=0.1"},
       "0: written/1 finished/0"},
      {"an output is cut",
       [&] { fs::resize_file(folder / "out/b.wav", 1000); },
       {"--period", "64", "-s", "0=0.1"},
       "0: finished/0 written/1"},
      {"half a line is left",
       [&] { std::ofstream(folder / "out/.vesk-render", std::ios::app) << R"({"output":"a)"; },
       {"--period", "64", "-s", "0=0.2"},
       "0: written/1 written/1"},
      {"after that", [] {}, {"--period", "64", "-s", "0=0.2"}, "0: finished/0 finished/0"},
      {"all is wanted again",
       [] {},
       {"--period", "64", "-s", "0=0.2", "--again"},
       "0: written/1 written/1"},
  };
  for (const auto& call : calls) {
    SCOPED_TRACE(call.change);
    call.make();
    std::vector<std::string> words{tone, a, b, "--out-dir", out};
    words.insert(words.end(), call.options.begin(), call.options.end());
    EXPECT_EQ(states(render_all(words)), call.states);
  }
}

TEST(Batch, TriesOnceMoreWhatDiedOrHangsAndNoOftener) {
  const struct {
    std::string chain;
    std::string first_time;  // a shell command, before the first host starts
    std::vector<std::string> options;
    std::string states;
    std::string error;
  } cases[] = {
      {"aumu:Bad_:Vesk", "export VESK_MISBEHAVE=exit-in-render=5", {}, "0: written/2", ""},
      // The whole process, as a file might that crashes what reads it.
      {"aumu:Bad_:Vesk", "kill -9 $PPID", {}, "0: written/2", ""},
      {"aumu:Bad_:Vesk#1=5", "", {}, "1: failed/2", "period 4 (at 0:00.043): "},
      {"aumu:Bad_:Vesk#17=1",
       "",
       {"--limit", "1"},
       "1: failed/2",
       "its process took longer than 1 seconds"},
      {"aumu:Null:Vesk",
       "",
       {"--strict"},
       "1: failed/1",
       "refused by --strict: the output is silent from beginning to end"},
      {"aumu:Bad_:Vesk",
       "export VESK_MISBEHAVE=nan-in-render=9",
       {"--verify"},
       "1: failed/1",
       "a second rendering differs from the first from frame 4096 on"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.chain + " " + test.first_time);
    const ScratchFolder folder;
    write_note(folder / "a.mid");
    ProgramOptions options = test_units;
    if (!test.first_time.empty())
      options.environment.push_back("VESK_HOST=" + host_that_recovers(folder, test.first_time));
    else if (test.chain.ends_with("#17=1"))
      options.environment.push_back("VESK_MISBEHAVE=hang-in-load=1");
    std::vector<std::string> words{test.chain, folder / "a.mid", "--out-dir", folder / "out"};
    words.insert(words.end(), test.options.begin(), test.options.end());
    const Json told = render_all(words, options);
    EXPECT_EQ(states(told), test.states);
    const std::string error = told["results"][0].value("error", std::string());
    EXPECT_NE(error.find(test.error), std::string::npos) << error;
    EXPECT_EQ(fs::exists(folder / "out/a.wav"), test.error.empty());
  }
}

/// Whether a process has the word in its command line.
bool runs_with(const std::string& word) {
  std::error_code gone;
  for (const auto& entry : fs::directory_iterator("/proc", gone)) {
    const Bytes line = file_bytes(entry.path() / "cmdline");
    if (std::string(line.begin(), line.end()).find(word) != std::string::npos) return true;
  }
  return false;
}

TEST(Batch, GoesOnAfterAnInterruption) {
  const ScratchFolder folder;
  const std::string out = folder / "out";
  write_note(folder / "a.mid");
  write_note(folder / "c.mid");
  // Many hours: long enough to be interrupted, whatever the machine.
  write_song(folder / "b.mid", {0x84, 0x80, 0x80, 0, 0xFF, 0x2F, 0});
  const std::vector<std::string> words{tone,
                                       folder / "a.mid",
                                       folder / "b.mid",
                                       folder / "c.mid",
                                       "--out-dir",
                                       out,
                                       "--jobs",
                                       "1",
                                       "--period",
                                       "16",
                                       "--tail",
                                       "0",
                                       "--json"};
  ProgramOptions options = test_units;
  options.meanwhile = [&](pid_t program) {
    EXPECT_TRUE(wait_until([&] { return runs_with("--midi=" + (folder / "b.mid")); }));
    kill(program, SIGINT);
  };
  const auto result = render(words, options);
  EXPECT_EQ(result.status, 128 + SIGINT) << result.errors;
  EXPECT_EQ(states(Json::parse(result.output, nullptr, false)),
            "1: written/1 not_done/1 not_done/0");
  EXPECT_EQ(sorted_names(folder, "out"), (std::vector<std::string>{".vesk-render", "a.wav"}));
  EXPECT_FALSE(runs_with("--midi=" + (folder / "b.mid"))) << "it is still at work";

  write_note(folder / "b.mid");
  EXPECT_EQ(states(Json::parse(render(words, test_units).output, nullptr, false)),
            "0: finished/0 written/1 written/1");
}

}  // namespace
