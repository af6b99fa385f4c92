#include "components/sampler/voices/modulator.hpp"

#include <algorithm>
#include <cmath>

#include "components/sampler/voices/levels.hpp"

namespace vesk::sampler {
namespace {

using Source = Modulation::Source;

bool swings_both_ways(Source source) noexcept VESK_REALTIME {
  return source == Source::lfo1 || source == Source::lfo2 || source == Source::lfo3 ||
         source == Source::key;
}

double value_of(Source source, unsigned controller,
                const ModulationSources& sources) noexcept VESK_REALTIME {
  switch (source) {
    case Source::none:
      break;
    case Source::controller:
      return (*sources.controllers)[controller & 127] / 127.0;
    case Source::velocity:
      return sources.velocity;
    case Source::key:
      return sources.key;
    case Source::pressure:
      return sources.pressure;
    case Source::lfo1:
      return sources.lfos[0];
    case Source::lfo2:
      return sources.lfos[1];
    case Source::lfo3:
      return sources.lfos[2];
    case Source::amplitude_envelope:
      return sources.amplitude_envelope;
    case Source::filter_envelope:
      return sources.filter_envelope;
  }
  return 0;
}

}  // namespace

void LfoGenerator::start(const Lfo& lfo, double rate) noexcept VESK_REALTIME {
  phase_ = 0;
  phase_step_ = lfo.rate_hz / rate;
  fade_ = lfo.fade_in > 0 ? 0 : 1;
  fade_step_ = lfo.fade_in > 0 ? 1 / (lfo.fade_in * rate) : 0;
}

void LfoGenerator::skip(unsigned frames) noexcept VESK_REALTIME {
  phase_ += phase_step_ * frames;
  phase_ -= std::floor(phase_);
  fade_ = std::min(fade_ + fade_step_ * frames, 1.0);
}

double LfoGenerator::value() const noexcept VESK_REALTIME {
  const double from_peak = std::abs(phase_ < 0.75 ? phase_ - 0.25 : phase_ - 1.25);
  return (1 - 4 * from_peak) * fade_;
}

ModulationSums modulate(std::span<const Modulation> slots,
                        const ModulationSources& sources) noexcept VESK_REALTIME {
  ModulationSums sums;
  for (const Modulation& slot : slots) {
    if (slot.source == Source::none) continue;
    double via = 1;
    if (slot.via != Source::none) {
      via = value_of(slot.via, slot.via_controller, sources);
      if (swings_both_ways(slot.via)) via = (via + 1) / 2;
      if (slot.is_via_inverted) via = 1 - via;
    }
    const double amount = slot.amount_low + via * (slot.amount_high - slot.amount_low);
    double value = value_of(slot.source, slot.source_controller, sources);
    const bool has_two_sides = swings_both_ways(slot.source);
    if (slot.is_source_inverted) value = has_two_sides ? -value : 1 - value;
    switch (slot.destination) {
      case Modulation::Destination::pitch:
        sums.pitch_cents += pitch_depth_cents(amount) * value;
        break;
      case Modulation::Destination::cutoff:
        sums.cutoff += amount * value;
        break;
      case Modulation::Destination::resonance:
        sums.resonance += amount * value;
        break;
      case Modulation::Destination::pan:
        sums.pan += amount * value;
        break;
      case Modulation::Destination::volume: {
        // The source at its most leaves the level, at its least takes `amount` of it away.
        if (has_two_sides) value = (value + 1) / 2;
        const double rest = amount < 0 ? value : 1 - value;
        sums.gain *= std::clamp(1 - std::abs(amount) * rest, 0.0, 1.0);
        break;
      }
    }
  }
  return sums;
}

}  // namespace vesk::sampler
