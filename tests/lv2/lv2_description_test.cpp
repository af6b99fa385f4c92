// What the scanner makes of plugins' Turtle.

#include <gtest/gtest.h>

#include <algorithm>

#include "components/lv2/catalogue/classification.hpp"
#include "components/lv2/catalogue/plugin_search.hpp"
#include "components/lv2/catalogue/presets.hpp"
#include "tests/support/lv2_bundles.hpp"

namespace vesk::lv2 {
namespace {

using namespace std::string_literals;
using tests::write_bundle;

class Lv2Description : public testing::Test {
 protected:
  std::shared_ptr<const Description> describe(const std::string& uri) {
    std::string error;
    const auto plugin = find_by_uri(uri, error);
    EXPECT_EQ(error, "");
    EXPECT_TRUE(plugin) << uri;
    return plugin ? plugin->description : std::make_shared<const Description>();
  }
  static State read(const Description& plugin, const Preset& preset) {
    std::string error;
    const auto state = read_preset(plugin, preset, error);
    EXPECT_TRUE(state) << error;
    return state.value_or(State());
  }

  tests::ScratchFolder installed_;
  tests::ScratchFolder cache_;
  tests::Environment vesk_cache_{"VESK_CACHE", cache_.path()};
  tests::Environment lv2_path_{"LV2_PATH", installed_.path()};
};

std::string text_of(const StateProperty& property) {
  return std::string(reinterpret_cast<const char*>(property.value.data()), property.value.size());
}

TEST_F(Lv2Description, EveryPartOfItArrives) {
  const std::filesystem::path folder = installed_ / "with space & 100%.lv2";
  write_bundle(folder, "urn:vesk:full",
               R"(
    a lv2:ReverbPlugin ; doap:name "Full\nname" ; doap:maintainer [ foaf:name "Maker" ] ;
    lv2:minorVersion 3 ; lv2:microVersion 400 ;
    lv2:requiredFeature <urn:need:b>, <urn:need:a> ; lv2:optionalFeature <urn:may> ;
    ui:ui <urn:vesk:full#ui> ; state:state [ <urn:key:file> <beside.wav> ] ;)" +
                   tests::through_ports(R"(,
    [ a lv2:ControlPort, lv2:InputPort ; lv2:index 2 ; lv2:symbol "cut" ;
      lv2:name "Cut\u00f6ff"@en, "Grenze"@de ; units:unit units:hz ;
      lv2:portProperty lv2:connectionOptional ; lv2:designation <urn:design> ] ,
    [ a atom:AtomPort, lv2:InputPort ; lv2:index 3 ; lv2:symbol "events" ; lv2:name "Events" ;
      rsz:minimumSize 70000 ;
      atom:supports midi:MidiEvent, <http://lv2plug.in/ns/ext/time#Position> ] ,
    [ a lv2:ControlPort, lv2:OutputPort ; lv2:index 4 ; lv2:symbol "latency" ; lv2:name "Latency" ;
      lv2:designation lv2:latency ] ,
    [ a lv2:CVPort, lv2:OutputPort ; lv2:index 5 ; lv2:symbol "cv" ; lv2:name "CV" ;
      units:unit [ units:symbol "q" ] ] .
  <urn:vesk:full#own> a pset:Preset ; lv2:appliesTo <urn:vesk:full> ; rdfs:label "Own" ;
    state:state [ <urn:key> "value" ])"),
               R"(
  <urn:vesk:full#ui> a ui:X11UI ; lv2:binary <ui.so> ; rdfs:seeAlso <more.ttl> .
  <urn:vesk:full#p> a pset:Preset ; lv2:appliesTo <urn:vesk:full> ; rdfs:label "Deep" ;
    rdfs:seeAlso <more.ttl> .)");
  tests::write_turtle(folder / "more.ttl", R"(
  <urn:vesk:full#ui> lv2:requiredFeature <http://lv2plug.in/ns/ext/urid#map> .
  <urn:vesk:full#p> a pset:Preset ; lv2:appliesTo <urn:vesk:full> ;
    lv2:port [ lv2:symbol "gap" ; pset:value 2 ], [ lv2:symbol "cut" ; pset:value 0.125 ] ;
    state:state [
      <urn:key:text> "text" ; <urn:key:file> <beside.wav> ; <urn:key:uri> <urn:some:value> ;
      <urn:key:bytes> "AQID"^^<http://www.w3.org/2001/XMLSchema#base64Binary> ;
      <urn:key:vector> [ a atom:Vector ; atom:childType atom:Int ; rdf:value ( 7 8 ) ] ] .)");

  const auto plugin = describe("urn:vesk:full");
  const std::string bundle = folder.string() + "/";
  const std::string file = bundle + "beside.wav" + '\0';
  EXPECT_EQ(plugin->bundle, bundle);
  EXPECT_EQ(plugin->library, bundle + "plugin.so");
  EXPECT_EQ(plugin->name, "Full name");
  EXPECT_EQ(plugin->author, "Maker");
  EXPECT_EQ(plugin->classes, std::vector{"http://lv2plug.in/ns/lv2core#ReverbPlugin"s});
  EXPECT_EQ(plugin->minor_version, 3u);
  EXPECT_EQ(plugin->micro_version, 400u);
  EXPECT_EQ(plugin->required_features, (std::vector{"urn:need:a"s, "urn:need:b"s}));
  EXPECT_EQ(plugin->type, type_music_effect);
  ASSERT_EQ(plugin->default_state.properties.size(), 1u);
  EXPECT_EQ(plugin->default_state.properties[0].key, "urn:key:file");
  EXPECT_EQ(text_of(plugin->default_state.properties[0]), file);

  ASSERT_EQ(plugin->ports.size(), 6u);
  const Port &cut = plugin->ports[2], &events = plugin->ports[3], &cv = plugin->ports[5];
  EXPECT_EQ(cut.index, 2u);
  EXPECT_EQ(cut.symbol, "cut");
  EXPECT_EQ(cut.name, "Cut\u00f6ff");
  EXPECT_EQ(cut.kind, PortKind::control);
  EXPECT_EQ(cut.properties, property_connection_optional);
  EXPECT_EQ(cut.min, std::nullopt);
  EXPECT_EQ(cut.unit.symbol, "Hz") << "standard units are known without the specification bundles";
  EXPECT_EQ(cut.designation, "urn:design");
  EXPECT_EQ(events.kind, PortKind::atom);
  EXPECT_EQ(events.events, events_midi | events_time);
  EXPECT_EQ(events.minimum_size, 70'000u);
  EXPECT_TRUE(plugin->ports[4].has(property_reports_latency));
  EXPECT_EQ(cv.unit, (Unit{"", "q"}));
  EXPECT_EQ(cv.kind, PortKind::cv);
  EXPECT_EQ(cv.direction, Direction::output);

  ASSERT_EQ(plugin->editors.size(), 1u);
  EXPECT_EQ(plugin->editors[0], (Editor{"urn:vesk:full#ui",
                                        "http://lv2plug.in/ns/extensions/ui#X11UI",
                                        bundle + "ui.so",
                                        bundle,
                                        {"http://lv2plug.in/ns/ext/urid#map"}}));
  ASSERT_EQ(plugin->presets, (std::vector<Preset>{{"urn:vesk:full#p", "Deep", bundle},
                                                  {"urn:vesk:full#own", "Own", bundle}}));
  EXPECT_EQ(read(*plugin, plugin->presets[1]).properties.size(), 1u);
  const State state = read(*plugin, plugin->presets[0]);
  EXPECT_EQ(state.port_values, (std::vector<PortValue>{{"cut", 0.125f}, {"gap", 2}}));
  const std::int32_t elements[] = {7, 8};
  const struct {
    const char* key;
    const char* type;
    std::string value;
  } properties[] = {
      {"urn:key:bytes", "Chunk", "\x01\x02\x03"},
      {"urn:key:file", "Path", file},
      {"urn:key:text", "String", "text\0"s},
      {"urn:key:uri", "URID", "urn:some:value\0"s},
      {"urn:key:vector", "Vector",
       std::string(reinterpret_cast<const char*>(elements), sizeof elements)},
  };
  const std::string atom = "http://lv2plug.in/ns/ext/atom#";
  ASSERT_EQ(state.properties.size(), std::size(properties));
  for (std::size_t i = 0; i < std::size(properties); ++i) {
    EXPECT_EQ(state.properties[i].key, properties[i].key);
    EXPECT_EQ(state.properties[i].type, atom + properties[i].type);
    EXPECT_EQ(text_of(state.properties[i]), properties[i].value) << properties[i].key;
  }
  EXPECT_EQ(state.properties[4].element_type, atom + "Int");
  EXPECT_EQ(state.properties[4].element_size, 4u);

  std::string error;
  EXPECT_FALSE(read_preset(*plugin, {"urn:vesk:missing", "", bundle}, error));
  EXPECT_NE(error, "");
}

TEST_F(Lv2Description, PresetsInAnotherBundleAreFoundAndFollowed) {
  tests::write_plain_bundle(installed_ / "a.lv2", "urn:vesk:a", "a");
  tests::settle(installed_.path());
  EXPECT_TRUE(describe("urn:vesk:a")->presets.empty());
  const std::filesystem::path presets = installed_ / "my-presets.lv2";
  std::filesystem::create_directories(presets);
  const std::string mine = "<urn:vesk:mine> a pset:Preset ; lv2:appliesTo <urn:vesk:a> ;";
  tests::write_turtle(presets / "manifest.ttl",
                      mine + R"(rdfs:label "Mine" ; rdfs:seeAlso <mine.ttl> .)");
  tests::write_turtle(presets / "mine.ttl",
                      mine + R"(lv2:port [ lv2:symbol "gain" ; pset:value -3.5 ] .)");
  tests::settle(installed_.path());
  const auto plugin = describe("urn:vesk:a");
  ASSERT_EQ(plugin->presets,
            (std::vector<Preset>{{"urn:vesk:mine", "Mine", presets.string() + "/"}}));
  EXPECT_EQ(read(*plugin, plugin->presets[0]).port_values,
            (std::vector<PortValue>{{"gain", -3.5f}}));
}

TEST_F(Lv2Description, BrokenTurtleIsRefusedWithAReason) {
  const std::pair<std::string, const char*> cases[] = {
      {"gap", R"(doap:name "x" ; lv2:port [ a lv2:AudioPort, lv2:OutputPort ; lv2:index 1 ;
                 lv2:symbol "out" ; lv2:name "Out" ])"},
      {"unfinished", R"(doap:name "x" ; lv2:port [ a lv2:AudioPort,)"},
      {"nothing", R"(doap:name "x")"},
  };
  for (const auto& [name, body] : cases)
    write_bundle(installed_ / (name + ".lv2"), "urn:vesk:" + name, body);
  for (const auto& [name, body] : cases)
    EXPECT_NE(describe("urn:vesk:" + name)->not_hosted, "") << name;
}

}  // namespace
}  // namespace vesk::lv2
