// Which zones sound, and for how long.

#include "tests/sampler/played_instrument.hpp"

namespace vesk::sampler {
namespace {

using vesk::tests::PlayedInstrument;
using Kind = GroupCondition::Kind;

struct Scene {
  const char* name;
  void (*arrange)(PlayedInstrument&);
  std::vector<std::pair<const char*, const char*>> acts;  ///< what is played, what is heard then
};
void PrintTo(const Scene& each, std::ostream* stream) {
  *stream << each.name;
}

/// Zones 0, 1, ... on the keys from 60.
void add_keys(PlayedInstrument& instrument, unsigned count) {
  for (unsigned i = 0; i < count; ++i) instrument.add_zone(60 + i, 60 + i);
}

void two_velocities(PlayedInstrument& instrument) {
  instrument.add_zone(50, 60).velocities = {0, 63};
  instrument.add_zone(50, 60).velocities = {64, 127};
  instrument.add_zone(61, 70);
}

void hats(PlayedInstrument& instrument) {
  add_keys(instrument, 4);
  instrument.add_group({0, 1}).exclusive_class = 1;
  instrument.add_group({2}).exclusive_class = 1;
  instrument.add_group({3}).exclusive_class = 2;
}

void release_sound(PlayedInstrument& instrument) {
  add_keys(instrument, 1);
  instrument.add_zone(60, 60);
  instrument.add_group({1}).sounds_on_release = true;
}

void turns(PlayedInstrument& instrument) {
  for (int i = 0; i < 3; ++i) instrument.add_zone(60, 60);
  add_keys(instrument, 2);
  instrument.instrument.zones[3].keys = {61, 61};
  instrument.instrument.zones[4].keys = {61, 61};
  for (const std::size_t i : {0u, 1u, 2u, 3u, 4u}) {
    Group& group = instrument.add_group({i});
    group.condition.kind = Kind::round_robin;
    group.next_in_turn = i < 3 ? (i + 1) % 3 : 7 - i;
  }
}

template <Kind kind, unsigned number>
void on_condition(PlayedInstrument& instrument) {
  for (const unsigned i : {0u, 1u}) {
    instrument.add_zone(60, 60);
    instrument.add_group({i}).condition = {
        kind, static_cast<std::uint8_t>(kind == Kind::note ? number + i : number),
        i == 0 ? KeyRange{0, 63} : KeyRange{64, 127}};
  }
  if (kind == Kind::channel) {
    instrument.instrument.groups[0].condition.values = {1, 1};
    instrument.instrument.groups[1].condition.values = {3, 16};
  }
}

void mono(PlayedInstrument& instrument) {
  add_keys(instrument, 3);
  instrument.instrument.settings.is_mono = true;
}

template <unsigned polyphony>
void with_polyphony(PlayedInstrument& instrument) {
  add_keys(instrument, 4);
  instrument.instrument.settings.polyphony = polyphony;
  instrument.instrument.settings.envelope.release = 10;
}

class Scenes : public testing::TestWithParam<Scene> {};

TEST_P(Scenes, SoundAsTheyShould) {
  PlayedInstrument instrument;
  GetParam().arrange(instrument);
  instrument.open();
  for (const auto& [script, heard] : GetParam().acts) {
    instrument.play(script);
    EXPECT_EQ(instrument.sounding(), heard) << script;
  }
}

INSTANTIATE_TEST_SUITE_P(
    , Scenes,
    testing::Values(
        Scene{
            "KeysAndVelocitiesAtTheirBorders",
            two_velocities,
            {{"50+63", "0"}, {"50- 60+64", "1"}, {"60- 61+60", "2"}, {"61- 49+", ""}, {"71+", ""}}},
        Scene{"AKeyEndsItsNote",
              [](PlayedInstrument& i) { add_keys(i, 2); },
              {{"60+ 61+", "0 1"}, {"60-", "1"}, {"61+0", ""}, {"2:60+ 60-", "0"}, {"2:60-", ""}}},
        Scene{"OneShotsPlayOn",
              [](PlayedInstrument& i) { i.add_zone(60, 60).is_one_shot = true; },
              {{"60+ 60- c123=0", "0"}, {"c120=0", ""}}},
        Scene{"ThePedalHoldsNotes",
              two_velocities,
              {{"c64=127 60+40 60-", "0"},
               {"c64=64", "0"},
               {"60+100 c64=63", "1"},
               {"60-", ""},
               {"c64=127 60+40 60- 60+100 60- c64=0", ""}}},
        Scene{"AnotherControllerCanHold",
              [](PlayedInstrument& i) {
                add_keys(i, 1);
                i.instrument.settings.hold_controller = 66;
              },
              {{"c66=127 60+ 60-", "0"}, {"c66=0", ""}, {"c64=127 60+ 60-", ""}}},
        Scene{"ChannelModeMessagesLeaveNothingHanging",
              [](PlayedInstrument& i) { add_keys(i, 2); },
              {{"60+ 4:61+ c123=0", ""},
               {"60+ c120=0", ""},
               {"60+ c126=0", ""},
               {"c64=127 60+ 60- c121=0", ""},
               {"60+ c121=0", "0"}}},
        Scene{"ThePolyphonyEndsOldNotes",
              with_polyphony<2>,
              {{"60+ 61+ 62+", "1 2"}, {"62- 63+", "1 3"}, {"60+", "0 3"}}},
        Scene{"LayersDoNotEndEachOther",
              [](PlayedInstrument& i) {
                for (int layer = 0; layer < 3; ++layer) i.add_zone(60, 61);
                i.instrument.settings.polyphony = 2;
              },
              {{"60+", "0 1"}, {"61+", "0 1"}}},
        Scene{"AGroupHasAPolyphonyOfNotes",
              [](PlayedInstrument& i) {
                for (int layer = 0; layer < 2; ++layer) i.add_zone(60, 60);
                for (int layer = 0; layer < 2; ++layer) i.add_zone(61, 61);
                i.add_zone(62, 62);
                i.add_group({0, 1, 2, 3}).polyphony = 1;
              },
              {{"62+ 60+", "0 1 4"}, {"61+", "2 3 4"}}},
        Scene{"AnExclusiveClassEndsOtherGroups",
              hats,
              {{"63+ 60+ 61+", "0 1 3"}, {"62+", "2 3"}, {"60+", "0 3"}}},
        Scene{"ReleasesStartSounds",
              release_sound,
              {{"60+", "0"},
               {"60-", "1"},
               {"c120=0", ""},
               {"c64=127 60+ 60-", "0"},
               {"c64=0", "1"},
               {"c64=127 c64=0", "1"}}},
        Scene{"SilencingStartsNoReleaseSound", release_sound, {{"60+ c120=0 60-", ""}}},
        Scene{"GroupsTakeTurns",
              turns,
              {{"60+", "0"},
               {"60- 60+", "1"},
               {"60- 61+", "3"},
               {"61- 60+", "2"},
               {"60- 61+", "4"},
               {"61- 60+", "0"},
               {"60- 61+", "3"}}},
        Scene{"KeysSwitchGroups",
              on_condition<Kind::note, 24>,
              {{"60+", "0"}, {"25+ 25- 60- 60+", "1"}, {"26+ 60- 60+", "1"}, {"24+ 60- 60+", "0"}}},
        Scene{"ControllersSwitchGroups",
              on_condition<Kind::controller, 20>,
              {{"60+", "0"}, {"c20=64", "0"}, {"60- 60+", "1"}, {"c20=63 60- 60+", "0"}}},
        Scene{"BendsSwitchGroups",
              on_condition<Kind::bend, 0>,
              {{"60+", "1"}, {"60- b-1 60+ b0", "0"}, {"60- b8191 60+ b0", "1"}}},
        Scene{"ChannelsSwitchGroups",
              on_condition<Kind::channel, 0>,
              {{"60+", "0"}, {"60- 2:60+", ""}, {"3:60+", "1"}}},
        Scene{"AMutedGroupIsSilent",
              [](PlayedInstrument& i) {
                add_keys(i, 1);
                i.add_group({0}).is_muted = true;
              },
              {{"60+", ""}}},
        Scene{"TranspositionMovesKeys",
              [](PlayedInstrument& i) {
                add_keys(i, 1);
                i.instrument.settings.transpose = -12;
              },
              {{"60+ 48+", ""}, {"72+", "0"}}},
        Scene{"OneVoiceGoesBackToTheOlderKey",
              mono,
              {{"60+ 61+", "1"}, {"62+ 61-", "2"}, {"62-", "0"}, {"60-", ""}}},
        Scene{"AVelocityCrossfadeWidensZones",
              [](PlayedInstrument& i) {
                two_velocities(i);
                i.instrument.settings.velocity_crossfade = 20;
                i.instrument.settings.velocity_lowest_db = 0;
              },
              {{"60+63", "0 1"}, {"60- 60+20", "0"}}}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(MissingSamples, AreSilentAndSaid) {
  PlayedInstrument instrument;
  add_keys(instrument, 3);
  for (const std::size_t i : {1u, 2u}) instrument.paths[i].clear();
  instrument.open();
  instrument.play("60+ 61+ 62+");
  EXPECT_EQ(instrument.sounding(), "0");
  EXPECT_EQ(instrument.sound->remark(), "2 of 3 samples are missing, the first is 1.wav");
}

TEST(Polyphony, AppliesToWhatSoundsAlready) {
  PlayedInstrument instrument;
  with_polyphony<8>(instrument);
  instrument.open();
  instrument.play("60+ 61+ 62+");
  instrument.controls.polyphony = 1;
  instrument.player->set(instrument.controls);
  EXPECT_EQ(instrument.sounding(), "2");
}

}  // namespace
}  // namespace vesk::sampler
