// How zones sound: pitch, level, time, and nothing that was not played.

#include "tests/sampler/played_instrument.hpp"

namespace vesk::sampler {
namespace {

using vesk::tests::cents_above;
using vesk::tests::decibels;
using vesk::tests::fit_sine;
using vesk::tests::largest_step;
using vesk::tests::PlayedInstrument;
using vesk::tests::Sine;
using vesk::tests::sine_frames;

constexpr double middle_c = 261.6255653;

TEST(Pitch, IsThatOfKeyTuningAndBend) {
  struct {
    const char* name;
    int file_rate;
    double rate;
    unsigned key, root;
    double zone_tune, control_tune;
    const char* bend;
    double cents;  ///< above the sample
  } const cases[] = {
      {"as it is", 44100, 44100, 60, 60, 0, 0, "b0", 0},
      {"another rate", 44100, 48000, 60, 60, 0, 0, "b0", 0},
      {"a high rate", 96000, 44100, 60, 60, 0, 0, "b0", 0},
      {"an octave up", 44100, 48000, 72, 60, 0, 0, "b0", 1200},
      {"four octaves up", 44100, 48000, 108, 60, 0, 0, "b0", 4800},
      {"two octaves down", 44100, 48000, 60, 84, 0, 0, "b0", -2400},
      {"parts of a cent", 44100, 48000, 61, 60, 0.4, -0.1, "b0", 100.3},
      {"bent up", 44100, 48000, 60, 60, 0, 0, "b8191", 200},
      {"bent down", 44100, 48000, 60, 60, 0, 0, "b-4096", -350},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    PlayedInstrument played;
    played.rate = each.rate;
    Zone& zone = played.add_zone(Sine{.frames = 4 * each.file_rate, .rate = each.file_rate});
    zone.root_key = static_cast<std::uint8_t>(each.root);
    zone.tune_cents = each.zone_tune;
    played.instrument.settings.bend_down = 7;
    played.open();
    played.controls.tune_cents += each.control_tune;
    played.player->set(played.controls);
    played.play(each.bend);
    const std::size_t begin = played.left.size();
    played.midi(0x90, each.key, 127);
    played.render(8000);
    const auto heard = std::span<const float>(played.left).subspan(begin + 1000);
    const double turns = middle_c * std::exp2(each.cents / 1200) / each.rate;
    EXPECT_NEAR(cents_above(heard, turns), 0, 0.01);
    EXPECT_NEAR(decibels(fit_sine(heard, turns).level / 0.5), 0, 0.01);
    EXPECT_LT(decibels(fit_sine(heard, turns).rest / 0.5), -90);
  }
}

// A loop of whole periods, for a minute: neither clicks nor drift.
TEST(Pitch, StaysInALongLoop) {
  PlayedInstrument played;
  Zone& zone = played.add_zone(Sine{.frequency = 441, .frames = 44100});
  zone.loop = {.is_on = true, .start = 10000, .end = 30000};
  played.open();
  played.midi(0x90, 61, 127);
  played.render(60 * 48000);
  const double turns = 441 * std::exp2(1 / 12.0) / 48000;
  EXPECT_NEAR(cents_above(std::span(played.left).subspan(100), turns), 0, 1e-4);
  EXPECT_LE(largest_step(std::span(played.left).subspan(100)), 0.5 * 2 * std::numbers::pi * turns);
}

TEST(Level, IsTheSumOfWhatIsSet) {
  struct {
    const char* name;
    void (*arrange)(PlayedInstrument&);
    const char* script;
    double left_db, right_db;  ///< against the sample
  } const cases[] = {
      {"nothing set", [](PlayedInstrument&) {}, "", 0, 0},
      {"the zone's", [](PlayedInstrument& i) { i.instrument.zones[0].gain_db = -7.5; }, "", -7.5,
       -7.5},
      {"louder", [](PlayedInstrument& i) { i.instrument.zones[0].gain_db = 5; }, "", 5, 5},
      {"the instrument's", [](PlayedInstrument& i) { i.instrument.settings.gain_db = -6; }, "", -6,
       -6},
      {"panned left", [](PlayedInstrument& i) { i.instrument.zones[0].pan = -1; }, "", 0, -240},
      {"panned right", [](PlayedInstrument& i) { i.instrument.settings.pan = 1; }, "", -240, 0},
      {"volume", [](PlayedInstrument&) {}, "c7=64", -11.9, -11.9},
      {"expression", [](PlayedInstrument&) {}, "c11=90 c11=64", -11.9, -11.9},
      {"balance", [](PlayedInstrument&) {}, "c10=127", -240, 0},
      {"as it was", [](PlayedInstrument&) {}, "c11=3 c121=0", 0, 0},
      {"silenced", [](PlayedInstrument& i) { i.instrument.settings.gain_db = -90; }, "", -240,
       -240},
  };
  for (const int channels : {1, 2})
    for (const auto& each : cases) {
      SCOPED_TRACE(each.name);
      PlayedInstrument played;
      played.add_zone(Sine{.frequency = 480, .rate = 48000, .channels = channels, .level = 0.25});
      each.arrange(played);
      played.open();
      played.play(each.script);
      const std::size_t begin = played.left.size();
      played.midi(0x90, 60, 127);
      played.render(4800);
      const auto level = [&](const std::vector<float>& side) {
        return decibels(fit_sine(std::span(side).subspan(begin), 0.01).level / 0.25);
      };
      EXPECT_NEAR(level(played.left), each.left_db, 0.05);
      EXPECT_NEAR(level(played.right), each.right_db, 0.05);
    }
}

TEST(Sides, OfAStereoSampleStayApart) {
  PlayedInstrument played;
  std::vector<float> frames;
  for (int i = 0; i < 8000; ++i) frames.insert(frames.end(), {0.25f, -0.5f});
  played.add_zone(frames, 44100, 2);
  played.open();
  played.midi(0x90, 64, 127);
  played.render(1000);
  for (unsigned i = 200; i < 1000; ++i) {
    ASSERT_NEAR(played.left[i], 0.25f, 1e-5);
    ASSERT_NEAR(played.right[i], -0.5f, 1e-5);
  }
}

TEST(Notes, StartOnTheirFrameAndEndWithTheSample) {
  PlayedInstrument played;
  played.add_zone(std::vector<float>(500, 0.5f), 48000, 1);
  played.open();
  for (const unsigned offset : {0u, 1u, 77u, 300u}) {
    const std::size_t begin = played.left.size();
    played.render(offset);
    played.midi(0x90, 60, 127);
    played.render(1000);
    for (unsigned i = 0; i < offset + 500; ++i)
      ASSERT_NEAR(played.left[begin + i], i < offset ? 0 : 0.5, 1e-6) << i;
    for (unsigned i = offset + 500; i < offset + 1000; ++i)
      ASSERT_EQ(played.left[begin + i], 0) << i;
  }
}

// The sine's own steps are 0.0105 at the most.
TEST(Clicks, ComeFromNothingThatEndsOrChanges) {
  struct {
    const char* name;
    const char* script;
    void (*change)(PlayedInstrument&);
  } const cases[] = {
      {"a key's end", "60-", nullptr},
      {"all sound off", "c120=0", nullptr},
      {"another hat", "62+", nullptr},
      {"another note at polyphony 1", "127+",
       [](PlayedInstrument& i) { i.controls.polyphony = 1; }},
      {"volume", "c7=0", nullptr},
      {"expression", "c11=1", nullptr},
      {"balance", "c10=0 c10=127", nullptr},
      {"gain", "c2=0", [](PlayedInstrument& i) { i.controls.gain_db = -60; }},
      {"pan", "c2=0", [](PlayedInstrument& i) { i.controls.pan = 1; }},
      {"tuning", "b8191", [](PlayedInstrument& i) { i.controls.tune_cents = -100; }},
      {"volume by a slot", "c3=127", nullptr},
      {"reset of the controllers", "c11=20 c121=0", nullptr},
  };
  // Words fall on frames 480 apart, the changes onto different phases of the sine.
  for (const auto& each : cases)
    for (const unsigned phase : {0u, 37u, 71u, 95u}) {
      SCOPED_TRACE(each.name);
      PlayedInstrument played;
      played.add_zone(Sine{.frequency = 201, .frames = 96000, .rate = 48000, .level = 0.4});
      played.add_zone(std::vector<float>(1000, 0.0f), 48000, 1);
      played.instrument.zones[0].tracks_pitch = false;
      played.instrument.zones[0].keys = {60, 60};
      played.instrument.zones[1].keys = {61, 127};
      for (const std::size_t i : {0u, 1u}) played.add_group({i}).exclusive_class = 1;
      played.instrument.settings.modulations = {{.source = Modulation::Source::controller,
                                                 .source_controller = 3,
                                                 .destination = Modulation::Destination::volume,
                                                 .amount_high = -1}};
      played.open();
      played.play("60+127");
      played.render(phase);
      const std::size_t begin = played.left.size() - 2;
      if (each.change != nullptr) each.change(played);
      played.player->set(played.controls);
      played.play(each.script);
      for (const auto* side : {&played.left, &played.right})
        EXPECT_LE(largest_step(std::span(*side).subspan(begin)), 0.0105 * 1.35);
    }
}

TEST(Stealing, KeepsToItsVoicesHoweverManyNotesCome) {
  PlayedInstrument played;
  played.add_zone(Sine{.frames = 20000, .level = 0.001});
  played.instrument.settings.polyphony = 128;
  played.open();
  unsigned key = 0;
  for (int round = 0; round < 20; ++round) {
    for (int i = 0; i < 100; ++i, key = (key + 7) % 128) played.midi(0x90, key, 127);
    played.render(16);
  }
  for (const float value : played.left) ASSERT_LT(std::abs(value), 0.001f * 161);
}

TEST(Envelopes, AreTheGroupsAndFollowTheControls) {
  PlayedInstrument played;
  played.add_zone(std::vector<float>(300000, 0.5f), 48000, 1);
  played.add_group({0}).envelope = {.attack = 0.2, .attack_at_lowest = 0.2, .release = 1};
  played.instrument.settings.envelope = {.attack = 0.1, .attack_at_lowest = 0.1, .release = 0.5};
  played.open();
  const auto level_after = [&](double seconds) {
    played.render(static_cast<unsigned>(seconds * played.rate));
    return played.left.back() / 0.5;
  };
  played.midi(0x90, 60, 127);
  EXPECT_NEAR(level_after(0.1), 0.5, 0.01);
  EXPECT_NEAR(level_after(0.2), 1, 0.01);
  played.controls.attack = 0.2;
  played.controls.release = 1;
  played.player->set(played.controls);
  played.midi(0x80, 60, 0);
  EXPECT_GT(level_after(1.1), 1e-3);
  EXPECT_EQ(level_after(1), 0);
  played.midi(0x90, 60, 127);
  EXPECT_NEAR(level_after(0.2), 0.5, 0.01);
}

TEST(ReleaseSounds, FadeWithTheTimeThatTheKeyWasDown) {
  PlayedInstrument played;
  played.add_zone(std::vector<float>(100, 0.0f), 48000, 1).keys = {0, 0};
  played.add_zone(std::vector<float>(48000, 0.5f), 48000, 1);
  auto& group = played.add_group({1});
  group.sounds_on_release = true;
  group.release_decay = 2;
  played.open();
  for (const unsigned seconds : {0u, 1u, 3u}) {
    played.midi(0x90, 60, 127);
    played.render(48000 * seconds);
    played.midi(0x80, 60, 0);
    played.render(500);
    EXPECT_NEAR(played.left.back(), seconds == 0 ? 0.5 : seconds == 1 ? 0.25 : 0, 0.001);
    played.midi(0xB0, 120, 0);
    played.render(500);
  }
}

TEST(Modulations, TheWheelMakesVibratoAndTheFilterFilters) {
  PlayedInstrument played;
  played.add_zone(Sine{.frequency = 1000, .frames = 200000, .level = 0.5});
  Settings& settings = played.instrument.settings;
  settings.modulations = {{.source = Modulation::Source::lfo1,
                           .via = Modulation::Source::controller,
                           .via_controller = 1,
                           .amount_high = 0.343}};
  const auto rest_after = [&](const char* script) {
    played.play(script);
    const std::size_t begin = played.left.size();
    played.render(24000);
    const auto fit = fit_sine(std::span(played.left).subspan(begin), 1000 / played.rate);
    return std::pair(decibels(fit.level / 0.5), decibels(fit.rest / 0.5));
  };
  played.open();
  EXPECT_LT(rest_after("60+127").second, -80);
  EXPECT_GT(rest_after("c1=127").second, -10);
  EXPECT_LT(rest_after("c1=0 60- 60+127").second, -80);
  settings.filter.is_on = true;
  settings.filter.cutoff = std::log(25.0) / std::log(1000.0);
  played.open();
  EXPECT_NEAR(rest_after("60+127").first, -24.1, 1);
}

TEST(Reset, SilencesAtOnceAndForgetsControllers) {
  PlayedInstrument played;
  played.add_zone(Sine{.frames = 96000, .level = 0.25}).tracks_pitch = false;
  played.open();
  played.play("c7=1 c64=127 b8191 60+127");
  played.player->reset();
  played.render(100);
  for (std::size_t i = played.left.size() - 100; i < played.left.size(); ++i)
    EXPECT_EQ(played.left[i], 0);
  played.midi(0x90, 60, 127);
  const std::size_t begin = played.left.size();
  played.render(4800);
  EXPECT_NEAR(fit_sine(std::span(played.left).subspan(begin), middle_c / 48000).level, 0.25, 0.001);
  played.play("60-");
  EXPECT_EQ(played.left.back(), 0);
}

}  // namespace
}  // namespace vesk::sampler
