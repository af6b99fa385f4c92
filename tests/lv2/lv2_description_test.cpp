// What the scanner makes of plugins' Turtle, for bundles made here and for some of Debian's.

#include <gtest/gtest.h>

#include <algorithm>

#include "components/lv2/catalogue/classification.hpp"
#include "components/lv2/catalogue/plugin_search.hpp"
#include "components/lv2/catalogue/presets.hpp"
#include "tests/support/lv2_bundles.hpp"

namespace vesk::lv2 {
namespace {

using tests::Environment;
using tests::ScratchFolder;

class Lv2Description : public testing::Test {
 protected:
  std::shared_ptr<const Description> describe(const std::string& uri) {
    std::string error;
    const auto plugin = find_by_uri(uri, error);
    EXPECT_EQ(error, "");
    EXPECT_TRUE(plugin) << uri;
    return plugin ? plugin->description : std::make_shared<const Description>();
  }

  ScratchFolder installed_;
  ScratchFolder cache_;
  Environment vesk_cache_{"VESK_CACHE", cache_.path()};
};

class OwnBundle : public Lv2Description {
 protected:
  Environment lv2_path_{"LV2_PATH", installed_.path()};
};

std::string text_of(const StateProperty& property) {
  return std::string(reinterpret_cast<const char*>(property.value.data()), property.value.size());
}

TEST_F(OwnBundle, EveryPartOfADescriptionArrives) {
  const std::filesystem::path folder = installed_ / "with space & 100%.lv2";
  tests::write_bundle(
      folder, "urn:vesk:full",
      "a lv2:ReverbPlugin ; doap:name \"Full\\nname\" ; doap:maintainer [ foaf:name \"Maker\" ] ;\n"
      "lv2:minorVersion 3 ; lv2:microVersion 400 ;\n"
      "lv2:requiredFeature <urn:need:b>, <urn:need:a> ; lv2:optionalFeature <urn:may> ;\n"
      "ui:ui <urn:vesk:full#ui> ;\n" +
          tests::through_ports(
              ", [ a lv2:ControlPort, lv2:InputPort ; lv2:index 2 ; lv2:symbol \"cut\" ;\n"
              "lv2:name \"Cut\\u00f6ff\"@en, \"Grenze\"@de ; lv2:default 0.25 ; lv2:minimum 0 ;\n"
              "lv2:maximum 0.5 ; lv2:portProperty lv2:sampleRate, pprops:logarithmic,\n"
              "lv2:connectionOptional ; units:unit units:hz ; lv2:designation <urn:design> ] ,\n"
              "[ a lv2:ControlPort, lv2:InputPort ; lv2:index 3 ; lv2:symbol \"mode\" ;\n"
              "lv2:name \"Mode\" ; lv2:default 1 ; lv2:portProperty lv2:enumeration, lv2:integer "
              ";\n"
              "lv2:scalePoint [ rdfs:label \"Two\" ; <http://www.w3.org/1999/02/22-rdf-syntax-ns"
              "#value> 2 ] , [ rdfs:label \"One\" ;\n"
              "<http://www.w3.org/1999/02/22-rdf-syntax-ns#value> 1.0 ] ;\n"
              "units:unit [ units:symbol \"q\" ] ] ,\n"
              "[ a atom:AtomPort, lv2:InputPort ; lv2:index 4 ; lv2:symbol \"events\" ;\n"
              "lv2:name \"Events\" ; rsz:minimumSize 70000 ;\n"
              "atom:supports midi:MidiEvent, <http://lv2plug.in/ns/ext/time#Position> ] ,\n"
              "[ a lv2:ControlPort, lv2:OutputPort ; lv2:index 5 ; lv2:symbol \"latency\" ;\n"
              "lv2:name \"Latency\" ; lv2:designation lv2:latency ] ,\n"
              "[ a lv2:CVPort, lv2:OutputPort ; lv2:index 6 ; lv2:symbol \"cv\" ;\n"
              "lv2:name \"CV\" ]"),
      "<urn:vesk:full#ui> a ui:X11UI ; lv2:binary <ui.so> ; rdfs:seeAlso <ui.ttl> .\n"
      "<urn:vesk:full#p> a pset:Preset ; lv2:appliesTo <urn:vesk:full> ; rdfs:label \"Deep\" ;\n"
      "rdfs:seeAlso <preset.ttl> .\n");
  tests::write_file(folder / "ui.ttl", std::string(tests::prefixes) +
                                           "<urn:vesk:full#ui> lv2:requiredFeature "
                                           "<http://lv2plug.in/ns/ext/urid#map> .\n");
  tests::write_file(
      folder / "preset.ttl",
      std::string(tests::prefixes) +
          "<urn:vesk:full#p> a pset:Preset ; lv2:appliesTo <urn:vesk:full> ; lv2:port\n"
          "[ lv2:symbol \"mode\" ; pset:value 2 ], [ lv2:symbol \"cut\" ; pset:value 0.125 ] ;\n"
          "state:state [ <urn:key:text> \"text\" ; <urn:key:file> <beside.wav> ;\n"
          "<urn:key:uri> <urn:some:value> ; <urn:key:bytes> \"AQID\"^^"
          "<http://www.w3.org/2001/XMLSchema#base64Binary> ;\n"
          "<urn:key:vector> [ a atom:Vector ; atom:childType atom:Int ;\n"
          "<http://www.w3.org/1999/02/22-rdf-syntax-ns#value> ( 7 8 ) ] ] .\n");

  const auto plugin = describe("urn:vesk:full");
  const std::string bundle = folder.string() + "/";
  EXPECT_EQ(plugin->bundle, bundle);
  EXPECT_EQ(plugin->library, bundle + "plugin.so");
  EXPECT_EQ(plugin->name, "Full name");
  EXPECT_EQ(plugin->author, "Maker");
  EXPECT_EQ(plugin->classes, std::vector<std::string>{"http://lv2plug.in/ns/lv2core#ReverbPlugin"});
  EXPECT_EQ(plugin->minor_version, 3u);
  EXPECT_EQ(plugin->micro_version, 400u);
  EXPECT_EQ(plugin->required_features, (std::vector<std::string>{"urn:need:a", "urn:need:b"}));
  EXPECT_EQ(plugin->type, type_music_effect);

  ASSERT_EQ(plugin->ports.size(), 7u);
  const Port& cut = plugin->ports[2];
  EXPECT_EQ(cut.index, 2u);
  EXPECT_EQ(cut.symbol, "cut");
  EXPECT_EQ(cut.name, "Cut\u00f6ff");
  EXPECT_EQ(cut.kind, PortKind::control);
  EXPECT_EQ(cut.properties,
            property_sample_rate | property_logarithmic | property_connection_optional);
  EXPECT_EQ(cut.def, 0.25f);
  EXPECT_EQ(cut.min, 0.0f);
  EXPECT_EQ(cut.max, 0.5f);
  EXPECT_EQ(cut.unit.symbol, "Hz") << "standard units are known without the specification bundles";
  EXPECT_EQ(cut.designation, "urn:design");
  const Port& mode = plugin->ports[3];
  EXPECT_EQ(mode.scale_points, (std::vector<ScalePoint>{{1, "One"}, {2, "Two"}}));
  EXPECT_EQ(mode.min, std::nullopt);
  EXPECT_EQ(mode.unit, (Unit{"", "q"}));
  const Port& events = plugin->ports[4];
  EXPECT_EQ(events.kind, PortKind::atom);
  EXPECT_EQ(events.events, events_midi | events_time);
  EXPECT_EQ(events.minimum_size, 70'000u);
  EXPECT_TRUE(plugin->ports[5].has(property_reports_latency));
  EXPECT_EQ(plugin->ports[6].kind, PortKind::cv);
  EXPECT_EQ(plugin->ports[6].direction, Direction::output);

  ASSERT_EQ(plugin->editors.size(), 1u);
  EXPECT_EQ(plugin->editors[0], (Editor{"urn:vesk:full#ui",
                                        "http://lv2plug.in/ns/extensions/ui#X11UI",
                                        bundle + "ui.so",
                                        bundle,
                                        {"http://lv2plug.in/ns/ext/urid#map"}}));
  ASSERT_EQ(plugin->presets, (std::vector<Preset>{{"urn:vesk:full#p", "Deep", bundle}}));

  std::string error;
  const auto state = read_preset(*plugin, plugin->presets[0], error);
  ASSERT_TRUE(state) << error;
  EXPECT_EQ(state->port_values, (std::vector<PortValue>{{"cut", 0.125f}, {"mode", 2}}));
  ASSERT_EQ(state->properties.size(), 5u);
  const std::string atom = "http://lv2plug.in/ns/ext/atom#";
  const StateProperty& chunk = state->properties[0];
  EXPECT_EQ(chunk.key, "urn:key:bytes");
  EXPECT_EQ(chunk.type, atom + "Chunk");
  EXPECT_EQ(text_of(chunk), "\x01\x02\x03");
  const StateProperty& file = state->properties[1];
  EXPECT_EQ(file.type, atom + "Path");
  EXPECT_EQ(text_of(file), bundle + "beside.wav" + '\0');
  const StateProperty& text = state->properties[2];
  EXPECT_EQ(text.type, atom + "String");
  EXPECT_EQ(text_of(text), std::string("text") + '\0');
  const StateProperty& uri = state->properties[3];
  EXPECT_EQ(uri.type, atom + "URID");
  EXPECT_EQ(text_of(uri), std::string("urn:some:value") + '\0');
  const StateProperty& vector = state->properties[4];
  EXPECT_EQ(vector.type, atom + "Vector");
  EXPECT_EQ(vector.element_type, atom + "Int");
  EXPECT_EQ(vector.element_size, 4u);
  const std::int32_t elements[] = {7, 8};
  EXPECT_EQ(text_of(vector), std::string(reinterpret_cast<const char*>(elements), sizeof elements));

  EXPECT_FALSE(read_preset(*plugin, {"urn:vesk:missing", "", bundle}, error));
  EXPECT_NE(error, "");
}

TEST_F(OwnBundle, PresetsInAnotherBundleAreFoundAndFollowed) {
  tests::write_plain_bundle(installed_ / "a.lv2", "urn:vesk:a", "a");
  tests::settle(installed_.path());
  EXPECT_TRUE(describe("urn:vesk:a")->presets.empty());
  const std::filesystem::path presets = installed_ / "my-presets.lv2";
  std::filesystem::create_directories(presets);
  tests::write_file(presets / "manifest.ttl",
                    std::string(tests::prefixes) +
                        "<urn:vesk:mine> a pset:Preset ; lv2:appliesTo <urn:vesk:a> ;\n"
                        "rdfs:label \"Mine\" ; rdfs:seeAlso <mine.ttl> .\n");
  tests::write_file(presets / "mine.ttl",
                    std::string(tests::prefixes) +
                        "<urn:vesk:mine> a pset:Preset ; lv2:appliesTo <urn:vesk:a> ;\n"
                        "lv2:port [ lv2:symbol \"gain\" ; pset:value -3.5 ] .\n");
  tests::settle(installed_.path());
  const auto plugin = describe("urn:vesk:a");
  ASSERT_EQ(plugin->presets,
            (std::vector<Preset>{{"urn:vesk:mine", "Mine", presets.string() + "/"}}));
  std::string error;
  const auto state = read_preset(*plugin, plugin->presets[0], error);
  ASSERT_TRUE(state) << error;
  EXPECT_EQ(state->port_values, (std::vector<PortValue>{{"gain", -3.5f}}));
}

TEST_F(OwnBundle, PresetsAmongThePluginsOwnDataAreRead) {
  tests::write_bundle(installed_ / "a.lv2", "urn:vesk:a",
                      "doap:name \"a\" ; " + tests::through_ports() +
                          " .\n<urn:vesk:inner> a pset:Preset ; lv2:appliesTo <urn:vesk:a> ;\n"
                          "rdfs:label \"Inner\" ; state:state [ <urn:key> \"value\" ]");
  const auto plugin = describe("urn:vesk:a");
  ASSERT_EQ(plugin->presets.size(), 1u);
  std::string error;
  const auto state = read_preset(*plugin, plugin->presets[0], error);
  ASSERT_TRUE(state) << error;
  EXPECT_EQ(state->properties.size(), 1u);
}

TEST_F(OwnBundle, ADefaultStateComesWithAbsolutePaths) {
  const std::filesystem::path folder = installed_ / "a.lv2";
  tests::write_bundle(
      folder, "urn:vesk:a",
      "doap:name \"a\" ; state:state [ <urn:key:file> <beside.wav> ] ; " + tests::through_ports());
  const auto plugin = describe("urn:vesk:a");
  ASSERT_EQ(plugin->default_state.properties.size(), 1u);
  const StateProperty& file = plugin->default_state.properties[0];
  EXPECT_EQ(file.key, "urn:key:file");
  EXPECT_EQ(text_of(file), (folder / "beside.wav").string() + '\0');
}

TEST_F(OwnBundle, BrokenTurtleIsRefusedWithAReason) {
  const struct {
    const char* name;
    std::string body;
  } cases[] = {
      {"gap",
       "doap:name \"x\" ; lv2:port [ a lv2:AudioPort, lv2:OutputPort ; lv2:index 1 ;\n"
       "lv2:symbol \"out\" ; lv2:name \"Out\" ]"},
      {"unfinished", "doap:name \"x\" ; lv2:port [ a lv2:AudioPort,"},
      {"nothing", "doap:name \"x\""},
  };
  for (const auto& test : cases) {
    const std::string uri = std::string("urn:vesk:") + test.name;
    tests::write_bundle(installed_ / (std::string(test.name) + ".lv2"), uri, test.body);
  }
  for (const auto& test : cases)
    EXPECT_NE(describe(std::string("urn:vesk:") + test.name)->not_hosted, "") << test.name;
}

class DebiansPlugins : public Lv2Description {
 protected:
  Environment lv2_path_{"LV2_PATH", "/usr/lib/lv2"};
};

TEST_F(DebiansPlugins, TheMdaPianoIsDescribedInFull) {
  const auto plugin = describe("http://drobilla.net/plugins/mda/EPiano");
  EXPECT_EQ(plugin->type, type_instrument);
  EXPECT_EQ(plugin->not_hosted, "");
  EXPECT_EQ(plugin->main_inputs, 0u);
  EXPECT_EQ(plugin->main_outputs, 2u);
  EXPECT_EQ(plugin->presets.size(), 5u);
  EXPECT_TRUE(std::filesystem::exists(plugin->library));
  EXPECT_EQ(std::ranges::count(plugin->ports, PortKind::control, &Port::kind), 12);
  EXPECT_EQ(std::ranges::count(plugin->ports, events_midi, &Port::events), 1);
  for (const Preset& preset : plugin->presets) {
    std::string error;
    const auto state = read_preset(*plugin, preset, error);
    ASSERT_TRUE(state) << error;
    EXPECT_EQ(state->port_values.size(), 12u) << preset.label;
  }
}

}  // namespace
}  // namespace vesk::lv2
