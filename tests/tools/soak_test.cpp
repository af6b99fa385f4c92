// vesk-soak as a person runs it, on units that do one wrong thing each: every fault by its name.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "tests/support/program.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tools/program/json.hpp"
#include "tools/soak/report.hpp"
#include "tools/soak/report_formats.hpp"

namespace {

using namespace vesk::tests;
using vesk::tools::Json;

ProgramResult soak(std::vector<std::string> words, const std::string& misbehaviour = {}) {
  words.insert(words.begin(), build_tree() + "/bin/vesk-soak");
  return run_program(words, {.environment = {"AUDIO_COMPONENT_PATH=" + build_tree() + "/components",
                                             "LV2_PATH=" + build_tree() + "/lv2",
                                             "VESK_MISBEHAVE=" + misbehaviour}});
}

/// The outcome, the kinds of the remarks, and the sentences of one component.
std::string told_of(const ProgramResult& result) {
  const Json told = Json::parse(result.output, nullptr, false);
  if (!told.is_object() || told.at("components").size() != 1) return result.output + result.errors;
  const Json& component = told.at("components")[0];
  std::string text = component.at("outcome").get<std::string>();
  for (const Json& remark : component.at("remarks"))
    text += " " + remark.at("kind").get<std::string>();
  text += ": " + component.at("reason").get<std::string>();
  for (const Json& remark : component.at("remarks")) text += remark.at("text").get<std::string>();
  return text;
}

#ifdef VESK_SANITIZER
constexpr bool watches_calls = false;
#else
constexpr bool watches_calls = true;
#endif

TEST(Soak, NamesEveryMisbehaviourRightly) {
  const struct {
    const char* plugin;
    const char* misbehaviour;
    const char* stages;
    int status;
    const char* told;
    bool needs_watch = false;
  } cases[] = {
      {"aumu:none:Vesk", "", "play", 1, "refused: play: aumu:none:Vesk is not installed"},
      {"aumu:Bad_:Vesk", "fail-in-load=1", "play", 1, "refused: play: "},
      {"aumu:Bad_:Vesk", "crash-in-load=1", "play", 1, "crash: play: the host did not start"},
      {"aumu:Bad_:Vesk", "hang-in-load=1", "play", 1, "hang: play: "},
      {"aumu:Bad_:Vesk", "exit-in-render=3", "play", 1,
       "crash: play: the host ended with status 3"},
      {"aumu:Bad_:Vesk", "spin-in-render=3", "play", 1, "hang: play: no answer for 1 s"},
      {"aumu:Bad_:Vesk", "nan-in-render=3", "play", 1, "not finite: play: period 3 of 512 frames"},
      {"aumu:Bad_:Vesk", "hang-in-close", "play", 1, "hang: play: not closed after 1 s"},
      {"aumu:Null:Vesk", "", "play", 1, "silent: no sound"},
      {"aumu:Tone:Vesk", "", "play,calls,sweep,state,lengths,tail,each,rates", 0, "ok: "},
      {"aufx:Gain:Vesk", "", "play,calls,sweep,state,lengths,latency", 0, "ok: "},
      {"aumu:Bad_:Vesk", "allocate-in-render=3", "calls", 1,
       "ok memory: calls: allocates or frees memory in 373 of 375 periods", true},
      {"aumu:Bad_:Vesk", "lock-in-render=1", "calls", 1, "ok lock: calls: takes locks in 375",
       true},
      {"aumu:Bad_:Vesk", "sleep-in-render=1", "calls", 1, "ok wait: calls: waits or sleeps", true},
      {"aumu:Bad_:Vesk", "late-in-render=1,late-ms=4", "pace", 0, "ok load: real time: half"},
      {"aumu:Bad_:Vesk", "crash-in-state", "state", 1, "crash: state: "},
      {"aumu:Bad_:Vesk", "refuse-class-info=1", "state", 1, "ok state: state: it cannot be saved"},
      {"aumu:Bad_:Vesk", "refuse-class-info=2", "state", 1,
       "ok state: state: what it has saved it does not take: preset restore failed"},
      {"aufx:Lost:Vesk", "", "play,state", 1,
       "ok state: state: a parameter comes back as something else: Forgotten"},
      {"aufx:Bad_:Vesk", "latency-ms=10", "latency", 0,
       "ok latency: latency: reports 480 frames, and an impulse comes back after 0"},
      {"Test Late", "", "latency", 0,
       "ok latency: latency: reports 0 frames, and an impulse comes back after 100"},
      {"Test Echo", "", "latency", 0, "ok: "},  // the same, and says that it is a delay
      {"Test Files", "", "play", 1,
       "silent: no sound came in the whole life; it has no file as \"A Sample\""},
  };
  for (const auto& test : cases) {
    if (test.needs_watch && !watches_calls) continue;
    SCOPED_TRACE(std::string(test.plugin) + " " + test.misbehaviour);
    // Patience is what a hang costs this test; what answers has more than it takes.
    const bool hangs = std::string(test.told).starts_with("hang");
    const auto result = soak({test.plugin, "--level", "8", "--no-editors", "--json", "--stages",
                              test.stages, "--patience", hangs ? "1" : "20"},
                             test.misbehaviour);
    EXPECT_EQ(result.status, test.status) << result.errors;
    EXPECT_TRUE(told_of(result).starts_with(test.told)) << told_of(result);
  }
}

TEST(Soak, OutlivesACrashBesideOthersAndWritesAJUnitFile) {
  const ScratchFolder folder;
  const auto result = soak(
      {"aumu:Bad_:Vesk", "aumu:Tone:Vesk", "vesk: gain", "-l", "1", "--junit", folder / "soak.xml"},
      "crash-in-render=2");
  EXPECT_EQ(result.status, 1) << result.errors;
  EXPECT_NE(result.output.find("2 of 3 passed: 2 ok (0 with remarks), 1 crash\n"),
            std::string::npos)
      << result.output;
  const Bytes bytes = file_bytes(folder / "soak.xml");
  const std::string text(bytes.begin(), bytes.end());
  EXPECT_NE(text.find("tests=\"3\" failures=\"1\""), std::string::npos) << text;
  EXPECT_NE(text.find("<failure message=\"crash\">play: "), std::string::npos) << text;
}

TEST(Soak, OpensEditorsOnADisplayOfItsOwn) {
  if (std::system("command -v Xvfb >/dev/null") != 0) GTEST_SKIP() << "Xvfb is not installed";
  const auto result = soak({"aumu:Tone:Vesk", "-l", "6", "--stages", "play,editor", "--json"});
  EXPECT_EQ(told_of(result), "ok: ");
  EXPECT_NE(result.output.find("\"editor_opened\": true"), std::string::npos) << result.output;
}

TEST(Soak, ReportsHoldWhateverPluginsSay) {
  vesk::tools::SoakResult result;
  result.specification = "aufx:<&>\":Vesk";
  result.name = "A|B\x01";
  result.outcome = vesk::tools::Outcome::crash;
  result.reason = "play: \"<x>\" | y\nz";
  const auto junit = vesk::tools::soak_junit({result}, false);
  EXPECT_NE(junit.find("classname=\"aufx:&lt;&amp;&gt;&quot;:Vesk\" name=\"A|B?\""),
            std::string::npos)
      << junit;
  const auto table = vesk::tools::soak_markdown({result}, false);
  EXPECT_NE(table.find("| play: \"<x>\" \\| y; z |\n"), std::string::npos) << table;
  result.outcome = vesk::tools::Outcome::ok;
  result.remarks = {{"latency", "late", false}};
  EXPECT_TRUE(vesk::tools::has_passed(result, false));
  EXPECT_FALSE(vesk::tools::has_passed(result, true));
}

TEST(Soak, RefusesCommandLinesThatMakeNoSense) {
  const std::vector<std::string> cases[] = {{},
                                            {"--all", "tone"},
                                            {"tone", "--level", "11"},
                                            {"tone", "--stages", "play,nothing"},
                                            {"no such name"},
                                            {"aumu:Tone:Vesk#0=1"},
                                            {"tone", "--json", "--markdown"}};
  for (const auto& words : cases) {
    const auto result = soak(words);
    EXPECT_EQ(result.status, 2) << result.errors;
    EXPECT_EQ(std::ranges::count(result.errors, '\n'), 1) << result.errors;
  }
}

}  // namespace
