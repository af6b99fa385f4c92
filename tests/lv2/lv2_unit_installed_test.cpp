// Every installed LV2 plugin as a unit: it plays, its numbers are numbers, and its saved state
// makes another unit play the same.

#include <CoreFoundation/CoreFoundation.h>

#include <cstdlib>
#include <cstring>

#include "components/lv2/catalogue/plugin_search.hpp"
#include "components/unit_support/cf_object.hpp"
#include "tests/lv2/lv2_unit.hpp"

using namespace vesk::tests;
using vesk::CfObject;

/// eg-metro never frees its wave. Read by LeakSanitizer where that is in the build.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:metro.so\n";
}

namespace {

/// Of what is installed, the plugins of the packages that the tests bring along: others may well
/// play differently each time.
std::vector<std::string> installed_plugins() {
  std::string error;
  const auto catalogue = vesk::lv2::list_all(error);
  EXPECT_TRUE(catalogue) << error;
  std::vector<std::string> uris;
  if (!catalogue) return uris;
  for (const vesk::lv2::Entry& entry : catalogue->entries) {
    const bool is_known = entry.uri.starts_with("http://drobilla.net/plugins/mda/") ||
                          entry.uri.starts_with("http://lv2plug.in/plugins/eg-");
    if (is_known && entry.not_hosted.empty() && entry.type != kAudioUnitType_MIDIProcessor)
      uris.push_back(entry.uri);
  }
  return uris;
}

/// Notes and noise for a while; what came out, both channels after each other.
std::vector<float> play(Lv2Unit& unit) {
  std::vector<float> heard;
  // Some take their noise from the process's own generator.
  std::srand(1);
  for (UInt32 period = 0; period < 100; ++period) {
    if (period % 16 == 0)
      for (const UInt32 key : {48u, 60u, 67u})
        MusicDeviceMIDIEvent(unit.unit(), 0x90, key, 100, period % period_frames);
    if (period % 16 == 11) MusicDeviceMIDIEvent(unit.unit(), 0x80, 60, 0, 9);
    unit.input[0] = noise(2 * period);
    unit.input[1] = noise(2 * period + 1);
    EXPECT_EQ(unit.render(), noErr);
    for (const auto& channel : unit.output)
      heard.insert(heard.end(), channel.begin(), channel.end());
  }
  return heard;
}

/// Moves every parameter away from its default.
void turn_knobs(Lv2Unit& unit) {
  for (const vesk::lv2::Port& port : unit.plugin().ports) {
    const vesk::lv2::Range range = vesk::lv2::range_at(port, rate);
    // Refused by all that is none.
    unit.set(port.symbol, range.min + (range.max - range.min) * 0.375f);
  }
}

/// What the two play depends on memory that they never wrote, through lilv alone as well: other
/// bytes in the allocator's memory (M_PERTURB), another sound. Their state is compared all the
/// same.
bool plays_old_memory(const std::string& uri) {
  return uri == "http://drobilla.net/plugins/mda/JX10" ||
         uri == "http://drobilla.net/plugins/mda/Vocoder";
}

/// Bit by bit: a plugin that is driven to infinity must go there again.
bool same(const std::vector<float>& first, const std::vector<float>& second) {
  return first.size() == second.size() &&
         std::memcmp(first.data(), second.data(), first.size() * sizeof(float)) == 0;
}

TEST(Lv2UnitInstalled, PluginsPlayAndComeBackAsTheyWere) {
  const std::vector<std::string> uris = installed_plugins();
  ASSERT_GT(uris.size(), 35u);
  for (const std::string& uri : uris) {
    SCOPED_TRACE(uri);
    Lv2Unit first(uri);
    ASSERT_EQ(first.status(), noErr);
    turn_knobs(first);
    ASSERT_TRUE(first.initialize());
    const CfObject<CFPropertyListRef> state(
        first.property<CFPropertyListRef>(kAudioUnitProperty_ClassInfo));
    ASSERT_NE(state.get(), nullptr);
    const std::vector<UInt8> file = first.saved();
    const std::vector<float> heard = play(first);

    Lv2Unit second(uri);
    ASSERT_TRUE(second.initialize());
    // At once, and into a unit that has played already: what it played before is forgotten.
    for (int round = 0; round < 2; ++round) {
      ASSERT_EQ(second.set_property(kAudioUnitProperty_ClassInfo, state.get()), noErr);
      EXPECT_EQ(second.saved(), file);
      second.sample_time = 0;
      const std::vector<float> heard_again = play(second);
      if (!plays_old_memory(uri)) EXPECT_TRUE(same(heard_again, heard)) << round;
    }
  }
}

}  // namespace
