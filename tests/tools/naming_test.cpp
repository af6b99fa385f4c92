// From what people call plugins and parameters to specification texts.

#include <gtest/gtest.h>

#include "spec/four_cc.hpp"
#include "tools/naming/look_up.hpp"
#include "tools/naming/named_chain.hpp"

namespace vesk::tools {
namespace {

InstalledPlugin plugin(const char* codes, const std::string& name, const char* uri = nullptr) {
  const std::string text = codes;
  ComponentInfo info;
  info.desc = {pack_four_cc(text.substr(0, 4)), pack_four_cc(text.substr(5, 4)),
               pack_four_cc(text.substr(10, 4)), 0, 0};
  info.name = name;
  InstalledPlugin result = plugin_of(info);
  if (uri) result.lv2.emplace().uri = uri;
  return result;
}

const InstalledPlugins installed{
    plugin("aumu:Sm48:LV2_", "Maker: MDA ePiano", "http://x.org/mda/EPiano"),
    plugin("aumu:NhXb:LV2_", "Maker: MDA Piano", "http://x.org/mda#Piano"),
    plugin("aufx:dela:LV2_", "One: Delay", "urn:one"),
    plugin("aufx:dela:Vesk", "Two: delay"),
    plugin("aufx:shrp:LV2_", "Maker: C#minor@440"),
    plugin("aufx:c___:LV2_", "Maker: C"),
    plugin("aumi:arpe:Vesk", "Maker: Arpeggio"),
    plugin("aumi:echo:Vesk", "Notes: Echo"),
    plugin("aufx:echo:Vesk", "Sound: Echo"),
};

NameSources sources() {
  return {[]() -> const InstalledPlugins& { return installed; },
          [](const std::string& specification,
             std::string& error) -> std::optional<std::vector<ParameterDescription>> {
            if (specification == "aumu:none:Here") {
              error = "aumu:none:Here is not installed";
              return std::nullopt;
            }
            return std::vector<ParameterDescription>{
                {3, "Cutoff", 0, 1, 0, "Hz", true, {}, "freq"},
                {4, "freq", 0, 1, 0, "", true, {}, "cutoff_b"},
                {5, "Gain", 0, 1, 0, "", true, {}, "gain_l"},
                {6, "Gain", 0, 1, 0, "", true, {}, "gain_r"},
                {7, "A=B, c: d", 0, 1, 0, "", true, {}, "odd"},
                {8, "Level", 0, 1, 0, "dB", false, {}, "level"},
            };
          }};
}

TEST(Naming, NamesBecomeSpecificationTexts) {
  const struct {
    std::string chain;
    std::vector<std::string> settings;
    std::string expected;
  } cases[] = {
      // What is one stays as it is, installed or not.
      {"aumu:none:None#1=2,,@x", {}, ""},
      {"aumu:none:None#2=800,@/a b@c#d|exs:/a#1=2@p",
       {},
       "aumu:none:None#2=800,@/a b@c#d|exs:/a#1=2@p"},
      {"mda epiano", {}, "aumu:Sm48:LV2_"},
      {"Maker: MDA ePiano", {}, "aumu:Sm48:LV2_"},
      {"Maker MDA ePiano|URN:one", {}, ""},
      {"Maker MDA ePiano|urn:one", {}, "aumu:Sm48:LV2_|aufx:dela:LV2_"},
      {"http://x.org/mda#Piano", {}, "aumu:NhXb:LV2_"},
      {"http://x.org/mda#Piano#freq=1@/p.aupreset", {}, "aumu:NhXb:LV2_#3=1@/p.aupreset"},
      // The longest beginning that is a name counts.
      {"C#minor@440#3=1", {}, "aufx:shrp:LV2_#3=1"},
      {"C#3=1@440", {}, "aufx:c___:LV2_#3=1@440"},
      {"c@440#3=1", {}, "aufx:c___:LV2_@440#3=1"},
      // Of two that are called so the one that a host runs.
      {"Echo", {}, "aufx:echo:Vesk"},
      // Number, then symbol, then name.
      {"MDA Piano#FREQ=.5,cutoff=-1e3,99=2", {}, "aumu:NhXb:LV2_#3=.5,3=-1e3,99=2"},
      {"aumu:NhXb:LV2_#9=1,gain_r=0.1", {}, "aumu:NhXb:LV2_#9=1,6=0.1"},
      {"aumu:NhXb:LV2_#9=1,@/p|C",
       {"Gain_L=1", "2:12=5", "2:A=B, c: d=0.5", "1:cutoff=0"},
       "aumu:NhXb:LV2_#9=1,5=1,3=0@/p|aufx:c___:LV2_#12=5,7=0.5"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.chain);
    std::string error;
    const auto text = specification_of(test.chain, test.settings, sources(), error);
    EXPECT_EQ(text.value_or(""), test.expected) << error;
    EXPECT_EQ(error.empty(), text.has_value());
  }
}

TEST(Naming, WhatIsNotClearIsSaidWithWhatItMayBe) {
  const struct {
    std::string chain;
    std::vector<std::string> settings;
    std::string message;
  } cases[] = {
      {"MDA Pjano#cutoff=1",
       {},
       "no plugin is called \"MDA Pjano\"; near it: MDA Piano, MDA ePiano"},
      {"piano", {}, "no plugin is called \"piano\"; near it: MDA Piano, MDA ePiano"},
      {"aumu:Sm47:LV2_x", {}, "no plugin is called \"aumu:Sm47:LV2_x\"; near it: aumu:Sm48:LV2_"},
      {"http://x.org/none#a", {}, "no plugin is called \"http://x.org/none#a\""},
      {"C|", {}, "no plugin is called \"\""},
      {"DELAY#1=2",
       {},
       "2 plugins are called \"DELAY\": aufx:dela:LV2_ (One: Delay, effect), aufx:dela:Vesk (Two: "
       "delay, effect)"},
      {"arpeggio", {}, "\"arpeggio\" (aumi:arpe:Vesk) cannot be hosted: it works on MIDI alone"},
      {"c#cutof=1", {}, "C has no parameter \"cutof\" that can be set; near it: Cutoff, cutoff_b"},
      {"c#level=1", {}, "C has no parameter \"level\" that can be set"},
      {"c#gain=1", {}, "C has 2 parameters called \"gain\": 5 (gain_l) 6 (gain_r)"},
      {"c#cutoff", {}, "\"cutoff\" sets nothing; expected PARAMETER=VALUE"},
      {"c#cutoff=loud", {}, "\"loud\" is no number"},
      {"c", {"cutoff="}, "\"\" is no number"},
      {"c", {"=1"}, "C has no parameter \"\" that can be set"},
      {"c", {"2:cutoff=1"}, "\"2:cutoff=1\": the chain has 1 plugin"},
      {"c|c", {"0:cutoff=1"}, "\"0:cutoff=1\": the chain has 2 plugins"},
      {"exs:/a", {"3=1"}, "\"3=1\": an instrument file takes no parameters"},
      {"aumu:none:Here#cutoff=1", {}, "aumu:none:Here is not installed"},
  };
  for (const auto& test : cases) {
    std::string error;
    EXPECT_FALSE(specification_of(test.chain, test.settings, sources(), error)) << test.chain;
    EXPECT_EQ(error, test.message);
  }
}

TEST(Naming, WordsAreLookedForInAllThatIsTold) {
  InstalledPlugin hall = plugin("aufx:kZu9:LV2_", "Some One: Hall", "urn:space");
  hall.lv2->classes = {"ReverbPlugin"};
  const std::pair<std::vector<std::string>, bool> cases[] = {
      {{}, true},
      {{"hall"}, true},
      {{"ONE", "reverb", "effect"}, true},
      {{"space"}, true},
      {{"hall", "organ"}, false},
      {{"kzu9"}, true},
      {{"hallsome"}, false},
  };
  for (const auto& [words, is_found] : cases)
    EXPECT_EQ(holds_words(hall, words), is_found) << testing::PrintToString(words);
}

}  // namespace
}  // namespace vesk::tools
