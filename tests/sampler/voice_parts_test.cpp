// What a voice is made of: its envelope, its filter, its levels and what modulates them.

#include <gtest/gtest.h>

#include <ostream>
#include <vector>

#include "components/sampler/voices/envelope.hpp"
#include "components/sampler/voices/filter.hpp"
#include "components/sampler/voices/levels.hpp"
#include "components/sampler/voices/modulator.hpp"
#include "tests/sampler/sine_fit.hpp"

namespace vesk::sampler {
namespace {

using namespace vesk::tests;

constexpr double rate = 48000;

// ---- Envelope

struct EnvelopeCase {
  const char* name;
  Envelope envelope;
  double release_at;  ///< seconds; 0: never
  /// Seconds, and the level in dB that is due then; -200 is silence.
  std::vector<std::pair<double, double>> levels;
};
void PrintTo(const EnvelopeCase& each, std::ostream* stream) {
  *stream << each.name;
}

class EnvelopeLevels : public testing::TestWithParam<EnvelopeCase> {};

TEST_P(EnvelopeLevels, AreReachedInTheirTime) {
  const EnvelopeCase& wanted = GetParam();
  EnvelopeGenerator generator;
  generator.start(wanted.envelope, wanted.envelope.attack, rate);
  unsigned now = 0;
  std::vector<float> levels;
  // Pieces that fit neither stages nor blocks.
  const auto go_to = [&](double seconds) {
    for (const auto end = static_cast<unsigned>(seconds * rate + 0.5); now < end;) {
      const unsigned part = std::min(end - now, 37u);
      levels.resize(now + part);
      generator.write(levels.data() + now, part);
      now += part;
    }
  };
  bool is_released = false;
  for (const auto& [seconds, db] : wanted.levels) {
    if (wanted.release_at > 0 && seconds > wanted.release_at && !is_released) {
      go_to(wanted.release_at);
      generator.release(wanted.envelope.release);
      is_released = true;
    }
    go_to(seconds);
    if (db <= -200)
      EXPECT_EQ(generator.level(), 0) << seconds;
    else
      EXPECT_NEAR(decibels(generator.level()), db, 0.1) << seconds;
  }
  if (wanted.envelope.attack > 0)
    for (unsigned i = 1; i < levels.size(); ++i)
      ASSERT_LT(std::abs(levels[i] - levels[i - 1]), 0.01) << i;
}

INSTANTIATE_TEST_SUITE_P(
    , EnvelopeLevels,
    testing::Values(
        EnvelopeCase{"Full", {}, 0, {{0, 0}, {0.5, 0}}},
        EnvelopeCase{
            "LinearAttack", {.attack = 0.1}, 0, {{0.001, -40}, {0.05, -6.02}, {0.1, 0}, {0.2, 0}}},
        EnvelopeCase{"AllStages",
                     {.delay = 0.05,
                      .attack = 0.1,
                      .hold = 0.05,
                      .decay = 0.2,
                      .sustain = 0.1,
                      .release = 0.6},
                     0.5,
                     {{0.049, -200},
                      {0.15, 0},
                      {0.199, 0},
                      {0.3, -10},
                      {0.4, -20},
                      {0.5, -20},
                      {0.8, -60},
                      {1.1, -200}}},
        EnvelopeCase{"DecayToSilence", {.decay = 1, .sustain = 0}, 0, {{0.5, -40}, {1, -200}}},
        EnvelopeCase{"ReleaseInTheAttack",
                     {.attack = 0.2, .release = 1},
                     0.1,
                     {{0.1, -6.02}, {0.35, -26}, {1.1, -200}}},
        EnvelopeCase{
            "ShortestRelease", {.release = 0}, 0.1, {{0.1, 0}, {0.1025, -7.66}, {0.105, -200}}}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(EnvelopeEnd, ComesWithSilenceAndNotBefore) {
  EnvelopeGenerator generator;
  std::vector<float> levels(480);
  generator.start({.decay = 0.01, .sustain = 0}, 0, rate);
  generator.skip(479);
  EXPECT_FALSE(generator.has_ended());
  generator.skip(1);
  EXPECT_TRUE(generator.has_ended());
  generator.start({}, 0, rate);
  generator.release(0);
  generator.skip(240);
  EXPECT_TRUE(generator.has_ended());
}

// ---- Filter

/// The level in dB that a filter leaves of a sine.
double response(Filter::Kind kind, double hz, double cutoff, double resonance) {
  std::vector<float> left(9600), right(9600);
  for (std::size_t i = 0; i < left.size(); ++i)
    right[i] = left[i] = static_cast<float>(
        0.1 * std::sin(2 * std::numbers::pi * hz / rate * static_cast<double>(i)));
  VoiceFilter filter;
  filter.start(kind, rate);
  for (unsigned i = 0; i < 9600; i += 64) filter.run(&left[i], &right[i], 64, cutoff, resonance);
  EXPECT_EQ(left, right);
  return decibels(fit_sine(std::span(left).subspan(4800), hz / rate).level / 0.1);
}

TEST(VoiceFilters, HaveTheSlopeOfTheirKind) {
  struct {
    Filter::Kind kind;
    double below, at, above;  ///< dB at a quarter of the cutoff, at it, at four times
    double tolerance;
  } const kinds[] = {
      {Filter::Kind::low24, 0, -3, -48, 1},  {Filter::Kind::low18, 0, -3, -36, 1},
      {Filter::Kind::low12, 0, -3, -24, 1},  {Filter::Kind::low6, 0, -3, -12, 1},
      {Filter::Kind::high12, -24, -3, 0, 1}, {Filter::Kind::band12, -8.8, 0, -8.8, 1},
  };
  for (const auto& each : kinds) {
    SCOPED_TRACE(static_cast<int>(each.kind));
    EXPECT_NEAR(response(each.kind, 125, 500, 0), each.below, each.tolerance);
    EXPECT_NEAR(response(each.kind, 500, 500, 0), each.at, each.tolerance);
    EXPECT_NEAR(response(each.kind, 2000, 500, 0), each.above, each.tolerance);
  }
  EXPECT_GT(response(Filter::Kind::low24, 500, 500, 1), 15);
}

TEST(VoiceFilters, StayFiniteAndQuietWhateverMovesThem) {
  for (int kind = 0; kind < 6; ++kind) {
    VoiceFilter filter;
    filter.start(static_cast<Filter::Kind>(kind), rate);
    float most = 0;
    unsigned random = 1;
    for (int block = 0; block < 2000; ++block) {
      float left[64], right[64];
      for (int i = 0; i < 64; ++i) {
        random = random * 1664525 + 1013904223;
        left[i] = right[i] = static_cast<float>(static_cast<int>(random)) * 0x1p-31f;
      }
      filter.run(left, right, 64, block % 2 ? 20 : 30000, block % 3 ? 1 : -5);
      for (const float value : left)
        most = std::max(most, std::isfinite(value) ? std::abs(value) : 1e9f);
    }
    EXPECT_LT(most, 100) << kind;
  }
}

// ---- Levels and modulations

TEST(Levels, FollowVelocity) {
  struct {
    double lowest, highest;
    unsigned velocity;
    double db;
  } const cases[] = {
      {-60, 0, 127, 0}, {-60, 0, 64, -11.9}, {-60, 0, 1, -60},   {0, 0, 1, 0},     {0, 0, 127, 0},
      {-12, 0, 1, -12}, {-12, 0, 64, -2.38}, {-60, -6, 127, -6}, {-30, 0, 1, -30},
  };
  for (const auto& each : cases) {
    Settings settings;
    settings.velocity_lowest_db = each.lowest;
    settings.velocity_highest_db = each.highest;
    EXPECT_NEAR(decibels(velocity_gain(settings, each.velocity)), each.db, 0.05)
        << each.lowest << " " << each.velocity;
  }
}

TEST(Levels, CrossfadeBeyondTheRangeOfAZone) {
  using Law = Settings::CrossfadeLaw;
  struct {
    unsigned width;
    Law law;
    unsigned velocity;
    double gain;
  } const cases[] = {
      {0, Law::linear, 39, 0},           {0, Law::linear, 40, 1},
      {0, Law::linear, 80, 1},           {0, Law::linear, 81, 0},
      {9, Law::linear, 35, 0.5},         {9, Law::linear, 31, 0.1},
      {9, Law::linear, 30, 0},           {9, Law::linear, 85, 0.5},
      {9, Law::linear, 90, 0},           {9, Law::equal_power, 35, std::numbers::sqrt2 / 2},
      {9, Law::decibels, 35, 0.0316228},
  };
  for (const auto& each : cases) {
    Settings settings;
    settings.velocity_crossfade = static_cast<std::uint8_t>(each.width);
    settings.velocity_crossfade_law = each.law;
    EXPECT_NEAR(crossfade_gain(settings, {40, 80}, each.velocity), each.gain, 1e-6)
        << each.width << " " << each.velocity;
  }
}

TEST(Modulations, LeadSourcesToDestinations) {
  using Source = Modulation::Source;
  using Destination = Modulation::Destination;
  std::array<std::uint8_t, 128> controllers{};
  ModulationSources sources{.controllers = &controllers, .velocity = 0.25, .lfos = {-0.5, 0, 0}};
  const auto sums_of = [&](Modulation slot, unsigned wheel) {
    controllers[1] = static_cast<std::uint8_t>(wheel);
    slot.via_controller = slot.source_controller = 1;
    return modulate({&slot, 1}, sources);
  };
  const Modulation vibrato{.source = Source::lfo1, .via = Source::controller, .amount_high = 0.52};
  EXPECT_EQ(sums_of(vibrato, 0).pitch_cents, 0);
  EXPECT_NEAR(sums_of(vibrato, 127).pitch_cents, -50, 0.01);
  Modulation slot = vibrato;
  slot.is_via_inverted = true;
  EXPECT_NEAR(sums_of(slot, 0).pitch_cents, -50, 0.01);
  slot.is_source_inverted = true;
  EXPECT_NEAR(sums_of(slot, 0).pitch_cents, 50, 0.01);
  slot = {.source = Source::controller, .amount_high = -1};
  EXPECT_NEAR(sums_of(slot, 127).pitch_cents, -1200, 0.01);
  slot = {.source = Source::velocity, .destination = Destination::cutoff, .amount_high = 0.4};
  EXPECT_NEAR(sums_of(slot, 0).cutoff, 0.1, 1e-9);
  slot = {.source = Source::controller, .destination = Destination::volume, .amount_high = 1};
  EXPECT_EQ(sums_of(slot, 0).gain, 0);
  EXPECT_EQ(sums_of(slot, 127).gain, 1);
  slot.amount_high = -1;
  EXPECT_EQ(sums_of(slot, 127).gain, 0);
}

TEST(Modulations, AnLfoIsATriangleThatFadesIn) {
  LfoGenerator lfo;
  lfo.start({.rate_hz = 1, .fade_in = 0}, 1000);
  for (const double value : {0.0, 1.0, 0.0, -1.0, 0.0, 1.0}) {
    EXPECT_NEAR(lfo.value(), value, 1e-6);
    lfo.skip(250);
  }
  lfo.start({.rate_hz = 1, .fade_in = 2.5}, 1000);
  lfo.skip(250);
  EXPECT_NEAR(lfo.value(), 0.1, 1e-6);
}

}  // namespace
}  // namespace vesk::sampler
