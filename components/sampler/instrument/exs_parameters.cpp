#include "components/sampler/instrument/exs_parameters.hpp"

#include <algorithm>
#include <cmath>

namespace vesk::sampler {
namespace {

// The format's numbers. That 0x51 to 0x55 are of the amplitude shows in files: the sustain there is
// full unless somebody turned it.
enum Id : unsigned {
  bend_up = 0x03,
  bend_down = 0x04,
  voices = 0x05,
  volume = 0x07,
  mono = 0x0A,
  coarse_tune = 0x0E,
  fine_tune = 0x0F,
  resonance = 0x1D,
  cutoff = 0x1E,
  filter_on = 0x2C,
  transpose = 0x2D,
  cutoff_key_track = 0x2E,
  filter_hold = 0x38,
  lfo1_fade = 0x3C,
  lfo1_rate = 0x3D,
  lfo1_shape = 0x3E,
  lfo2_rate = 0x3F,
  lfo2_shape = 0x40,
  filter_attack = 0x4C,
  filter_attack_at_lowest = 0x4D,
  filter_decay = 0x4E,
  filter_sustain = 0x4F,
  filter_release = 0x50,
  sustain = 0x51,
  attack = 0x52,
  attack_at_lowest = 0x53,
  decay = 0x54,
  release = 0x55,
  hold = 0x58,
  level_at_highest = 0x59,
  level_at_lowest = 0x5A,
  velocity_crossfade = 0x61,
  envelope_type = 0x6B,
  velocity_crossfade_type = 0xA5,
  lfo3_rate = 0xA7,
  hold_controller = 0xAC,
  first_slot = 0xAD,
  first_slot_source_inverted = 0xE9,
  filter_type = 0xF3,
  first_slot_bypass = 0xF4,
  pan = 0x160,
  delay = 0x16D,
  eleventh_slot = 0x19B
};

/// A slider of 0 to 127: two lists of readings agree with this to 1 %, from 5 ms to 10 s.
double seconds(int slider) {
  return 10 * std::pow(std::clamp(slider, 0, 127) / 127.0, 4);
}

double part(int value, int whole) {
  return std::clamp(static_cast<double>(value) / whole, -1.0, 1.0);
}

/// The scale is not known: slower and faster than the value that nobody has touched, 5 Hz.
double lfo_hz(int value) {
  constexpr int untouched = 98;
  return std::clamp(5 * std::pow(4, (value - untouched) / 29.0), 0.01, 20.0);
}

Filter filter_of(const ExsParameters& from) {
  Filter filter;
  filter.is_on = from.get(filter_on, 0) != 0;
  const int kind = from.get(filter_type, 0);
  if (kind >= 0 && kind <= static_cast<int>(Filter::Kind::band12))
    filter.kind = static_cast<Filter::Kind>(kind);
  filter.cutoff = std::max(0.0, part(from.get(cutoff, 1000), 1000));
  filter.resonance = std::max(0.0, part(from.get(resonance, 0), 1000));
  filter.key_track = std::max(0.0, part(from.get(cutoff_key_track, 0), 1000));
  filter.envelope = {.attack = seconds(from.get(filter_attack, 0)),
                     .attack_at_lowest = seconds(from.get(filter_attack_at_lowest, 0)),
                     .hold = seconds(from.get(filter_hold, 0)),
                     .decay = seconds(from.get(filter_decay, 0)),
                     .sustain = std::max(0.0, part(from.get(filter_sustain, 0), 127)),
                     .release = seconds(from.get(filter_release, 0))};
  return filter;
}

struct Source {
  Modulation::Source source;
  std::uint8_t controller;
};

/// Nothing for what cannot bend anything here.
Source source_of(int number) {
  using enum Modulation::Source;
  if (number >= 0 && number < 128) return {controller, static_cast<std::uint8_t>(number)};
  switch (number) {
    case -3:
      return {velocity, 0};
    case -4:
      return {key, 0};
    case -7:
      return {pressure, 0};
    case -10:
      return {lfo3, 0};
    case -11:
      return {lfo2, 0};
    case -12:
      return {lfo1, 0};
    case -13:
      return {amplitude_envelope, 0};
    case -14:
      return {filter_envelope, 0};
    default:
      return {none, 0};
  }
}

std::optional<Modulation::Destination> destination_of(int number) {
  using enum Modulation::Destination;
  switch (number) {
    case 6:
      return pitch;
    case 8:
      return cutoff;
    case 9:
      return resonance;
    case 10:
      return volume;
    case 11:
      return pan;
    default:
      return std::nullopt;
  }
}

/// `slot` has destination, source, via, both amounts and the inversion of via, one after the other.
std::optional<Modulation> modulation_of(const ExsParameters& from, unsigned slot,
                                        unsigned source_inverted, unsigned bypass) {
  const auto destination = destination_of(from.get(slot, 0));
  const Source source = source_of(from.get(slot + 1, -1)), via = source_of(from.get(slot + 2, -1));
  if (!destination || source.source == Modulation::Source::none || from.get(bypass, 0) != 0)
    return std::nullopt;
  return Modulation{.source = source.source,
                    .via = via.source,
                    .source_controller = source.controller,
                    .via_controller = via.controller,
                    .destination = *destination,
                    .amount_low = part(from.get(slot + 3, 0), 1000),
                    .amount_high = part(from.get(slot + 4, 0), 1000),
                    .is_via_inverted = from.get(slot + 5, 0) != 0,
                    .is_source_inverted = from.get(source_inverted, 0) != 0};
}

std::vector<Modulation> modulations_of(const ExsParameters& from) {
  std::vector<Modulation> modulations;
  const auto add = [&](const std::optional<Modulation>& modulation) {
    if (modulation) modulations.push_back(*modulation);
  };
  for (unsigned k = 0; k < 10; ++k)
    add(modulation_of(from, first_slot + 6 * k, first_slot_source_inverted + k,
                      first_slot_bypass + k));
  add(modulation_of(from, eleventh_slot, eleventh_slot + 6, eleventh_slot + 7));
  return modulations;
}

}  // namespace

void ExsParameters::add(const ExsFields& block) {
  const auto set = [this](unsigned id, std::int16_t value) {
    if (id != 0) values_[id] = value;
  };
  const std::size_t slots = block.u32(0);
  std::size_t at = 4 + slots;
  for (std::size_t i = 0; i < slots && block.has(at + 2 * i, 2); ++i)
    set(block.u8(4 + i), block.i16(at + 2 * i));
  // The count of the records in front of them is less than there are, in some files by far.
  for (at += 2 * slots + 4; block.has(at, 4); at += 4) set(block.u16(at), block.i16(at + 2));
}

int ExsParameters::get(unsigned id, int otherwise) const {
  const auto found = values_.find(id);
  return found == values_.end() ? otherwise : found->second;
}

Envelope exs_envelope(const ExsParameters& parameters, const ExsEnvelopeOffsets& offsets) {
  const auto slider = [&](unsigned id, int offset, int otherwise = 0) {
    return std::clamp(parameters.get(id, otherwise) + std::clamp(offset, -127, 127), 0, 127);
  };
  Envelope envelope{.delay = seconds(slider(delay, 0)),
                    .attack = seconds(slider(attack, offsets.attack)),
                    .attack_at_lowest = seconds(slider(attack_at_lowest, offsets.attack)),
                    .hold = seconds(slider(hold, 0)),
                    .decay = seconds(slider(decay, offsets.decay)),
                    .sustain = slider(sustain, offsets.sustain, 127) / 127.0,
                    .release = seconds(slider(release, offsets.release))};
  // Sliders that a type of envelope does not show keep their values in the file.
  enum Type { ad, ar, adsr, ahdsr, dadsr, dahdsr };
  if (!parameters.has(envelope_type)) return envelope;
  const int type = parameters.get(envelope_type, adsr);
  if (type != dadsr && type != dahdsr) envelope.delay = 0;
  if (type != ahdsr && type != dahdsr) envelope.hold = 0;
  if (type == ad) envelope.sustain = 0;
  if (type == ar) envelope.decay = 0, envelope.sustain = 1;
  return envelope;
}

Settings exs_settings(const ExsParameters& from) {
  const auto bounded = [&from](unsigned id, int otherwise, int low, int high) {
    return std::clamp(from.get(id, otherwise), low, high);
  };
  Settings settings;
  settings.gain_db = bounded(volume, 0, -96, 24);
  settings.pan = part(from.get(pan, 0), 50);
  settings.tune_cents = 100 * bounded(coarse_tune, 0, -48, 48) + bounded(fine_tune, 0, -99, 99);
  settings.transpose = bounded(transpose, 0, -48, 48);
  settings.bend_up = bounded(bend_up, 2, 0, 48);
  const int down = from.get(bend_down, -1);
  settings.bend_down = down < 0 ? settings.bend_up : std::min(down, 48);
  settings.polyphony = static_cast<unsigned>(bounded(voices, 16, 1, 128));
  settings.is_mono = from.get(mono, 0) != 0;
  // 0 is written where nobody chose one: bank select holds no notes.
  if (const int number = from.get(hold_controller, 0); number > 0 && number < 128)
    settings.hold_controller = static_cast<std::uint8_t>(number);
  settings.velocity_lowest_db = bounded(level_at_lowest, -60, -60, 0);
  settings.velocity_highest_db = bounded(level_at_highest, 0, -60, 0);
  settings.velocity_crossfade = static_cast<std::uint8_t>(bounded(velocity_crossfade, 0, 0, 127));
  switch (from.get(velocity_crossfade_type, 1)) {
    case 0:
      settings.velocity_crossfade_law = Settings::CrossfadeLaw::decibels;
      break;
    case 2:
      settings.velocity_crossfade_law = Settings::CrossfadeLaw::equal_power;
      break;
    default:
      break;
  }
  settings.envelope = exs_envelope(from);
  for (const unsigned id :
       {delay, attack, attack_at_lowest, hold, decay, sustain, release, envelope_type})
    settings.has_envelope |= from.has(id);
  settings.filter = filter_of(from);
  const unsigned rates[]{lfo1_rate, lfo2_rate, lfo3_rate};
  for (std::size_t i = 0; i < std::size(rates); ++i)
    if (from.has(rates[i])) settings.lfos[i].rate_hz = lfo_hz(from.get(rates[i], 0));
  settings.lfos[0].shape = static_cast<std::uint8_t>(bounded(lfo1_shape, 0, 0, 255));
  settings.lfos[1].shape = static_cast<std::uint8_t>(bounded(lfo2_shape, 0, 0, 255));
  settings.lfos[0].fade_in = seconds(from.get(lfo1_fade, 0));
  settings.modulations = modulations_of(from);
  return settings;
}

}  // namespace vesk::sampler
