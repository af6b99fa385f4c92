// What the scanner makes of plugins' Turtle, for bundles made here and for some of Debian's.

#include <gtest/gtest.h>

#include <algorithm>

#include "components/lv2/catalogue/classification.hpp"
#include "components/lv2/catalogue/component_code.hpp"
#include "components/lv2/catalogue/library.hpp"
#include "components/lv2/catalogue/presets.hpp"
#include "tests/support/lv2_bundles.hpp"

namespace vesk::lv2 {
namespace {

using tests::Environment;
using tests::TemporaryFolder;

Port audio(const char* symbol, Direction direction, std::uint32_t properties = 0) {
  Port port;
  port.symbol = port.name = symbol;
  port.kind = PortKind::audio;
  port.direction = direction;
  port.properties = properties;
  return port;
}

Port midi(Direction direction) {
  Port port;
  port.symbol = "midi";
  port.kind = PortKind::atom;
  port.direction = direction;
  port.events = events_midi;
  return port;
}

std::vector<Port> ports(int inputs, int outputs, bool midi_in = false, bool midi_out = false) {
  std::vector<Port> result;
  for (int i = 0; i < inputs; ++i) result.push_back(audio("x", Direction::input));
  for (int i = 0; i < outputs; ++i) result.push_back(audio("y", Direction::output));
  if (midi_in) result.push_back(midi(Direction::input));
  if (midi_out) result.push_back(midi(Direction::output));
  return result;
}

TEST(Lv2Classification, TheTypeFollowsFromPortsUnlessTheClassSaysInstrument) {
  const struct {
    const char* name;
    std::vector<Port> ports;
    bool instrument_class;
    const char* type;
    bool hosted;
  } cases[] = {
      {"an instrument", ports(0, 2, true), false, "aumu", true},
      {"an instrument with audio inputs", ports(2, 2, true), true, "aumu", true},
      {"an effect with MIDI", ports(2, 2, true), false, "aumf", true},
      {"an effect", ports(1, 2), false, "aufx", true},
      {"an effect that only sends MIDI", ports(1, 1, false, true), false, "aufx", true},
      {"a generator", ports(0, 1), false, "augn", true},
      {"MIDI alone", ports(0, 0, true, true), false, "aumi", false},
      {"an analyser", ports(2, 0), false, "", false},
      {"control only", ports(0, 0), false, "", false},
      {"a crossover", ports(2, 4), false, "aufx", false},
  };
  for (const auto& test : cases) {
    Description plugin;
    plugin.library = "/x.so";
    plugin.ports = test.ports;
    if (test.instrument_class) plugin.classes = {"http://lv2plug.in/ns/lv2core#InstrumentPlugin"};
    classify(plugin);
    EXPECT_EQ(plugin.type == 0 ? "" : code_text(plugin.type), test.type) << test.name;
    EXPECT_EQ(plugin.not_hosted.empty(), test.hosted) << test.name << plugin.not_hosted;
  }
  Description no_library;
  no_library.ports = ports(2, 2);
  classify(no_library);
  EXPECT_EQ(no_library.not_hosted, "its description names no library");
}

TEST(Lv2Classification, SideInputsAreToldFromMainOnes) {
  using enum Direction;
  const struct {
    const char* name;
    std::vector<Port> ports;
    int side;  // which port, -1 for none
  } cases[] = {
      {"by its mark",
       {audio("a", input, property_side_chain), audio("b", input), audio("out", output)},
       0},
      {"by its symbol", {audio("sc", input), audio("in", input), audio("out", output)}, 0},
      {"by its name", {audio("Sidechain", input), audio("b", input), audio("out", output)}, 0},
      {"by the other's name", {audio("delay", input), audio("in", input), audio("o", output)}, 0},
      {"by order", {audio("voice", input), audio("carrier", input), audio("out", output)}, 1},
      {"in stereo",
       {audio("l", input), audio("r", input), audio("a", output), audio("b", output)},
       -1},
      {"beyond stereo",
       {audio("l", input), audio("sc", input), audio("r", input), audio("a", output)},
       1},
      {"a lone input named so", {audio("sidechain", input), audio("out", output)}, -1},
  };
  for (const auto& test : cases) {
    Description plugin;
    plugin.ports = test.ports;
    classify(plugin);
    std::uint32_t channel = 0;
    for (int i = 0; i < static_cast<int>(plugin.ports.size()); ++i) {
      const Port& port = plugin.ports[static_cast<std::size_t>(i)];
      EXPECT_EQ(port.role, i == test.side ? AudioRole::side : AudioRole::main) << test.name << i;
      if (port.direction == input && port.role == AudioRole::main)
        EXPECT_EQ(port.channel, channel++) << test.name;
    }
    EXPECT_EQ(plugin.main_inputs, channel) << test.name;
  }
}

TEST(Lv2Ranges, AreCompleteOrderedAndScaled) {
  using Number = std::optional<float>;
  const Number none;
  const struct {
    const char* name;
    Number def, min, max;
    bool sample_rate;
    Range expected;
  } cases[] = {
      {"plain", 2.0f, 1.0f, 4.0f, false, {2, 1, 4}},
      {"nothing", none, none, none, false, {0, 0, 1}},
      {"default alone", 440.0f, none, none, false, {440, 0, 440}},
      {"negative default alone", -6.0f, none, none, false, {-6, -6, 1}},
      {"no default", none, 2.0f, 4.0f, false, {2, 2, 4}},
      {"minimum above the missing maximum", none, 20.0f, none, false, {20, 20, 20}},
      {"default outside", 9.0f, 0.0f, 5.0f, false, {5, 0, 5}},
      {"bounds the wrong way round", 1.0f, 3.0f, 0.0f, false, {1, 0, 3}},
      {"fractions of the rate", 0.25f, 0.0f, 0.5f, true, {12'000, 0, 24'000}},
      {"a default in hertz", 440.0f, 0.0f, 0.5f, true, {440, 0, 24'000}},
  };
  for (const auto& test : cases) {
    Port port;
    port.def = test.def;
    port.min = test.min;
    port.max = test.max;
    port.properties = test.sample_rate ? property_sample_rate : 0u;
    const Range range = range_at(port, 48'000);
    EXPECT_FLOAT_EQ(range.def, test.expected.def) << test.name;
    EXPECT_FLOAT_EQ(range.min, test.expected.min) << test.name;
    EXPECT_FLOAT_EQ(range.max, test.expected.max) << test.name;
  }
  Port logarithmic;
  logarithmic.properties = property_logarithmic;
  EXPECT_TRUE(logarithmic_is_usable(logarithmic, {1, 0.5f, 2}));
  EXPECT_FALSE(logarithmic_is_usable(logarithmic, {1, 0, 2}));
}

class Lv2Description : public testing::Test {
 protected:
  std::shared_ptr<const Description> describe(const std::string& uri) {
    std::string error;
    const auto plugin = find_by_uri(uri, error);
    EXPECT_EQ(error, "");
    EXPECT_TRUE(plugin) << uri;
    return plugin ? plugin->description : std::make_shared<const Description>();
  }

  TemporaryFolder installed_;
  TemporaryFolder cache_;
  Environment vesk_cache_{"VESK_CACHE", cache_.path().string()};
};

class OwnBundle : public Lv2Description {
 protected:
  Environment lv2_path_{"LV2_PATH", installed_.path().string()};
};

std::string text_of(const StateProperty& property) {
  return std::string(reinterpret_cast<const char*>(property.value.data()), property.value.size());
}

TEST_F(OwnBundle, EveryPartOfADescriptionArrives) {
  const auto folder = installed_.path() / "with space & 100%.lv2";
  tests::write_bundle(
      folder, "urn:vesk:full",
      "a lv2:ReverbPlugin ; doap:name \"Full\\nname\" ; doap:maintainer [ foaf:name \"Maker\" ] ;\n"
      "lv2:minorVersion 3 ; lv2:microVersion 400 ;\n"
      "lv2:requiredFeature <urn:need:b>, <urn:need:a> ; lv2:optionalFeature <urn:may> ;\n"
      "lv2:extensionData <urn:data> ; patch:writable <urn:vesk:file> ;\n"
      "<http://lv2plug.in/ns/ext/options#requiredOption> <urn:option> ;\n"
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
              "units:unit [ units:symbol \"q\" ; units:render \"%f q\" ] ] ,\n"
              "[ a atom:AtomPort, lv2:InputPort ; lv2:index 4 ; lv2:symbol \"events\" ;\n"
              "lv2:name \"Events\" ; atom:bufferType atom:Sequence ; rsz:minimumSize 70000 ;\n"
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
                                           "<http://lv2plug.in/ns/ext/urid#map> .\n"
                                           "<urn:vesk:file> rdfs:label \"File\" .\n");
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
  EXPECT_TRUE(plugin->requires_feature("urn:need:b"));
  EXPECT_FALSE(plugin->requires_feature("urn:may"));
  EXPECT_EQ(plugin->optional_features, std::vector<std::string>{"urn:may"});
  EXPECT_EQ(plugin->extension_data, std::vector<std::string>{"urn:data"});
  EXPECT_EQ(plugin->required_options, std::vector<std::string>{"urn:option"});
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
  EXPECT_EQ(mode.unit, (Unit{"", "", "q", "%f q"}));
  const Port& events = plugin->ports[4];
  EXPECT_EQ(events.kind, PortKind::atom);
  EXPECT_EQ(events.events, events_midi | events_time);
  EXPECT_EQ(events.minimum_size, 70'000u);
  EXPECT_EQ(events.buffer_type, "http://lv2plug.in/ns/ext/atom#Sequence");
  EXPECT_TRUE(plugin->ports[5].has(property_reports_latency));
  EXPECT_EQ(plugin->ports[6].kind, PortKind::cv);
  EXPECT_EQ(plugin->ports[6].direction, Direction::output);

  ASSERT_EQ(plugin->editors.size(), 1u);
  EXPECT_EQ(plugin->editors[0], (Editor{"urn:vesk:full#ui",
                                        "http://lv2plug.in/ns/extensions/ui#X11UI",
                                        bundle + "ui.so",
                                        bundle,
                                        {"http://lv2plug.in/ns/ext/urid#map"},
                                        {},
                                        {}}));
  ASSERT_EQ(plugin->patch_properties.size(), 1u);
  EXPECT_EQ(plugin->patch_properties[0].uri, "urn:vesk:file");
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
  tests::write_plain_bundle(installed_.path() / "a.lv2", "urn:vesk:a", "a");
  tests::settle(installed_.path());
  EXPECT_TRUE(describe("urn:vesk:a")->presets.empty());
  const auto presets = installed_.path() / "my-presets.lv2";
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
  tests::write_bundle(installed_.path() / "a.lv2", "urn:vesk:a",
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
  const auto folder = installed_.path() / "a.lv2";
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
    tests::write_bundle(installed_.path() / (std::string(test.name) + ".lv2"), uri, test.body);
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
