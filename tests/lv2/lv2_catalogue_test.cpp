// What is known about plugins without reading bundles: codes, types, ranges, the cache's form.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <unordered_map>

#include "components/lv2/catalogue/cache_file.hpp"
#include "components/lv2/catalogue/classification.hpp"
#include "components/lv2/catalogue/component_code.hpp"
#include "components/lv2/catalogue/record.hpp"

namespace vesk::lv2 {
namespace {

/// Two URIs with one primary code, the smaller first. Some five thousand tries find a pair.
std::pair<std::string, std::string> rivals() {
  std::unordered_map<std::uint32_t, std::string> seen;
  for (int i = 0;; ++i) {
    std::string uri = "urn:vesk:rival" + std::to_string(i);
    const auto [other, is_new] = seen.emplace(primary_code(uri), uri);
    if (!is_new) return std::minmax(other->second, uri);
  }
}

TEST(Lv2Codes, AreOfPrintableCharacters) {
  EXPECT_TRUE(is_component_code(primary_code("")));
  EXPECT_FALSE(is_component_code(0));
  EXPECT_FALSE(is_component_code(primary_code("") & 0xffffff00u));
  EXPECT_FALSE(is_component_code(primary_code("") | 0x80u));
}

TEST(Lv2Codes, OfTwoRivalsEachIsFoundUnderACodeOfItsOwnAndAloneUnderEither) {
  const auto [smaller, greater] = rivals();
  Index both;
  both.entries = {Entry(smaller), Entry(greater)};
  both.assign_codes();
  EXPECT_EQ(both.entries[0].code, primary_code(smaller));
  EXPECT_EQ(both.entries[1].code, alternate_code(greater));
  EXPECT_EQ(both.find_code(primary_code(greater))->uri, smaller);
  EXPECT_EQ(both.find_code(alternate_code(greater))->uri, greater);

  Index alone;
  alone.entries = {Entry(greater)};
  alone.assign_codes();
  EXPECT_EQ(alone.entries[0].code, primary_code(greater));
  EXPECT_EQ(alone.find_code(alternate_code(greater))->uri, greater);
}

Port audio(const char* symbol, Direction direction, std::uint32_t properties = 0) {
  Port port;
  port.symbol = port.name = symbol;
  port.kind = PortKind::audio;
  port.direction = direction;
  port.properties = properties;
  return port;
}

std::vector<Port> ports(int inputs, int outputs, bool midi_in = false, bool midi_out = false) {
  std::vector<Port> result;
  const auto add = [&](int count, Port port) {
    for (int i = 0; i < count; ++i) result.push_back(port);
  };
  add(inputs, audio("x", Direction::input));
  add(outputs, audio("y", Direction::output));
  for (const auto& [is_there, direction] :
       {std::pair{midi_in, Direction::input}, {midi_out, Direction::output}}) {
    Port port = audio("midi", direction);
    port.kind = PortKind::atom;
    port.events = events_midi;
    add(is_there, port);
  }
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

std::optional<CacheFile> read_cache(const Bytes& bytes) {
  File file = File::in_memory();
  if (!write_all(file.descriptor(), bytes)) return {};
  return CacheFile::from(std::move(file));
}

Bytes record() {
  PluginRecord record;
  record.sources = {{"a.ttl", 1, 2}};
  record.description.required_features = {"urn:a", "urn:b"};
  record.description.ports = ports(1, 2, true);
  record.description.ports[0].scale_points = {{1, "One"}, {2, "Two"}};
  record.description.default_state.properties = {{"urn:key", "urn:type", Bytes(5), "", 0, 3}};
  return encode(record);
}

TEST(Lv2CacheFile, NoticesEveryDamageToItsIndex) {
  Index index;
  index.folders = {{"/folder", 5, 0}};
  index.bundles = {{{"/folder/b/", 6, 0}, {"/folder/b/manifest.ttl", 7, 8}, {{}, {}, "reason"}}};
  for (const char* uri : {"urn:a", "urn:b"}) index.entries.emplace_back(uri);
  const std::vector<Bytes> records{record(), record()};
  const Bytes bytes = encode_cache(index, records);
  ASSERT_TRUE(read_cache(bytes));
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_FALSE(read_cache(Bytes(bytes.begin(), bytes.begin() + static_cast<long>(size)))) << size;
  const std::size_t records_at = bytes.size() - 2 * records[0].size();
  for (std::size_t bit = 0; bit < records_at * 8; ++bit) {
    Bytes damaged = bytes;
    damaged[bit / 8] ^= std::byte(1u << (bit % 8));
    EXPECT_FALSE(read_cache(damaged)) << "bit " << bit;
  }
}

TEST(Lv2CacheFile, AnIndexWhoseEntriesNameBundlesThatItDoesNotHoldIsRefused) {
  for (const std::uint32_t bundle : {0u, 1u, ~0u}) {
    Index of, watched;
    for (Index* index : {&of, &watched}) {
      index->bundles.resize(1);
      index->entries.emplace_back("urn:a");
    }
    of.entries[0].bundle = bundle;
    watched.entries[0].watched = {0, bundle};
    EXPECT_EQ(read_cache(encode_cache(of, {})).has_value(), bundle == 0) << bundle;
    EXPECT_EQ(read_cache(encode_cache(watched, {})).has_value(), bundle == 0) << bundle;
  }
}

TEST(Lv2CacheFile, DamagedRecordsAreReadWithinBounds) {
  std::mt19937 random(1);
  const Bytes whole = record();
  for (int round = 0; round < 20'000; ++round) {
    Bytes damaged = whole;
    for (unsigned change = random() % 4 + 1; change > 0; --change)
      damaged[random() % damaged.size()] = std::byte(random() % 256);
    if (random() % 4 == 0) damaged.resize(random() % damaged.size());
    if (const auto read = decode<PluginRecord>(damaged))
      EXPECT_EQ(encode(*read).size(), damaged.size());
  }
}

}  // namespace
}  // namespace vesk::lv2
