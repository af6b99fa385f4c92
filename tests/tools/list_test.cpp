// vesk-list as a person runs it, beside plugins and bundles with faults.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/sampler/exs_writer.hpp"
#include "tests/sampler/sample_files.hpp"
#include "tests/support/lv2_bundles.hpp"
#include "tests/support/program.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tools/program/json.hpp"
#include "vesk/plugin_names.hpp"

namespace {

using namespace vesk::tests;
using vesk::tools::Json;

/// Finds the units that misbehave on command (tests/components/misbehaving/commands.h).
const ProgramOptions test_units{
    .environment = {"AUDIO_COMPONENT_PATH=" + build_tree() + "/components"}};

ProgramResult list(std::vector<std::string> words, const ProgramOptions& options) {
  words.insert(words.begin(), build_tree() + "/bin/vesk-list");
  return run_program(words, options);
}

TEST(List, ShowsWhatIsInstalledAndItsParameters) {
  const auto listed = list({}, test_units), shown = list({"-p", "aufx:Gain:Vesk"}, test_units);
  EXPECT_EQ(listed.status + shown.status, 0) << listed.errors << shown.errors;
  EXPECT_NE(listed.output.find("\teffect\taufx:Gain:Vesk\n"), std::string::npos) << listed.output;
  EXPECT_NE(shown.output.find("  0 to 4  "), std::string::npos) << shown.output;
  EXPECT_EQ(
      list({"-p", "aumu:none:Here"}, test_units).errors,
      "vesk-list: aumu:none:Here is not installed; vesk-list without arguments shows what is\n");
}

TEST(List, OutlivesAPluginAndSaysWhatBecameOfIt) {
  const std::pair<const char*, const char*> cases[] = {
      {"crash-in-load=2", "cannot be opened: its process "},
      {"exit-in-load=2", "cannot be opened: its process ended without an answer\n"},
      {"fail-in-load=2", "cannot be opened (OSStatus -10875)\n"},
  };
  for (const auto& [fault, ending] : cases) {
    ProgramOptions options = test_units;
    options.environment.push_back("VESK_MISBEHAVE=" + std::string(fault));
    const auto result = list({"--parameters", "aumu:Bad_:Vesk"}, options);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(std::ranges::count(result.errors, '\n'), 1) << result.errors;
    EXPECT_TRUE(result.errors.starts_with("vesk-list: aumu:Bad_:Vesk " + std::string(ending)))
        << result.errors;
  }
}

TEST(List, ShowsWhatIsNotListedAndReadsItAnewWhenTold) {
  const ScratchFolder folder;
  const std::string lv2 = folder / "lv2", components = folder / "components";
  write_plain_bundle(lv2 + "/a.lv2", "urn:vesk:a", "A");
  write_plain_bundle(lv2 + "/c.lv2", "urn:vesk:plugin-crashes", "C");
  write_bundle(lv2 + "/d.lv2", "urn:vesk:d", "doap:name \"D\\tE\"");
  std::filesystem::create_directories(lv2 + "/n.lv2");
  write_file(lv2 + "/n.lv2/manifest.ttl", "<urn:vesk:n> a ; [");
  std::filesystem::create_directories(components + "/x.component/Resources");
  write_file(components + "/x.component/Resources/Info-gnustep.plist", "nonsense");
  settle(folder.path());
  ProgramOptions options{.environment = {"LV2_PATH=" + lv2, "VESK_CACHE=" + folder / "cache",
                                         "AUDIO_COMPONENT_PATH=" + components}};
  ProgramOptions faults = options;
  faults.environment.emplace_back("LD_PRELOAD=" VESK_READER_FAULTS);
  ASSERT_EQ(list({}, faults).status, 0);

  const auto before = list({"--problems"}, options);
  EXPECT_EQ(before.status, 0) << before.errors;
  EXPECT_EQ(before.errors, "");
  for (const std::string& expected :
       {std::string("1: it has neither audio nor MIDI ports\n  urn:vesk:d  D E\n"),
        std::string("1: its description crashed its reader\n  urn:vesk:plugin-crashes (Aborted)\n"),
        "1: its library cannot be opened\n  urn:vesk:a  A: " + lv2 +
            "/a.lv2/plugin.so: cannot open shared object file",
        "1: its manifest has errors\n  " + lv2 + "/n.lv2/: ",
        "1: a bundle of components is passed over\n  component bundle " + components +
            "/x.component: "})
    EXPECT_NE(before.output.find(expected), std::string::npos) << before.output;
  EXPECT_EQ(std::ranges::count(before.output, '\n'), 10) << before.output;

  const auto after = Json::parse(list({"--problems", "--rescan", "--json"}, options).output);
  ASSERT_EQ(after.size(), 5u) << after;
  EXPECT_EQ(after[1], Json::parse(R"({"what": "urn:vesk:d", "name": "D E",
                                      "reason": "it has neither audio nor MIDI ports"})"));
  const auto listed = list({}, options);
  EXPECT_NE(listed.output.find("C\t\teffect\t"), std::string::npos) << listed.output;

  options.environment.emplace_back("VESK_LV2_SCAN=/bin/false");
  const auto failed = list({"--problems"}, options);
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(failed.errors, "vesk-list: /bin/false ended with status 1\n");
}

TEST(List, FindsWhatIsMeant) {
  const ScratchFolder folder;
  const std::string lv2 = folder / "lv2";
  write_bundle(lv2 + "/hall.lv2", "urn:vesk:hall",
               R"(a lv2:ReverbPlugin ; doap:name "Hall" ;
      doap:maintainer [ foaf:name "Some One" ] ; ui:ui <urn:vesk:ui> ; )" +
                   through_ports(R"(,
      [ a lv2:ControlPort, lv2:InputPort ; lv2:index 2 ; lv2:symbol "t60" ; lv2:name "Time" ] ,
      [ a lv2:ControlPort, lv2:OutputPort ; lv2:index 3 ; lv2:symbol "out_l" ; lv2:name "Level" ] ,
      [ a atom:AtomPort, lv2:InputPort ; lv2:index 4 ; lv2:symbol "notes" ; lv2:name "Notes" ;
        atom:bufferType atom:Sequence ; atom:supports midi:MidiEvent ])") +
                   " . <urn:vesk:ui> a ui:X11UI ; ui:binary <ui.so>",
               "<urn:vesk:p> a pset:Preset ; lv2:appliesTo <urn:vesk:hall> ; rdfs:label \"P\" .");
  write_plain_bundle(lv2 + "/organ.lv2", "urn:vesk:organ", "Organ");
  settle(folder.path());
  const ProgramOptions options{
      .environment = {"LV2_PATH=" + lv2, "VESK_CACHE=" + folder / "cache"}};

  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"reverb", "ONE"}, {"-t", "midi-effect"}, {"vesk:hall"}}) {
    const auto found = list(words, options);
    EXPECT_TRUE(found.output.starts_with("Hall\tSome One\tmidi-effect\taumf:")) << found.errors;
    EXPECT_EQ(std::ranges::count(found.output, '\n'), 1) << found.output;
  }
  const auto none = list({"-t", "generator"}, options);
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.errors,
            "vesk-list: nothing that is installed is of that kind; vesk-list --problems shows what "
            "is not hosted\n");
  const auto told = Json::parse(list({"hall", "--json"}, options).output);
  ASSERT_EQ(told.size(), 1u);
  EXPECT_EQ(told[0]["uri"], "urn:vesk:hall");
  EXPECT_EQ(told[0]["ports"], Json::parse(R"({"audio_inputs": 1, "audio_outputs": 1,
      "midi_inputs": 1, "midi_outputs": 0, "cv_inputs": 0, "cv_outputs": 0})"));
  EXPECT_EQ(told[0]["parameters"], 1);
  EXPECT_EQ(told[0]["presets"], 1);
  EXPECT_EQ(told[0]["editors"], Json::parse(R"(["X11UI"])"));
}

TEST(List, LooksUpNamesForItselfAndForOtherPrograms) {
  const ScratchFolder folder;
  const ProgramOptions options{
      .environment = {"LV2_PATH=" + build_tree() + "/lv2", "VESK_CACHE=" + folder / "cache"}};
  const auto resolved = list({"--resolve", "test mono#CUTOFF=0.2@p", "--set=gain=2"}, options);
  EXPECT_EQ(resolved.errors, "");
  EXPECT_TRUE(resolved.output.starts_with("aufx:")) << resolved.output;
  EXPECT_TRUE(resolved.output.ends_with(":LV2_#7=0.2,3=2@p\n")) << resolved.output;
  const auto shown = list({"-p", "Test Mono"}, options);
  EXPECT_NE(shown.output.find("\n7   cutoff  Cutoff  "), std::string::npos) << shown.output;
  EXPECT_EQ(shown.output.substr(0, 14), resolved.output.substr(0, 14));

  const Environment lv2("LV2_PATH", build_tree() + "/lv2"), cache("VESK_CACHE", folder / "cache");
  vesk::client::NamedChain chain{"urn:vesk:test:mono#cutoff=0.2@p", {"gain=2"}};
  std::string error;
  EXPECT_EQ(vesk::client::specification_of(chain, error).value_or("") + "\n", resolved.output)
      << error;
  chain.text = "Test Momo";
  EXPECT_FALSE(vesk::client::specification_of(chain, error));
  EXPECT_EQ(error, "no plugin is called \"Test Momo\"; near it: Test Mono");
}

TEST(List, ShowsWhatAnInstrumentHolds) {
  const ScratchFolder folder;
  const std::string path = folder / "pad.exs";
  ASSERT_TRUE(
      write_exs(path, {.name = "Pad\n1",
                       .zones = {{.key_low = 48, .key_high = 50, .has_loop = true, .loop_end = 90},
                                 {.sample = 1,
                                  .group = 0,
                                  .key_low = 36,
                                  .key_high = 36,
                                  .root_key = 36,
                                  .is_one_shot = true}},
                       .groups = {{.name = "Hats", .polyphony = 1}},
                       .samples = {{.folder = "/V/Pads", .file_name = "pad.wav"},
                                   {.folder = "/V/Kit", .file_name = "hat.wav"}}}));
  ASSERT_TRUE(write_sine(folder / "pads/PAD.wav", {.frames = 10'000}));
  const auto shown = list({"--instrument", path}, test_units);
  EXPECT_EQ(shown.status, 0) << shown.errors;
  EXPECT_EQ(shown.output, "Pad 1\n2 zones, 2 samples, 40 kB, at most 16 voices\n1 found, " +
                              folder / "pads" +
                              "\n1 missing, /V/Kit\n\n"
                              "        C1          C2\n"
                              "        C D EF G A BC D EF G A B\n"
                              "  1-127 A...........bbb.........\n\n"
                              "group Hats: 1 zone, at most 1 voice\n\n"
                              "keys     root  velocity  size     sample\n"
                              "C1       C1    1-127     missing  hat.wav  (one-shot)\n"
                              "C2 - D2  C3    1-127     40 kB    pad.wav  (loop)\n");
  const auto json = Json::parse(list({"-i", path, "--json"}, test_units).output);
  EXPECT_EQ(json["missing"], 1);
  EXPECT_EQ(json["zones"][0]["loop"], Json::parse("[0, 90]"));
  EXPECT_EQ(json["zones"][1]["group"], 0);
  EXPECT_EQ(json["samples"][0]["path"], folder / "pads/PAD.wav");
  EXPECT_EQ(json["samples"][1]["path"], nullptr);
  const auto refused = list({"-i", "/dev/null"}, test_units);
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.errors, "vesk-list: /dev/null cannot be read: Invalid argument\n");
}

TEST(List, SaysThatItsOutputCannotBeWritten) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
  for (const char* program : {"vesk-list", "vesk-render", "vesk-edit"}) {
    const auto result = run_program(
        {"/bin/sh", "-c", build_tree() + "/bin/" + program + " --help >/dev/full"}, test_units);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, std::string(program) +
                                 ": standard output cannot be written: No space left on device\n");
  }
}

}  // namespace
