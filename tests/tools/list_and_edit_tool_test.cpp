// The parts of vesk-list and vesk-edit, each alone: the command lines, what is printed and played.

#include <AudioToolbox/AudioToolbox.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tools/edit/arguments.hpp"
#include "tools/edit/test_notes.hpp"
#include "tools/list/arguments.hpp"
#include "tools/list/component_listing.hpp"
#include "tools/list/parameter_listing.hpp"
#include "tools/midi/period_events.hpp"
#include "tools/program/child_program.hpp"
#include "tools/program/json.hpp"

namespace vesk::tools {
namespace {

using namespace std::chrono_literals;

ComponentInfo component(const char* type, const char* subtype, const char* manufacturer,
                        const std::string& name) {
  ComponentInfo info;
  info.desc = {pack_four_cc(type), pack_four_cc(subtype), pack_four_cc(manufacturer), 0, 0};
  info.name = name;
  return info;
}

TEST(listing, ALineHoldsWhatCanBePastedAndTheName) {
  const std::vector<ComponentInfo> components{component("aumu", "Sm48", "LV2_", "MDA ePiano"),
                                              component("aufx", "a|b#", "LV2_", "Bad codes"),
                                              component("aumi", "abcd", "LV2_", "Arpeggiator"),
                                              component("auou", "genr", "appl", "Output"),
                                              component("augn", "ab\nd", "LV2_", "two\nlines")};
  EXPECT_EQ(listing_text(components),
            "aumu:Sm48:LV2_  MDA ePiano\n"
            "aufx:a|b#:LV2_  Bad codes  (its codes cannot be written in a chain)\n"
            "aumi:abcd:LV2_  Arpeggiator  (MIDI processor, not hosted)\n"
            "auou:genr:appl  Output  (not hosted)\n"
            "augn:ab d:LV2_  two lines  (its codes cannot be written in a chain)\n");
}

TEST(listing, JsonHoldsEveryFieldAndAnyName) {
  const auto list = Json::parse(listing_json({component("aumu", "Sm48", "LV2_", "a\"\n\xff")}));
  EXPECT_EQ(list, Json::parse(R"([{"specification": "aumu:Sm48:LV2_", "name": "a\"\n\ufffd",
      "type": "aumu", "subtype": "Sm48", "manufacturer": "LV2_", "hosted": true, "v3": false,
      "sandbox_safe": false}])"));
  EXPECT_EQ(Json::parse(listing_json({})), Json::array());
}

TEST(parameters, StandInATableWithTheirValueNames) {
  const std::vector<ParameterDescription> parameters{
      {1, "Cutoff", 20.0f, 20'000.0f, 1'000.0f, "Hz", true, {}},
      {12, "Mode \u00e4", 0.0f, 1.0f, 1.0f, "", true, {"low", "high"}},
      {13, "Level", -60.0f, 0.0f, -60.0f, "dB", false, {}}};
  EXPECT_EQ(parameters_text(parameters),
            "id  name    range        default  unit\n"
            "1   Cutoff  20 to 20000  1000     Hz\n"
            "12  Mode \u00e4  0 to 1       1\n"
            "      0 = low\n"
            "      1 = high\n"
            "13  Level   -60 to 0     -60      dB, read only\n");
  std::vector<ParameterDescription> odd{parameters[1]};
  odd[0].minimum = 0.1f;
  odd[0].maximum = INFINITY;
  const std::string json = parameters_json("aufx:abcd:efgh", "Filter", odd);
  EXPECT_EQ(Json::parse(json),
            Json::parse(R"({"specification": "aufx:abcd:efgh", "name": "Filter", "parameters": [
      {"id": 12, "name": "Mode \u00e4", "minimum": 0.1, "maximum": null, "default": 1.0, "unit": "",
       "writable": true, "values": ["low", "high"]}]})"));
  EXPECT_NE(json.find("\"minimum\": 0.1,"), std::string::npos) << "no more digits than it takes";
}

TEST(list_arguments, AreReadOrRefusedInWords) {
  std::string error;
  EXPECT_EQ(parse_list_arguments({"--parameters=x"}, error)->parameters_of, "x");
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"-p"}, "-p needs a value"},
      {{"-p", "x", "--problems"}, "one of --parameters, --instrument and --problems, not more"},
      {{"-p", "x", "-i", "y"}, "one of --parameters, --instrument and --problems, not more"},
      {{"--all"}, "unknown option --all"},
      {{"piano"}, "cannot use piano"},
  };
  for (const auto& [words, message] : cases) {
    EXPECT_FALSE(parse_list_arguments(words, error));
    EXPECT_EQ(error, message);
  }
}

TEST(edit_arguments, TakeWhatCanBeMeant) {
  std::string error;
  const auto all =
      parse_edit_arguments({"exs:/a.exs@x|aufx:kZu9:LV2_|aufx:kZu9:LV2_#1=2@/p@q#1,2",
                            "--copy-to=new@", "--play", "s.mid", "-r", "44100", "--period=64"},
                           error);
  ASSERT_TRUE(all) << error;
  EXPECT_EQ(chain_text(all->chain), "exs:/a.exs@x|aufx:kZu9:LV2_|aufx:kZu9:LV2_#1=2@new@");
  EXPECT_EQ(all->original_path, "/p@q#1,2");
  EXPECT_EQ(all->copy_path, "new@");
  EXPECT_EQ(all->midi_path, "s.mid");
  EXPECT_EQ(all->sample_rate, 44'100);
  EXPECT_EQ(all->period, 64u);
  EXPECT_FALSE(all->plays_notes);
  const auto effect = parse_edit_arguments({"--notes", "--", "aufx:kZu9:LV2_"}, error);
  ASSERT_TRUE(effect) << error;
  EXPECT_TRUE(effect->plays_notes);
}

TEST(edit_arguments, RefuseTheRestInWords) {
  std::string long_chain = "aumu:Sm48:LV2_";
  for (int i = 0; i < 32; ++i) long_chain += "|aufx:kZu9:LV2_";
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{}, "no chain given"},
      {{"piano"}, "chain \"piano\": expected TYPE:SUBTYPE:MANUFACTURER, as vesk-list prints it"},
      {{"aumu:Sm48:LV2_", "--play="}, "--play needs a file name"},
      {{"aumu:Sm48:LV2_", "--notes", "--play", "s.mid"}, "--play or --notes, not both"},
      {{"aumu:Sm48:LV2_", "--period", "4097"}, "--period takes 1 to 4096 frames, not \"4097\""},
      {{"aumu:Sm48:LV2_", "-r", "7999"}, "-r takes 8000 to 384000 Hz, not \"7999\""},
      {{"aufx:kZu9:LV2_", "--play", "s.mid"},
       "the chain starts with an effect that takes no MIDI events; --notes sends it tones"},
      {{"aumu:Sm48:LV2_", "--copy-to", "c"}, "the chain names no preset file to copy"},
      {{"aumu:Sm48:LV2_@a|aufx:kZu9:LV2_@b", "--copy-to", "c"},
       "the chain names 2 preset files, and one can be copied"},
      {{"aumu:Sm48:LV2_@a", "--copy-to", "c|d"}, "a chain cannot name c|d, because of its '|'"},
      {{"aumu:Sm48:LV2_@a|aufx:kZu9:LV2_@a"}, "two plugins of the chain name the preset file a"},
      {{long_chain}, "a chain of more than 32 plugins cannot be shown"},
  };
  for (const auto& [words, message] : cases) {
    std::string error;
    EXPECT_FALSE(parse_edit_arguments(words, error)) << message;
    EXPECT_EQ(error, message);
  }
}

TEST(edit_notes, BecomeTonesAtTheirFrames) {
  const Song song = test_notes();
  PeriodEvents events(song, 48'000);
  PluckedTone tone(48'000);
  std::vector<float> sound(96'000);
  for (std::size_t start = 0; start < sound.size(); start += 96)
    tone.play(events.next(96).events, std::span(sound).subspan(start, 96));
  const auto peak = [&](std::size_t from, std::size_t count) {
    float most = 0;
    for (std::size_t i = from; i < from + count; ++i) most = std::max(most, std::abs(sound[i]));
    return most;
  };
  // Eight notes, each louder than the one before and all but gone when the next begins.
  for (std::size_t note = 0; note < 8; ++note) {
    const std::size_t start = note * 12'000;
    EXPECT_GT(peak(start, 1000), 0.9f * 0.5f * (40.0f + 12.0f * static_cast<float>(note)) / 127.0f)
        << note;
    EXPECT_LT(peak(start + 11'500, 500), 0.2f * peak(start, 1000)) << note;
  }
  EXPECT_EQ(song.length_seconds, 2.0);
}

TEST(child_program, IsHeardToItsEndAndNotForEver) {
  const struct {
    const char* script;
    std::chrono::seconds limit;
    ChildAnswer answer;
  } cases[] = {
      {"echo out; echo err >&2; exit 3", 60s, {3, "", "out\n", "err\n"}},
      {"echo out; kill -9 $$", 60s, {1, "was ended by signal 9 (Killed)", "out\n", ""}},
      {"echo out; exec sleep 60", 1s, {1, "took longer than 1 seconds", "out\n", ""}},
      // What it leaves running has its pipes.
      {"sleep 60 & echo out", 60s, {0, "", "out\n", ""}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.script);
    std::string error;
    const auto start = std::chrono::steady_clock::now();
    const auto answer = run_child("/bin/sh", {"-c", test.script}, test.limit, true, error);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 50s);
    ASSERT_TRUE(answer) << error;
    EXPECT_EQ(answer->status, test.answer.status);
    EXPECT_EQ(answer->ending, test.answer.ending);
    EXPECT_EQ(answer->output, test.answer.output);
    EXPECT_EQ(answer->errors, test.answer.errors);
  }
  std::string error;
  EXPECT_FALSE(run_child("/no such program", {}, 1s, true, error));
  EXPECT_EQ(error, "/no such program: No such file or directory");
}

}  // namespace
}  // namespace vesk::tools
