// The parts of vesk-list and vesk-edit, each alone: the command lines, what is printed and played.

#include <AudioToolbox/AudioToolbox.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/support/scratch_folder.hpp"
#include "tools/edit/arguments.hpp"
#include "tools/list/arguments.hpp"
#include "tools/list/parameter_listing.hpp"
#include "tools/list/plugin_listing.hpp"
#include "tools/list/problems.hpp"
#include "tools/midi/period_events.hpp"
#include "tools/midi/test_notes.hpp"
#include "tools/parameters/chain_settings.hpp"
#include "tools/parameters/names.hpp"
#include "tools/program/child_program.hpp"
#include "tools/program/json.hpp"

namespace vesk::tools {
namespace {

using namespace std::chrono_literals;

InstalledPlugin plugin(const char* type, const char* subtype, const char* manufacturer,
                       const std::string& name) {
  ComponentInfo info;
  info.desc = {pack_four_cc(type), pack_four_cc(subtype), pack_four_cc(manufacturer), 0, 0};
  info.name = name;
  return plugin_of(info);
}

TEST(listing, ALineHoldsWhatCanBePastedAndTheName) {
  const InstalledPlugins plugins{plugin("aumu", "Sm48", "LV2_", "David Robillard: MDA ePiano"),
                                 plugin("aufx", "a|b#", "LV2_", "Bad codes"),
                                 plugin("aumi", "abcd", "LV2_", "Maker: Arpeggiator"),
                                 plugin("auou", "genr", "appl", "Output"),
                                 plugin("augn", "nois", "Abcd", "two\nlines")};
  EXPECT_EQ(plugins_text(plugins, 0),
            "Arpeggiator\tMaker\tmidi-processor\t(not hosted)\n"
            "Bad codes\t\teffect\t(not hosted)\n"
            "MDA ePiano\tDavid Robillard\tinstrument\taumu:Sm48:LV2_\n"
            "Output\t\tauou\t(not hosted)\n"
            "two lines\t\tgenerator\taugn:nois:Abcd\n");
  EXPECT_EQ(plugins[1].not_hosted, "its codes cannot be written in a chain");
  EXPECT_EQ(plugins[3].not_hosted, "no host runs its type (auou)");
}

TEST(listing, ATableFitsItsTerminal) {
  const std::string maker = "A very long association of people";
  const InstalledPlugins plugins{
      plugin("aufx", "mono", "LV2_", maker + ": Fr\u00e9quency shifter of great length Mono"),
      plugin("aufx", "ster", "LV2_", maker + ": Fr\u00e9quency shifter of great length Stereo"),
      plugin("aumf", "pian", "LV2_", "Me: B")};
  EXPECT_EQ(plugins_text(plugins, 80),
            "name                               maker             type         specification\n"
            "B                                  Me                midi-effect  aumf:pian:LV2_\n"
            "Fr\u00e9quency shifter of gr\u2026ngth Mono  A very long ass\u2026  effect       "
            "aufx:mono:LV2_\n"
            "Fr\u00e9quency shifter of gr\u2026th Stereo  A very long ass\u2026  effect       "
            "aufx:ster:LV2_\n");
  EXPECT_NE(plugins_text(plugins, 200).find("great length Stereo  " + maker + "  effect"),
            std::string::npos);
}

TEST(listing, JsonHoldsEveryFieldAndAnyName) {
  InstalledPlugins plugins{plugin("aumu", "Sm48", "LV2_", "a\"\n\xff: b")};
  const auto list = Json::parse(plugins_json(plugins));
  EXPECT_EQ(list, Json::parse(R"([{"specification": "aumu:Sm48:LV2_", "name": "a\"\n\ufffd: b",
      "short_name": "b", "maker": "a\"\n\ufffd", "type": "aumu", "type_word": "instrument",
      "subtype": "Sm48", "manufacturer": "LV2_", "hosted": true, "v3": false,
      "sandbox_safe": false, "uri": null, "ports": null, "parameters": null, "presets": null,
      "editors": null, "classes": null}])"));
  EXPECT_EQ(Json::parse(plugins_json({})), Json::array());
}

TEST(problems, StandByReasonTheMostFrequentFirst) {
  EXPECT_EQ(
      problems_text({{"urn:a", "Maker: A", "it works on MIDI alone"},
                     {"urn:b", "B", "it has more than 2 main inputs or outputs (4 and 4)"},
                     {"urn:c", "urn:c", "it has more than 2 main inputs or outputs (0 and 9)"},
                     {"", "", "component bundle /x: its Info-gnustep.plist is broken"},
                     {"/y/", "", "its manifest has errors: 1:2: expected '.'"}}),
      "2: it has more than 2 main inputs or outputs\n"
      "  urn:b  B (4 and 4)\n"
      "  urn:c (0 and 9)\n"
      "1: a bundle of components is passed over\n"
      "  component bundle /x: its Info-gnustep.plist is broken\n"
      "1: it works on MIDI alone\n"
      "  urn:a  Maker: A\n"
      "1: its manifest has errors\n"
      "  /y/: 1:2: expected '.'\n");
}

TEST(parameters, StandInATableWithTheirValueNames) {
  const std::vector<ParameterDescription> parameters{
      {1, "Cutoff", 20.0f, 20'000.0f, 1'000.0f, "Hz", true, {}, "freq"},
      {12, "Mode \u00e4", 0.0f, 1.0f, 1.0f, "", true, {"low", "high"}, ""},
      {13, "Level", -60.0f, 0.0f, -60.0f, "dB", false, {}, "l"}};
  const std::vector<FileDescription> files{{"urn:x#ir", "Room", ""}, {"urn:x#s", "S", "/a b"}};
  EXPECT_EQ(parameters_text({parameters, {}, files, {}}),
            "id  symbol  name    range        default  unit\n"
            "1   freq    Cutoff  20 to 20000  1000     Hz\n"
            "12          Mode \u00e4  0 to 1       1\n"
            "      0 = low\n"
            "      1 = high\n"
            "13  l       Level   -60 to 0     -60      dB, read only\n"
            "file \"Room\": none\n"
            "file \"S\": /a b\n");
  std::vector<ParameterDescription> odd{parameters[1]};
  EXPECT_TRUE(parameters_text({odd, {}, {}, {}}).starts_with("id  name    range"))
      << "no symbols, no column";
  odd[0].minimum = 0.1f;
  odd[0].maximum = INFINITY;
  const std::string json = parameters_json("aufx:abcd:efgh", "Filter", {odd, {}, {}, {}});
  EXPECT_EQ(Json::parse(json),
            Json::parse(R"({"specification": "aufx:abcd:efgh", "name": "Filter", "parameters": [
      {"id": 12, "name": "Mode \u00e4", "symbol": "", "minimum": 0.1, "maximum": null, "default": 1.0, "unit": "",
       "writable": true, "values": ["low", "high"]}], "files": []})"));
  EXPECT_NE(json.find("\"minimum\": 0.1,"), std::string::npos) << "no more digits than it takes";
}

TEST(names, OfPresetsAndFilesAreFoundAsPeopleWriteThem) {
  const std::vector<PresetDescription> presets{{0, "Soft", false},  {1, "soft", false},
                                               {2, "7", false},     {7, "Twice", true},
                                               {8, "Twice", false}, {9, "Big Hall", false}};
  const std::pair<const char*, int> preset_cases[] = {
      {"Soft", 0},   {"soft", 1},     {"SOFT", -1}, {"7", 2},    {"8", 8},
      {"Twice", -1}, {"big hall", 9}, {"", -1},     {"Big", -1}, {"10", -1}};
  for (const auto& [name, number] : preset_cases) {
    std::string error;
    const PresetDescription* found = find_preset(presets, name, "it", error);
    EXPECT_EQ(found ? found->number : -1, number) << name;
    EXPECT_EQ(error.empty(), found != nullptr) << name;
  }
  std::string error;
  find_preset(presets, "twice", "it", error);
  EXPECT_EQ(error, "it has 2 presets \"twice\"; choose by number: 7 8");

  const std::vector<FileDescription> files{
      {"urn:x#ir", "Room", ""}, {"http://x/sample", "Sound", ""}, {"urn:y#ir", "Other", ""}};
  const std::pair<const char*, int> file_cases[] = {{"room", 0},   {"urn:y#ir", 2}, {"ir", -1},
                                                    {"Sample", 1}, {"sound", 1},    {"x", -1}};
  for (const auto& [name, index] : file_cases) {
    const FileDescription* found = find_file(files, name, "it", error);
    EXPECT_EQ(found ? found - files.data() : -1, index) << name;
  }
  EXPECT_EQ(error, "it has no file \"x\"; it has Room, Sound, Other");
}

TEST(settings, AreForTheFirstPluginUnlessTold) {
  ChainSettings settings;
  const std::vector<Option> options = setting_options(settings);
  std::string chain, error;
  ASSERT_TRUE(read_command_line(
      {"--preset", "2:Big: Hall", "--file", "ir=/a=b:c", "--file=2:s=d", "--preset", "Hall: big"},
      options, chain, error))
      << error;
  EXPECT_EQ(settings[0].preset, "Hall: big");
  EXPECT_EQ(settings[1].preset, "Big: Hall");
  using Files = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ(settings[0].files, (Files{{"ir", "/a=b:c"}}));
  EXPECT_EQ(settings[1].files, (Files{{"s", "d"}}));
  const std::pair<const char*, const char*> cases[] = {
      {"--preset=3:", "--preset needs a preset's name"},
      {"--preset=again", "--preset is given twice for one plugin"},
      {"--file=x", "--file takes NAME=PATH, not \"x\""},
      {"--file==x", "--file takes NAME=PATH, not \"=x\""},
      {"--file=x=", "--file takes NAME=PATH, not \"x=\""},
  };
  for (const auto& [word, message] : cases) {
    EXPECT_FALSE(read_command_line({word}, options, chain, error));
    EXPECT_EQ(error, message);
  }
}

TEST(list_arguments, AreReadOrRefusedInWords) {
  std::string error;
  EXPECT_EQ(parse_list_arguments({"--parameters=x"}, error)->parameters_of, "x");
  const auto found = parse_list_arguments({"two", "-t", "midi-effect", "words"}, error);
  EXPECT_EQ(found->words, (std::vector<std::string>{"two", "words"}));
  EXPECT_EQ(found->type, pack_four_cc("aumf"));
  EXPECT_EQ(parse_list_arguments({"--type=augn"}, error)->type, pack_four_cc("augn"));
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"-p"}, "-p needs a value"},
      {{"-p", "x", "--problems"},
       "one of --parameters, --presets, --instrument, --problems and --resolve, not more"},
      {{"-i", "x", "--presets", "x"},
       "one of --parameters, --presets, --instrument, --problems and --resolve, not more"},
      {{"--all"}, "unknown option --all"},
      {{"-p", "x", "piano"}, "cannot use piano"},
      {{"-t", "organ"},
       "-t takes one of instrument, effect, midi-effect, generator, midi-processor, not \"organ\""},
      {{"--set", "a=1"}, "--set is for --resolve"},
      {{"--resolve="}, "--resolve needs a chain"},
  };
  for (const auto& [words, message] : cases) {
    EXPECT_FALSE(parse_list_arguments(words, error));
    EXPECT_EQ(error, message);
  }
}

/// What vesk-edit does with words that need not be looked up.
std::optional<EditArguments> edit_arguments(const std::vector<std::string>& words,
                                            std::string& error) {
  auto arguments = parse_edit_arguments(words, error);
  if (arguments && !take_chain(*arguments, arguments->chain_words, error)) arguments.reset();
  return arguments;
}

TEST(edit_arguments, TakeWhatCanBeMeant) {
  std::string error;
  const auto all =
      edit_arguments({"exs:/a.exs@x|aufx:kZu9:LV2_|aufx:kZu9:LV2_#1=2@/p@q#1,2", "--copy-to=new@",
                      "--play", "s.mid", "-r", "44100", "--period=64"},
                     error);
  ASSERT_TRUE(all) << error;
  EXPECT_EQ(chain_text(all->chain), "exs:/a.exs@x|aufx:kZu9:LV2_|aufx:kZu9:LV2_#1=2@new@");
  EXPECT_EQ(all->original_path, "/p@q#1,2");
  EXPECT_EQ(all->copy_path, "new@");
  EXPECT_EQ(all->midi_path, "s.mid");
  EXPECT_EQ(all->sample_rate, 44'100);
  EXPECT_EQ(all->period, 64u);
  EXPECT_FALSE(all->plays_notes);
  const auto effect = edit_arguments({"--notes", "--", "aufx:kZu9:LV2_"}, error);
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
      {{"aumu:Sm48:LV2_", "--connect", "--period", "64"},
       "sample rate and period are the JACK server's"},
      {{"aumu:Sm48:LV2_", "--period", "4097"}, "--period takes 1 to 4096 frames, not \"4097\""},
      {{"aumu:Sm48:LV2_", "-r", "7999"}, "-r takes 8000 to 384000 Hz, not \"7999\""},
      {{"aufx:kZu9:LV2_", "--play", "s.mid"},
       "the chain starts with an effect that takes no MIDI events; --notes sends it tones"},
      {{"aumu:Sm48:LV2_", "--copy-to", "c"}, "the chain names no preset file to copy"},
      {{"aumu:Sm48:LV2_@a|aufx:kZu9:LV2_@b", "--copy-to", "c"},
       "the chain names 2 preset files, and one can be copied"},
      {{"aumu:Sm48:LV2_@a", "--copy-to", "c|d"}, "a chain cannot name c|d, because of its '|'"},
      {{"aumu:Sm48:LV2_", "--save"}, "--save, and the chain names no preset file (@path)"},
      {{"aumu:Sm48:LV2_", "--preset", "2:x"}, "--preset is for plugin 2 of a chain of 1"},
      {{"exs:/a.exs", "--file", "x=y"}, "--file is not for AUSampler: a.exs"},
      {{"aumu:Sm48:LV2_@a|aufx:kZu9:LV2_@a"}, "two plugins of the chain name the preset file a"},
      {{long_chain}, "a chain of more than 32 plugins cannot be shown"},
  };
  for (const auto& [words, message] : cases) {
    std::string error;
    EXPECT_FALSE(edit_arguments(words, error)) << message;
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
      {"trap '' TERM; echo out; while :; do sleep 0.1; done",
       1s,
       {1, "took longer than 1 seconds", "out\n", ""}},
      {"trap 'echo bye; exit 4' TERM; echo out; touch $0; while :; do sleep 0.1; done",
       60s,
       {4, "was stopped", "out\nbye\n", ""}},
      // What it leaves running has its pipes.
      {"sleep 60 & echo out", 60s, {0, "", "out\n", ""}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.script);
    std::string error;
    const auto start = std::chrono::steady_clock::now();
    const tests::ScratchFolder folder;
    const std::string stop = folder / "stop";
    const auto answer = run_child("/bin/sh", {"-c", test.script, stop}, test.limit, true, error,
                                  [&] { return std::filesystem::exists(stop); });
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
