#include "spec/plugin_spec.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "spec/four_cc.hpp"

namespace vesk {
namespace {

using Params = std::vector<std::pair<std::uint32_t, float>>;

constexpr const char* parameters_expected = "expected parameters as id=value,id=value, e.g. #2=800";
constexpr const char* component_expected =
    "expected type:subtype:manufacturer, e.g. aumu:Pt7q:Mdrt";

TEST(PluginSpec, ATextSaysWhatToLoadAndHow) {
  const struct {
    const char* text;
    const char* name;
    Params params = {};
    const char* preset = "";
    const char* exs = "";
  } cases[] = {
      {"aumu:Pt7q:Mdrt", "aumu:Pt7q:Mdrt"},
      {"aumu:Pt:q:Mdrt", "aumu:Pt:q:Mdrt"},
      {"a@mu:Pt7q:Mdrt", "a@mu:Pt7q:Mdrt"},
      {"aumu:Pt7q:Mdr@#1=2@/p", "aumu:Pt7q:Mdr@", {{1, 2}}, "/p"},
      {"aumu:Pt7q:Mdrt#", "aumu:Pt7q:Mdrt"},
      {"aumu:Pt7q:Mdrt#2=800,", "aumu:Pt7q:Mdrt", {{2, 800}}},
      {"aumu:Pt7q:Mdrt#2=1,2=-3.5e1", "aumu:Pt7q:Mdrt", {{2, 1}, {2, -35}}},
      {"aumu:Pt7q:Mdrt#=1", "aumu:Pt7q:Mdrt", {{0, 1}}},
      {"aumu:Pt7q:Mdrt#7=", "aumu:Pt7q:Mdrt", {{7, 0}}},
      {"aumu:Pt7q:Mdrt# 7= 2", "aumu:Pt7q:Mdrt", {{7, 2}}},
      {"aumu:Pt7q:Mdrt#1=0x1p3", "aumu:Pt7q:Mdrt", {{1, 8}}},
      {"aumu:Pt7q:Mdrt#-1=0.5", "aumu:Pt7q:Mdrt", {{4294967295u, 0.5f}}},
      {"aumu:Pt7q:Mdrt#4294967296=1", "aumu:Pt7q:Mdrt", {{0, 1}}},
      {"aumu:Pt7q:Mdrt#9223372036854775808=1", "aumu:Pt7q:Mdrt", {{0, 1}}},
      // Just below the middle of two floats, where a double already stands.
      {"aumu:Pt7q:Mdrt#1=1.00000017881393432617187499", "aumu:Pt7q:Mdrt", {{1, 1.0000001f}}},
      {"aumu:Pt7q:Mdrt@", "aumu:Pt7q:Mdrt"},
      {"aumu:Pt7q:Mdrt@a#b", "aumu:Pt7q:Mdrt", {}, "a#b"},
      {"aumu:Pt7q:Mdrt#1=2@/p,q@r:s", "aumu:Pt7q:Mdrt", {{1, 2}}, "/p,q@r:s"},
      // After "exs:" everything is the path.
      {"exs:", "AUSampler: "},
      {"exs:Piano", "AUSampler: Piano", {}, "", "Piano"},
      {"exs:/a/b/", "AUSampler: ", {}, "", "/a/b/"},
      {"exs:/a/x#1=2@p", "AUSampler: x#1=2@p", {}, "", "/a/x#1=2@p"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    std::string error = "left alone";
    const auto spec = PluginSpec::parse(c.text, error);
    ASSERT_TRUE(spec);
    EXPECT_EQ(error, "left alone");
    EXPECT_EQ(spec->text, c.text);
    EXPECT_EQ(spec->name, c.name);
    EXPECT_EQ(spec->params, c.params);
    EXPECT_EQ(spec->preset_path, c.preset);
    EXPECT_EQ(spec->exs_path, c.exs);
    const AudioComponentDescription& codes = spec->desc;
    EXPECT_EQ(four_cc(codes.componentType) + ":" + four_cc(codes.componentSubType) + ":" +
                  four_cc(codes.componentManufacturer),
              spec->text.starts_with("exs:") ? "aumu:samp:appl" : spec->name);
    EXPECT_EQ(codes.componentFlags | codes.componentFlagsMask, 0u);
  }
}

TEST(PluginSpec, FaultyTextsAreRefusedInWords) {
  const std::pair<const char*, const char*> cases[] = {
      {"", component_expected},
      {"EXS:/a/x", component_expected},
      {"aumu:Pt7q:Mdr", component_expected},
      {" aumu:Pt7q:Mdrt", component_expected},
      {"aumu:Pt7q:Mdrt ", component_expected},
      {"aumuXPt7q:Mdrt", component_expected},
      {"aumu:Pt7qXMdrt", component_expected},
      {"bad#1=1", component_expected},
      {"aumu:Pt7q:Mdrt#2=800,,3=1", parameters_expected},
      {"aumu:Pt7q:Mdrt#,2=800", parameters_expected},
      {"aumu:Pt7q:Mdrt#x=1", parameters_expected},
      {"aumu:Pt7q:Mdrt#0x10=1", parameters_expected},
      {"aumu:Pt7q:Mdrt#1 =1", parameters_expected},
      {"aumu:Pt7q:Mdrt#1=1 ", parameters_expected},
      {"aumu:Pt7q:Mdrt#1=2=3", parameters_expected},
      {"aumu:Pt7q:Md#t", parameters_expected},
      {"bad#x", parameters_expected},
  };
  for (const auto& [text, message] : cases) {
    SCOPED_TRACE(text);
    std::string error = "replaced";
    EXPECT_FALSE(PluginSpec::parse(text, error));
    EXPECT_EQ(error, message);
  }
}

TEST(PluginSpec, ChainsAndChannelsAreValidatedInOrder) {
  using Parser = std::optional<PluginSpec> (*)(std::string_view, std::string&);
  const Parser chain = PluginSpec::parse_chain;
  const Parser channel = PluginSpec::parse_channel;
  const struct {
    Parser parser;
    const char* text;
    const char* name;        // of the summary, or null for a failure
    const char* error = "";  // of the failure
  } cases[] = {
      {chain, "aufx:aaaa:Mdrt", "aufx:aaaa:Mdrt"},
      {chain, "aufx:aaaa:Mdrt#1=2@/p|aumf:bbbb:Mdrt", "aufx:aaaa:Mdrt \xE2\x86\x92 aumf:bbbb:Mdrt"},
      {chain, "", nullptr, component_expected},
      {chain, "aumu:aaaa:Mdrt|aufx:bbbb:Mdrt", nullptr, "aumu:aaaa:Mdrt is not an effect"},
      {chain, "augn:aaaa:Mdrt", nullptr, "augn:aaaa:Mdrt is not an effect"},
      {chain, "aufx:aaaa:Mdrt||aufx:bbbb:Mdrt", nullptr, component_expected},
      {chain, "aufx:aaaa:Mdrt|", nullptr, component_expected},
      {chain, "aufx:aaaa:Mdrt| aufx:bbbb:Mdrt", nullptr, component_expected},
      {chain, "aufx:aaaa:Mdrt|exs:/p/Piano", nullptr, "AUSampler: Piano is not an effect"},
      {channel, "aumu:aaaa:Mdrt", "aumu:aaaa:Mdrt"},
      {channel, "exs:/p/Piano|aufx:bbbb:Mdrt|aufx:cccc:Mdrt",
       "AUSampler: Piano \xE2\x86\x92 aufx:bbbb:Mdrt \xE2\x86\x92 aufx:cccc:Mdrt"},
      {channel, "aufx:aaaa:Mdrt", nullptr, "aufx:aaaa:Mdrt is an effect, not an instrument"},
      {channel, "aumu:aaaa:Mdrt|aumu:bbbb:Mdrt", nullptr, "aumu:bbbb:Mdrt is not an effect"},
      {channel, "aumu:aaaa:Mdrt|aufx:bbbb:Mdrt#x|aumu:cccc:Mdrt", nullptr, parameters_expected},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    std::string error;
    const auto summary = c.parser(c.text, error);
    EXPECT_EQ(error, c.error);
    ASSERT_EQ(summary.has_value(), c.name != nullptr);
    if (!summary) continue;
    EXPECT_EQ(summary->name, c.name);
    EXPECT_EQ(summary->text, c.text);
    EXPECT_EQ(summary->is_effect(), c.parser == chain);
    const auto first = PluginSpec::parse(PluginSpec::split_chain(c.text).front(), error);
    EXPECT_EQ(summary->params, first->params);
    EXPECT_EQ(summary->preset_path, first->preset_path);
    EXPECT_EQ(summary->desc.componentSubType, first->desc.componentSubType);
  }
}

TEST(FourCc, PrintsAnyCodeAsFourBytes) {
  EXPECT_EQ(four_cc(0x61756D75), "aumu");
  EXPECT_EQ(four_cc(0), std::string(4, '\0'));
  EXPECT_EQ(pack_four_cc("\xFF\x01z "), 0xFF017A20u);
}

}  // namespace
}  // namespace vesk
