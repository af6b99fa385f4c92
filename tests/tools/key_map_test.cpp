// The picture of an instrument's keys in vesk-list.

#include "tools/list/key_map.hpp"

#include <gtest/gtest.h>

namespace vesk::tools {
namespace {

using namespace sampler;

Zone zone(std::uint8_t low, std::uint8_t high, std::uint8_t root, KeyRange velocities = {},
          std::optional<std::size_t> group = {}) {
  Zone made;
  made.keys = {low, high};
  made.root_key = root;
  made.velocities = velocities;
  made.group = group;
  return made;
}

TEST(KeyMap, ShowsZonesLayersAndConditions) {
  Group turn, released, switched;
  turn.condition.kind = GroupCondition::Kind::round_robin;
  released.sounds_on_release = true;
  switched.condition = {GroupCondition::Kind::note, 24, {}};
  switched.sounds_on_release = true;
  const std::pair<Instrument, const char*> cases[] = {
      {{.zones = {zone(60, 63, 61), zone(64, 71, 90)}},
       "        C3\n"
       "        C D EF G A B\n"
       "  1-127 aAaabbbbbbbb\n"},
      {{.zones = {zone(60, 63, 60, {0, 63}), zone(60, 63, 60, {64, 127}),
                  zone(62, 65, 65, {64, 127})}},
       "        C3\n"
       "        C D EF G A B\n"
       " 64-127 Aa22bB......\n"
       "   1-63 Aaaa........\n"},
      {{.zones = {zone(120, 127, 0), zone(120, 120, 0, {}, 0), zone(120, 121, 0, {}, 0),
                  zone(127, 127, 127, {}, 1), zone(126, 126, 0, {}, 2)},
        .groups = {turn, released, switched}},
       "        C8\n"
       "        C D EF G\n"
       "  1-127 aaaaaaaa\n"
       "\n"
       "in turn:\n"
       "        C8\n"
       "        C D EF G\n"
       "  1-127 2b......\n"
       "\n"
       "on release:\n"
       "        C8\n"
       "        C D EF G\n"
       "  1-127 .......A\n"
       "\n"
       "on release, after the key switch C0:\n"
       "        C8\n"
       "        C D EF G\n"
       "  1-127 ......a.\n"},
  };
  for (const auto& [instrument, picture] : cases) EXPECT_EQ(key_map(instrument), picture);
}

TEST(KeyMap, KeepsToEightyColumnsAndBandsOfManyVelocities) {
  Instrument wide;
  for (std::uint8_t i = 0; i < 100; ++i) wide.zones.push_back(zone(0, 127, 0, {i, 127}));
  const std::string text = key_map(wide);
  std::size_t lines = 0;
  for (std::size_t at = 0, end = 0; end != text.npos; at = end + 1, ++lines) {
    end = text.find('\n', at);
    EXPECT_LE(std::min(end, text.size()) - at, 80u);
  }
  EXPECT_EQ(lines, 22u) << text;  // two halves of a keyboard with eight bands each
  EXPECT_NE(text.find("\n   1-15 ******"), text.npos) << text;
}

}  // namespace
}  // namespace vesk::tools
