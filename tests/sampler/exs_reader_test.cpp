// EXS24 instruments written by tests/sampler/exs_writer.hpp and read back.

#include "components/sampler/instrument/exs_reader.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "components/sampler/instrument/round_robin.hpp"
#include "tests/sampler/exs_writer.hpp"
#include "tests/support/scratch_folder.hpp"

namespace vesk::tests {
namespace {

using namespace vesk::sampler;
using Order = ExsLayout::Order;
using Kind = GroupCondition::Kind;

std::optional<Instrument> read(const ExsInstrument& instrument, const ExsLayout& layout = {}) {
  std::string error;
  auto found = read_exs(exs_file(instrument, layout), error);
  EXPECT_TRUE(found) << error;
  return found;
}

/// One zone, one sample.
ExsInstrument small(const ExsZone& zone = {}) {
  return {.zones = {zone}, .samples = {{.folder = "/V/Keys", .file_name = "a.wav"}}};
}

Zone read_zone(const ExsZone& zone, const ExsLayout& layout = {}) {
  const auto instrument = read(small(zone), layout);
  return instrument ? instrument->zones.front() : Zone{};
}

Settings read_settings(const std::vector<std::pair<int, int>>& parameters,
                       const ExsLayout& layout = exs_late) {
  ExsInstrument instrument = small();
  instrument.parameters = parameters;
  const auto found = read(instrument, layout);
  return found ? found->settings : Settings{};
}

std::string text_of(const Instrument& instrument) {
  std::ostringstream text;
  const auto put = [&text](const auto&... words) { ((text << words << ' '), ...); };
  put(instrument.name, instrument.settings.gain_db, instrument.settings.filter.cutoff);
  for (const Zone& zone : instrument.zones) {
    put("\nzone", zone.name, zone.sample, zone.group.value_or(99), int{zone.keys.low},
        int{zone.keys.high}, int{zone.velocities.low}, int{zone.velocities.high},
        int{zone.root_key}, zone.tune_cents, zone.gain_db, zone.pan, zone.start, zone.end);
    put("loop", zone.loop.is_on, zone.loop.crossfades_equal_power, zone.loop.is_left_on_release,
        zone.loop.start, zone.loop.end, zone.loop.crossfade, int{zone.loop.tune_cents},
        int(zone.loop.direction));
  }
  for (const Group& group : instrument.groups)
    put("\ngroup", group.name, int{group.polyphony}, int{group.exclusive_class},
        std::lround(group.envelope.attack * 1000), std::lround(group.envelope.release * 1000));
  for (const SampleReference& sample : instrument.samples)
    put("\nsample", sample.folder, sample.file_name, sample.frames, sample.sample_rate,
        sample.channels);
  return text.str();
}

TEST(ExsReader, AnInstrumentReadsAlikeInEveryOrderAndGeneration) {
  ExsZone zone{.name = "low", .sample = 1, .group = 1, .key_low = 20, .key_high = 50};
  zone.root_key = 36, zone.velocity_low = 3, zone.velocity_high = 90;
  zone.coarse_tune = -2, zone.fine_tune = -7, zone.volume = -5, zone.pan = -25;
  zone.start = 70'000, zone.end = 90'000, zone.has_loop = true, zone.loop_direction = 2;
  zone.crossfades_equal_power = zone.leaves_loop_on_release = true;
  zone.loop_start = 71'000, zone.loop_end = 80'000, zone.loop_crossfade = 12, zone.loop_tune = -3;
  ExsGroup group{.name = "hats", .volume = 2, .pan = 5, .polyphony = 3, .exclusive_class = 4};
  group.attack = 37, group.release = -10;
  const ExsInstrument written{
      .name = "Grand",
      .zones = {zone},
      .groups = {{}, group},
      .samples = {{.file_name = "other.wav"}, {"/Volumes/X/Keys", "C1.aif", "", 90'000, 48'000, 2}},
      .parameters = {{0x07, -6}, {0x55, 71}, {0x1E, 500}}};
  for (ExsLayout layout : {exs_early, exs_usual, exs_late})
    for (const Order order : {Order::little, Order::big, Order::big_with_swapped_word})
      for (const char* magic : {"TBOS", "JBOS"})
        for (const bool has_size_flag : {false, true}) {
          layout.order = order, layout.magic = magic, layout.has_size_flag = has_size_flag;
          const auto found = read(written, layout);
          ASSERT_TRUE(found);
          EXPECT_EQ(text_of(*found),
                    "Grand -6 0.5 \n"
                    "zone low 1 1 20 50 3 90 36 -207 -3 -0.4 70000 90000 "
                    "loop 1 1 1 71000 80000 12 -3 2 \n"
                    "group group 0 0 0 977 \n"
                    "group hats 3 4 72 532 \n"
                    "sample  other.wav 0 44100 1 \n"
                    "sample /Volumes/X/Keys C1.aif 90000 48000 2 ")
              << layout.zone << ' ' << int(order) << magic << has_size_flag;
        }
}

TEST(ExsReader, ZonesKeepTheRules) {
  const Zone flags[]{read_zone({.is_one_shot = true}), read_zone({.tracks_pitch = false}),
                     read_zone({.is_reversed = true})};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(flags[i].is_one_shot, i == 0);
    EXPECT_EQ(flags[i].tracks_pitch, i != 1);
    EXPECT_EQ(flags[i].is_reversed, i == 2);
  }
  const Zone turned =
      read_zone({.key_low = 70, .key_high = 30, .velocity_low = 99, .velocity_high = 20});
  EXPECT_TRUE(turned.keys.low == 30 && turned.keys.high == 70);
  EXPECT_TRUE(turned.velocities.low == 20 && turned.velocities.high == 99);
  const Zone beyond = read_zone({.key_high = 255, .root_key = 200});
  EXPECT_TRUE(beyond.keys.high == 127 && beyond.root_key == 127);
  // The finer volume is not written in many files.
  EXPECT_EQ(read_zone({.volume = -4, .exact_volume = -4.5f}).gain_db, -4.5);
  EXPECT_EQ(read_zone({.volume = 12, .exact_volume = 0.0f}).gain_db, 12);
  EXPECT_EQ(read_zone({.volume = 3, .exact_volume = NAN}).gain_db, 3);
  EXPECT_EQ(read_zone({.start = 5, .end = -1}).end, 0);
  EXPECT_EQ(read_zone({.start = 50, .end = 20}).end, 51);
  EXPECT_EQ(read_zone({.start = -8}).start, 0);
  EXPECT_FALSE(read_zone({.group = 3}).group);
  EXPECT_EQ(read_zone({.sample = -1}).sample, 0u);
  for (const auto& [start, end, is_on] :
       {std::tuple(7, 9, true), {7, 8, false}, {-1, 9, false}, {INT32_MIN, INT32_MAX, false}})
    EXPECT_EQ(read_zone({.has_loop = true, .loop_start = start, .loop_end = end}).loop.is_on,
              is_on);
}

TEST(ExsReader, GroupsNarrowTheirZonesAndDropThoseThatNeverSound) {
  const struct {
    ExsGroup group;
    int keys_low, keys_high, velocities_low, velocities_high;  ///< -1: dropped
  } cases[]{
      {{}, 40, 80, 10, 100},
      {{.key_low = 50, .key_high = 60, .velocity_low = 90, .velocity_high = 127}, 50, 60, 90, 100},
      {{.velocity_low = 0, .velocity_high = 0}, 40, 80, 10, 100},
      {{.key_low = 81}, -1, 0, 0, 0},
      {{.velocity_high = 9}, -1, 0, 0, 0},
  };
  for (const auto& [group, keys_low, keys_high, velocities_low, velocities_high] : cases) {
    ExsInstrument written = small();
    written.zones.push_back(
        {.group = 0, .key_low = 40, .key_high = 80, .velocity_low = 10, .velocity_high = 100});
    written.groups = {group};
    const auto found = read(written);
    ASSERT_EQ(found->zones.size(), keys_low < 0 ? 1u : 2u);
    if (keys_low < 0) continue;
    const Zone& zone = found->zones[1];
    EXPECT_EQ(zone.keys.low, keys_low);
    EXPECT_EQ(zone.keys.high, keys_high);
    EXPECT_EQ(zone.velocities.low, velocities_low);
    EXPECT_EQ(zone.velocities.high, velocities_high);
  }
  // Groups of the first generation end before their keys.
  ExsInstrument written = small({.group = 0});
  written.groups = {{.key_low = 50, .key_high = 60}};
  ExsLayout cut;
  cut.group = 88;
  EXPECT_EQ(read(written, cut)->zones.front().keys.high, 127);
}

TEST(ExsReader, GroupsSayWhenAndHowTheySound) {
  ExsInstrument written = small();
  written.parameters = {{0x52, 20}, {0x53, 10}, {0x55, 120}, {0x51, 64}};
  written.groups = {{.is_muted = true, .trigger = ExsGroup::note, .switch_key = 24},
                    {.release = 100,
                     .trigger = ExsGroup::controller,
                     .controller_number = 4,
                     .value_low = 90,
                     .value_high = 20},
                    {.sounds_on_release = true,
                     .release_decay_ms = 1500,
                     .attack = 50,
                     .trigger = ExsGroup::bend,
                     .value_low = 64},
                    {.attack = 7,
                     .sustain = -64,
                     .cutoff = -50,
                     .trigger = ExsGroup::channel,
                     .midi_channel = 10},
                    {.previous_in_turn = 0}};
  const auto found = read(written)->groups;
  ASSERT_EQ(found.size(), 5u);
  const auto values = [&](std::size_t i) {
    const KeyRange& range = found[i].condition.values;
    return std::pair<int, int>(range.low, range.high);
  };
  EXPECT_TRUE(found[0].is_muted && !found[1].is_muted);
  EXPECT_EQ(found[0].condition.kind, Kind::note);
  EXPECT_EQ(found[0].condition.number, 24);
  EXPECT_EQ(found[1].condition.kind, Kind::controller);
  EXPECT_EQ(found[1].condition.number, 4);
  EXPECT_EQ(values(1), std::pair(20, 90));
  EXPECT_EQ(found[1].envelope.release, 10) << "a slider ends at 127";
  EXPECT_EQ(found[2].condition.kind, Kind::bend);
  EXPECT_EQ(values(2), std::pair(64, 127));
  EXPECT_TRUE(found[2].sounds_on_release);
  EXPECT_EQ(found[2].release_decay, 1.5);
  EXPECT_NEAR(found[2].envelope.attack, 10 * std::pow(20 / 127.0, 4), 1e-9)
      << "offsets do not hold for releases";
  EXPECT_EQ(found[3].condition.kind, Kind::channel);
  EXPECT_EQ(values(3), std::pair(10, 10));
  EXPECT_NEAR(found[3].envelope.attack, 0.02, 0.0006);
  EXPECT_NEAR(found[3].envelope.attack_at_lowest, 10 * std::pow(17 / 127.0, 4), 1e-9);
  EXPECT_EQ(found[3].envelope.sustain, 0);
  EXPECT_EQ(found[3].cutoff_offset, -0.5);
  EXPECT_EQ(found[4].condition.kind, Kind::always);
  EXPECT_FALSE(found[4].next_in_turn) << "a link counts in groups that take turns only";
}

TEST(ExsReader, GroupsThatTakeTurnsComeRound) {
  using Links = std::vector<std::optional<int>>;
  using Turns = std::vector<std::optional<std::size_t>>;
  constexpr auto none = std::nullopt;
  const struct {
    const char* what;
    Links previous;
    Turns next;
  } cases[]{
      {"a set of four", {-1, 0, 1, 2}, {1, 2, 3, 0}},
      {"two sets by links", {-1, 0, -1, 2, 3}, {1, 0, 3, 4, 2}},
      {"two sets by places", {-1, 0, 1, -1, 0, 1}, {1, 2, 0, 4, 5, 3}},
      {"others in between", {none, -1, none, 1}, {none, 3, none, 1}},
      {"alone", {-1}, {0}},
      {"a circle", {2, 0, 1}, {1, 2, 0}},
      {"itself", {0}, {0}},
      {"links to nowhere and to one that takes no turns", {99, none, 1}, {0, none, 2}},
      {"against the order of the file", {1, 2, -1}, {2, 0, 1}},
  };
  for (const auto& [what, previous, next] : cases) EXPECT_EQ(make_cycles(previous), next) << what;
  ExsInstrument written = small();
  written.groups = {{.trigger = ExsGroup::round_robin},
                    {},
                    {.trigger = ExsGroup::round_robin, .previous_in_turn = 0}};
  const auto groups = read(written)->groups;
  EXPECT_EQ(groups[0].next_in_turn, 2u);
  EXPECT_EQ(groups[2].next_in_turn, 0u);
}

TEST(ExsReader, ParametersBecomeSettings) {
  const Settings rest = read_settings({});
  EXPECT_EQ(rest.polyphony, 16u);
  EXPECT_EQ(rest.bend_down, 2);
  EXPECT_EQ(rest.velocity_lowest_db, -60);
  EXPECT_EQ(rest.envelope.sustain, 1);
  EXPECT_FALSE(rest.has_envelope || rest.filter.is_on);
  const struct {
    std::vector<std::pair<int, int>> parameters;
    std::function<double(const Settings&)> value;
    double expected;
  } cases[]{
      {{{0x03, 12}}, [](const Settings& s) { return s.bend_down; }, 12},
      {{{0x03, 12}, {0x04, 5}}, [](const Settings& s) { return s.bend_down; }, 5},
      {{{0x05, 1000}}, [](const Settings& s) { return s.polyphony; }, 128},
      {{{0x07, -6}, {0x07, -9}}, [](const Settings& s) { return s.gain_db; }, -9},
      {{{0x0E, -24}, {0x0F, 12}}, [](const Settings& s) { return s.tune_cents; }, -2388},
      {{{0x0E, 32767}}, [](const Settings& s) { return s.tune_cents; }, 4800},
      {{{0x2D, -12}}, [](const Settings& s) { return s.transpose; }, -12},
      {{{0x0A, 1}}, [](const Settings& s) { return s.is_mono; }, 1},
      {{{0xAC, 66}}, [](const Settings& s) { return s.hold_controller; }, 66},
      {{{0xAC, 0}}, [](const Settings& s) { return s.hold_controller; }, 64},
      {{{0x160, -25}}, [](const Settings& s) { return s.pan; }, -0.5},
      {{{0x5A, -12}}, [](const Settings& s) { return s.velocity_lowest_db; }, -12},
      {{{0x61, 9}}, [](const Settings& s) { return s.velocity_crossfade; }, 9},
      {{{0x51, 0}}, [](const Settings& s) { return s.envelope.sustain; }, 0},
      {{{0x51, 0}}, [](const Settings& s) { return s.has_envelope; }, 1},
      {{{0x58, 127}}, [](const Settings& s) { return s.envelope.hold; }, 10},
      {{{0x58, 127}, {0x6B, 2}}, [](const Settings& s) { return s.envelope.hold; }, 0},
      {{{0x16D, 127}, {0x6B, 4}}, [](const Settings& s) { return s.envelope.delay; }, 10},
      {{{0x16D, 127}, {0x6B, 3}}, [](const Settings& s) { return s.envelope.delay; }, 0},
      {{{0x6B, 0}}, [](const Settings& s) { return s.envelope.sustain; }, 0},
      {{{0x51, 5}, {0x6B, 1}}, [](const Settings& s) { return s.envelope.sustain; }, 1},
      {{{0x2C, 1}, {0xF3, 5}}, [](const Settings& s) { return int(s.filter.kind); }, 5},
      {{{0xF3, 17}}, [](const Settings& s) { return int(s.filter.kind); }, 0},
      {{{0x1D, 250}}, [](const Settings& s) { return s.filter.resonance; }, 0.25},
      {{{0x4C, 127}}, [](const Settings& s) { return s.filter.envelope.attack; }, 10},
      {{{0x3F, 98}}, [](const Settings& s) { return s.lfos[1].rate_hz; }, 5},
      {{{0x3C, 127}}, [](const Settings& s) { return s.lfos[0].fade_in; }, 10},
  };
  for (const auto& [parameters, value, expected] : cases)
    EXPECT_DOUBLE_EQ(value(read_settings(parameters)), expected)
        << "parameter " << parameters.back().first << " as " << parameters.back().second;
  // Times by two lists of readings
  for (const auto& [slider, seconds] :
       {std::pair(19, 0.005), {27, 0.020}, {37, 0.072}, {53, 0.303}, {94, 3.0}, {127, 10.0}})
    EXPECT_NEAR(read_settings({{0x55, slider}}).envelope.release, seconds, seconds * 0.03);
  // The count says 20 records; these are 25.
  std::vector<std::pair<int, int>> many(24, {0x200, 1});
  many.emplace_back(0x160, 50);
  EXPECT_EQ(read_settings(many).pan, 1);
}

TEST(ExsReader, SlotsBecomeModulations) {
  const auto vibrato = read_settings({{0xAD, 6}, {0xAE, -12}, {0xAF, 1}, {0xB1, 343}}).modulations;
  ASSERT_EQ(vibrato.size(), 1u);
  EXPECT_EQ(vibrato[0].source, Modulation::Source::lfo1);
  EXPECT_EQ(vibrato[0].via, Modulation::Source::controller);
  EXPECT_EQ(vibrato[0].via_controller, 1);
  EXPECT_EQ(vibrato[0].destination, Modulation::Destination::pitch);
  EXPECT_EQ(vibrato[0].amount_low, 0);
  EXPECT_EQ(vibrato[0].amount_high, 0.343);
  // The tenth and the eleventh, which stands elsewhere
  const auto last = read_settings({{0xE3, 8},
                                   {0xE4, 7},
                                   {0xE7, -500},
                                   {0xE8, 1},
                                   {0xF2, 1},
                                   {0x19B, 11},
                                   {0x19C, -13},
                                   {0x19E, 1000}})
                        .modulations;
  ASSERT_EQ(last.size(), 2u);
  EXPECT_EQ(last[0].source_controller, 7);
  EXPECT_EQ(last[0].amount_high, -0.5);
  EXPECT_TRUE(last[0].is_via_inverted && last[0].is_source_inverted);
  EXPECT_EQ(last[1].source, Modulation::Source::amplitude_envelope);
  EXPECT_EQ(last[1].destination, Modulation::Destination::pan);
  EXPECT_EQ(last[1].amount_low, 1);
  // Bypassed, without a source, to a destination that is nowhere here
  EXPECT_TRUE(read_settings({{0xAD, 6},
                             {0xAE, 1},
                             {0xF4, 1},
                             {0xB3, 6},
                             {0xB9, 38},
                             {0xBA, 1},
                             {0x19B, 6},
                             {0x19C, 1},
                             {0x1A2, 1}})
                  .modulations.empty());
}

TEST(ExsReader, SamplesAreNamedAsTheirMakersDid) {
  const struct {
    ExsSample sample;
    ExsLayout layout;
    const char *folder, *name;
  } cases[]{
      {{.folder = "/V", .file_name = "Grand C#1 long.aif", .header_name = "Grand#41C8.aif"},
       exs_usual,
       "/V",
       "Grand C#1 long.aif"},
      {{.folder = "/V", .file_name = "Grand C#1 long.aif", .header_name = "Grand#41C8.aif"},
       exs_early,
       "/V",
       "Grand#41C8.aif"},
      {{.folder = "/V", .header_name = "header.wav"}, exs_usual, "/V", "header.wav"},
      {{.folder = "Disk:Keys:Old", .file_name = "a:b.wav"}, exs_usual, "Disk/Keys/Old", "a:b.wav"},
      {{.folder = "/V/a:b", .file_name = "x"}, exs_usual, "/V/a:b", "x"},
      {{.folder = "/Fl\x9Fgel", .file_name = "\x8E.wav"}, exs_usual, "/Fl\u00FCgel", "\u00E9.wav"},
      {{.folder = "/Fl\u00FCgel", .file_name = "e\u0301.wav"},
       exs_usual,
       "/Fl\u00FCgel",
       "e\u0301.wav"},
      {{.folder = "/V", .file_name = "\xED\xA0\x80.wav"},
       exs_usual,
       "/V",
       "\u00CC\u2020\u00C4.wav"},
      {{.folder = std::string(300, 'x'), .file_name = std::string(256, 'y')},
       exs_usual,
       "",
       nullptr},
  };
  for (const auto& [sample, layout, folder, name] : cases) {
    ExsInstrument written = small();
    written.samples = {sample};
    const SampleReference found = read(written, layout)->samples.front();
    EXPECT_EQ(found.folder, name ? folder : std::string(256, 'x'));
    EXPECT_EQ(found.file_name, name ? name : std::string(256, 'y'));
  }
}

TEST(ExsReader, DamagedFilesGiveWhatIsWholeOrAreRefused) {
  ExsInstrument written = small();
  written.samples.push_back({.file_name = "second.wav"});
  const std::vector<std::byte> whole = exs_file(written);
  const std::size_t zone_end = 84 + 80 + 84 + 136, sample_end = zone_end + 84 + 592;
  ASSERT_EQ(whole.size(), sample_end + 84 + 592);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    std::string error;
    // A copy of its own, so that an address checker sees a step over its end.
    const std::vector<std::byte> cut(whole.begin(),
                                     whole.begin() + static_cast<std::ptrdiff_t>(size));
    const auto found = read_exs(cut, error);
    ASSERT_EQ(found.has_value(), size >= sample_end) << size;
    const char* reason = size < 84 + 80      ? "it is no EXS24 instrument"
                         : size < zone_end   ? "there is no zone in it"
                         : size < sample_end ? "none of its zones can sound"
                                             : "";
    EXPECT_EQ(error, reason) << size;
  }
  const struct {
    const char* what;
    std::size_t at;
    std::vector<int> bytes;
    bool is_read;
  } cases[]{
      {"another magic at the start", 16, {'R', 'I', 'F', 'F'}, false},
      {"no instrument first", 3, {1}, false},
      {"another magic after the samples", sample_end + 16, {0}, true},
      {"a size beyond the file", sample_end + 4, {0xFF, 0xFF, 0xFF, 0xFF}, true},
      {"a size beyond the file, first", 4, {0xFF, 0xFF, 0xFF, 0x7F}, false},
      {"a sample far away", 84 + 80 + 84 + 92, {0xFF, 0xFF, 0xFF, 0x7F}, false},
      {"a negative sample", 84 + 80 + 84 + 92, {0xFE, 0xFF, 0xFF, 0xFF}, false},
      {"counts beyond reason", 84 + 4, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, true},
      {"a block that nobody knows", sample_end + 3, {0x4A}, true},
      {"a zone with a bit of newer files", 84 + 80 + 3, {0x41}, true},
  };
  for (const auto& [what, at, bytes, is_read] : cases) {
    std::vector<std::byte> damaged = whole;
    for (std::size_t i = 0; i < bytes.size(); ++i)
      damaged[at + i] = static_cast<std::byte>(bytes[i]);
    std::string error;
    EXPECT_EQ(read_exs(damaged, error).has_value(), is_read) << what << error;
  }
}

TEST(ExsReader, ASizeWithItsHighestBitIsTakenAsMeant) {
  // New files have blocks of more than 32,767 bytes; old ones set the bit, some without a sign.
  ExsInstrument written = small();
  ExsLayout large;
  large.sample = 40'000;
  EXPECT_TRUE(read(written, large));
  std::vector<std::byte> unsigned_flag = exs_file(written);
  for (const std::size_t block : {0, 84 + 80, 84 + 80 + 84 + 136})
    unsigned_flag[block + 5] |= std::byte{0x80};
  std::string error;
  EXPECT_TRUE(read_exs(unsigned_flag, error)) << error;
  ExsLayout old = exs_early;
  old.has_size_flag = true;
  std::vector<std::byte> with_rubbish = exs_file(written, old);
  with_rubbish.resize(with_rubbish.size() + 3);
  EXPECT_TRUE(read_exs(with_rubbish, error)) << error;
}

TEST(ExsReader, FilesThatAreNoneAreNamed) {
  const ScratchFolder folder;
  ASSERT_TRUE(write_exs(folder / "a.exs", small()));
  std::ofstream(folder / "text.exs") << std::string(200, 'x');
  std::ofstream(folder / "huge.exs") << "x";
  std::filesystem::resize_file(folder / "huge.exs", (64 << 20) + 1);
  ExsInstrument nameless = small();
  nameless.name = "";
  write_exs(folder / "Nameless.exs", nameless);
  std::string error;
  EXPECT_TRUE(read_exs_file(folder / "a.exs", error)) << error;
  EXPECT_EQ(read_exs_file(folder / "Nameless.exs", error)->name, "Nameless");
  const std::pair<std::string, std::string> cases[]{
      {folder / "text.exs", folder / "text.exs: it is no EXS24 instrument"},
      {folder / "none.exs", folder / "none.exs cannot be read: No such file or directory"},
      {folder.path(), folder.path() + " cannot be read: Is a directory"},
      {"/dev/zero", "/dev/zero cannot be read: Invalid argument"},
      {folder / "huge.exs", folder / "huge.exs: it is larger than an instrument can be, 64 MiB"},
  };
  for (const auto& [path, message] : cases) {
    EXPECT_FALSE(read_exs_file(path, error));
    EXPECT_EQ(error, message);
  }
}

}  // namespace
}  // namespace vesk::tests
