// Presets and files by name, as a person gives them: to vesk-render, to vesk-edit --save, and shown
// by vesk-list. The plugin plays the sum of the numbers in its files
// (tests/components/lv2/files.c).

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/support/lv2_bundles.hpp"
#include "tests/support/program.hpp"
#include "tests/tools/sound_file.hpp"
#include "tools/program/json.hpp"

namespace {

using namespace vesk::tests;
using vesk::tools::Json;

const std::string plugin = "aumu:Uv7S:LV2_";

class Settings : public testing::Test {
 protected:
  void SetUp() override {
    write_file(half_, "0.5");
    write_file(words_, "no number");
    std::filesystem::create_directory(folder_ / "tmp");
  }

  ProgramResult run(const char* program, std::vector<std::string> words) const {
    words.insert(words.begin(), build_tree() + "/bin/" + program);
    return run_program(words,
                       {.environment = {"HOME=" + folder_.path(), "TMPDIR=" + folder_ / "tmp",
                                        "VESK_CACHE=" + folder_ / "cache",
                                        "LV2_PATH=" + build_tree() + "/lv2:" + folder_ / "lv2"}});
  }

  /// What is heard of `chain`: all samples are the same.
  float heard(const std::string& chain, const std::vector<std::string>& settings) const {
    std::vector<std::string> words{chain, "-m", VESK_SONGS "/demo.mid", "-o",
                                   out_,  "-q", "--duration=0.1",       "--tail=0"};
    words.insert(words.end(), settings.begin(), settings.end());
    const auto result = run("vesk-render", words);
    EXPECT_EQ(result.status, 0) << result.errors;
    said_ = result.errors;
    const std::vector<float> samples = read_sound(out_).samples;
    const auto [least, most] = std::ranges::minmax(samples);
    EXPECT_EQ(least, most);
    return most;
  }

  const ScratchFolder folder_;
  const std::string half_ = folder_ / "half.txt", words_ = folder_ / "words.txt",
                    out_ = folder_ / "out.wav", preset_ = folder_ / "p.aupreset";
  mutable std::string said_;
};

TEST_F(Settings, AreHeardAndLeaveNothingBehind) {
  const struct {
    const char* name;
    std::string chain;
    std::vector<std::string> settings;
    float heard;
  } cases[] = {
      {"a preset by name", plugin, {"--preset", "own"}, 0.125f},
      {"a preset by number", plugin, {"--preset", "1"}, 0.125f},
      {"a file by its label", plugin, {"--file", "a sample=" + half_}, 0.5f},
      {"a file by its key's end", plugin, {"--file", "1:quiet=" + half_}, 0.5f},
      {"both, files last", plugin, {"--file", "quiet=" + half_, "--preset", "Own"}, 0.625f},
      {"beside a parameter", plugin + "#4=2", {"--file", "quiet=" + half_}, 1.0f},
      {"a preset over a parameter",
       plugin + "#4=2",
       {"--preset", "Half", "--file", "quiet=" + half_},
       0.25f},
      {"over a preset file", plugin + "@" + preset_, {"--preset", "Half"}, 0.0625f},
  };
  ASSERT_EQ(run("vesk-edit", {plugin + "@" + preset_, "--preset=Own", "--save"}).status, 0);
  const Bytes saved = file_bytes(preset_);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(heard(c.chain, c.settings), c.heard);
  }
  EXPECT_EQ(file_bytes(preset_), saved) << "a rendering rewrites no preset";
  EXPECT_TRUE(std::filesystem::is_empty(folder_ / "tmp"));
}

TEST_F(Settings, ThatCannotBeHadAreSaidInWords) {
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"--preset", "Hall"}, " has no preset \"Hall\"; vesk-list --presets " + plugin},
      {{"--file", "room=" + half_}, " has no file \"room\"; it has A Sample, Quiet, "},
      {{"--file", "refused=" + half_}, " does not take " + half_ + " as its "},
      {{"--file", "quiet=" + words_}, " does not take " + words_ + " as its Quiet"},
      {{"--file", "quiet=/not/here"}, "/not/here does not exist"},
  };
  for (const auto& [settings, message] : cases) {
    std::vector<std::string> words{plugin, "-m", VESK_SONGS "/demo.mid", "-o", out_};
    words.insert(words.end(), settings.begin(), settings.end());
    const auto result = run("vesk-render", words);
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.errors.find(message), std::string::npos) << result.errors;
    EXPECT_FALSE(std::filesystem::exists(out_));
    EXPECT_TRUE(std::filesystem::is_empty(folder_ / "tmp"));
  }
}

TEST_F(Settings, AreSavedWithoutAWindowAndKeepWhatWasThere) {
  const std::string chain = plugin + "#4=2@" + preset_;
  const auto first = run("vesk-edit", {chain, "--file", "quiet=" + half_, "--save"});
  EXPECT_EQ(first.status, 0) << first.errors;
  EXPECT_EQ(first.output, preset_ + ": does not exist yet\n" + preset_ + ": rewritten\n");
  EXPECT_EQ(heard(plugin + "@" + preset_, {}), 1.0f);
  const Bytes made = file_bytes(preset_);

  const auto second = run("vesk-edit", {chain, "--preset", "own", "--save"});
  EXPECT_EQ(second.status, 0) << second.errors;
  EXPECT_EQ(file_bytes(preset_ + "~"), made);
  EXPECT_EQ(heard(plugin + "@" + preset_, {}), 0.25f);

  const auto failed = run("vesk-edit", {chain, "--preset", "none", "--save"});
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(heard(plugin + "@" + preset_, {}), 0.25f);
  EXPECT_EQ(file_bytes(preset_ + "~"), made) << "what was not changed is not kept";
}

TEST_F(Settings, NameAFileThatHasMoved) {
  ASSERT_EQ(run("vesk-edit", {plugin + "@" + preset_, "--file", "quiet=" + half_, "--save"}).status,
            0);
  std::filesystem::rename(half_, folder_ / "moved.txt");
  const std::string gone =
      "vesk-render: Test Files: the file " + half_ + " is not there any more\n";
  EXPECT_EQ(heard(plugin + "@" + preset_, {}), 0.0f);
  EXPECT_TRUE(said_.starts_with(gone)) << said_;
  EXPECT_EQ(heard(plugin + "@" + preset_, {"--file", "quiet=" + folder_ / "moved.txt"}), 0.5f);
  EXPECT_EQ(said_, gone);
}

TEST_F(Settings, AreListedWithTheUsersOwn) {
  std::filesystem::create_directories(folder_ / "lv2/mine.lv2");
  write_turtle(folder_ / "lv2/mine.lv2/manifest.ttl",
               "<urn:mine> a pset:Preset ; lv2:appliesTo <urn:vesk:test:files> ; "
               "rdfs:label \"Mine\" ; rdfs:seeAlso <mine.ttl> .");
  write_turtle(folder_ / "lv2/mine.lv2/mine.ttl",
               "<urn:mine> a pset:Preset ; lv2:appliesTo <urn:vesk:test:files> ; "
               "rdfs:label \"Mine\" ; lv2:port [ lv2:symbol \"gain\" ; pset:value 3.0 ] .");
  EXPECT_EQ(run("vesk-list", {"--presets", plugin}).output,
            plugin + "  Test Files\n   0  Half\n   1  Mine  (yours)\n   2  Own\n");
  const auto json = Json::parse(run("vesk-list", {"--presets", plugin, "--json"}).output);
  EXPECT_EQ(json["presets"][1], Json::parse(R"({"number": 1, "name": "Mine", "user": true})"));
  EXPECT_EQ(heard(plugin, {"--preset", "mine", "--file", "quiet=" + half_}), 1.5f);
  EXPECT_EQ(run("vesk-list", {"--presets", "aumu:none:LV2_"}).status, 1);
}

}  // namespace
