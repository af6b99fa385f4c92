// EXS24 instruments: what is read plays without a further look at it. Numbers are finite and in
// range, indexes lead somewhere, and groups that take turns come round.
#include <cmath>
#include <initializer_list>

#include "components/sampler/instrument/exs_reader.hpp"
#include "components/sampler/instrument/text.hpp"
#include "fuzz/input.hpp"

using namespace vesk::sampler;
using vesk::fuzz::expect;

namespace {

void within(std::initializer_list<double> values, double low, double high) {
  for (const double value : values) expect(value >= low && value <= high);
}

void look_at(const KeyRange& range) {
  expect(range.low <= range.high && range.high <= 127);
}

void look_at(const Envelope& envelope) {
  within({envelope.delay, envelope.attack, envelope.attack_at_lowest, envelope.hold, envelope.decay,
          envelope.release},
         0, 10);
  within({envelope.sustain}, 0, 1);
}

void look_at(const Settings& settings) {
  within({settings.gain_db, settings.velocity_lowest_db, settings.velocity_highest_db}, -96, 24);
  within({settings.pan}, -1, 1);
  within({settings.tune_cents / 100, static_cast<double>(settings.transpose)}, -49, 49);
  within({settings.bend_up, settings.bend_down}, 0, 48);
  within({static_cast<double>(settings.polyphony)}, 1, 128);
  within({settings.filter.cutoff, settings.filter.resonance, settings.filter.key_track}, 0, 1);
  expect(settings.filter.kind <= Filter::Kind::band12 && settings.hold_controller < 128);
  look_at(settings.envelope);
  look_at(settings.filter.envelope);
  for (const Lfo& lfo : settings.lfos) {
    within({lfo.rate_hz}, 0.01, 20);
    within({lfo.fade_in}, 0, 10);
  }
  expect(settings.modulations.size() <= 11);
  for (const Modulation& slot : settings.modulations) {
    expect(slot.source != Modulation::Source::none);
    within({slot.amount_low, slot.amount_high}, -1, 1);
    within({double(slot.source_controller), double(slot.via_controller)}, 0, 127);
  }
}

void look_at(const Zone& zone, const Instrument& instrument) {
  expect(zone.sample < instrument.samples.size());
  expect(!zone.group || *zone.group < instrument.groups.size());
  expect(zone.root_key < 128 && zone.start >= 0 && zone.end >= 0);
  expect(zone.end == 0 || zone.end > zone.start);
  expect(!zone.loop.is_on || (zone.loop.start >= 0 && zone.loop.end - zone.loop.start >= 2));
  look_at(zone.keys);
  look_at(zone.velocities);
  within({zone.tune_cents / 100}, -49, 49);
  within({zone.gain_db}, -192, 48);
  within({zone.pan}, -1, 1);
  expect(to_utf8(zone.name) == zone.name);
}

void look_at(const std::vector<Group>& groups) {
  std::vector<bool> is_next(groups.size());
  for (const Group& group : groups) {
    look_at(group.envelope);
    look_at(group.condition.values);
    within({group.cutoff_offset, group.resonance_offset}, -1, 1);
    within({group.release_decay}, 0, 66);
    const bool takes_turns = group.condition.kind == GroupCondition::Kind::round_robin;
    expect(takes_turns == group.next_in_turn.has_value());
    if (!takes_turns) continue;
    expect(*group.next_in_turn < groups.size() && !is_next[*group.next_in_turn]);
    is_next[*group.next_in_turn] = true;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string error;
  const auto instrument = read_exs(std::as_bytes(std::span(data, size)), error);
  expect(instrument.has_value() == error.empty());
  if (!instrument) return 0;
  expect(!instrument->zones.empty());
  look_at(instrument->settings);
  look_at(instrument->groups);
  for (const Zone& zone : instrument->zones) look_at(zone, *instrument);
  for (const SampleReference& sample : instrument->samples)
    expect(to_utf8(sample.folder) == sample.folder && sample.frames >= 0);
  return 0;
}
