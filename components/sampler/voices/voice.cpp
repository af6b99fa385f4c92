#include "components/sampler/voices/voice.hpp"

#include <algorithm>
#include <cmath>

#include "components/sampler/voices/levels.hpp"

namespace vesk::sampler {
namespace {

constexpr double fade_seconds = 0.003;

}  // namespace

const Envelope& envelope_of(const Instrument& instrument, std::size_t zone) noexcept VESK_REALTIME {
  const auto group = instrument.zones[zone].group;
  return group ? instrument.groups[*group].envelope : instrument.settings.envelope;
}

void Voice::start(const VoiceSurroundings& surroundings, std::size_t zone, const VoiceNote& note,
                  double gain, double attack_seconds) noexcept VESK_REALTIME {
  const Instrument& instrument = surroundings.instrument;
  const Zone& played = instrument.zones[zone];
  const Settings& settings = instrument.settings;
  note_ = note;
  zone_ = zone;
  channels_ = surroundings.samples.channels(zone);
  is_active_ = is_new_ = true;
  is_released_ = is_held = is_first_of_group = false;

  stream_.start(zone);
  rate_ratio_ = surroundings.samples.sample_rate(zone) / surroundings.rate;
  cents_ = 0;
  ratio_ = rate_ratio_;
  kernel_ = nullptr;
  position_ = 0;
  ended_frames_ = 0;
  constexpr unsigned ahead = window_frames - window_centre;
  for (auto& channel : window_) std::fill_n(channel, window_frames, 0.0f);
  ended_frames_ =
      ahead - stream_.read(window_[0] + window_centre, window_[1] + window_centre, ahead);

  gain_ = gain * gain_of_db(played.gain_db) * velocity_gain(settings, note.velocity);
  pan_ = played.pan;
  fade_ = 1;
  fade_step_ = 0;
  envelope_.start(envelope_of(instrument, zone), attack_seconds, surroundings.rate);
  filter_envelope_.start(settings.filter.envelope, settings.filter.envelope.attack,
                         surroundings.rate);
  for (int i = 0; i < 3; ++i) lfos_[i].start(settings.lfos[i], surroundings.rate);
  filter_.start(settings.filter.kind, surroundings.rate);
}

void Voice::release(const VoiceSurroundings& surroundings, double seconds) noexcept VESK_REALTIME {
  if (is_released_) return;
  is_released_ = true;
  envelope_.release(seconds);
  filter_envelope_.release(surroundings.instrument.settings.filter.envelope.release);
  stream_.release();
}

void Voice::fade_out(const VoiceSurroundings& surroundings) noexcept VESK_REALTIME {
  if (is_fading()) return;
  fade_step_ = static_cast<float>(1 / (fade_seconds * surroundings.rate));
}

void Voice::stop() noexcept VESK_REALTIME {
  if (is_active_) stream_.stop();
  is_active_ = false;
}

void Voice::render(const VoiceSurroundings& surroundings, float* left, float* right,
                   unsigned frames) noexcept VESK_REALTIME {
  const ModulationSums sums = modulate(surroundings);
  alignas(64) float channels[2][block_frames];
  float* const output[2] = {channels[0], channels[1]};
  const unsigned heard =
      resample(surroundings, step_for(surroundings, sums.pitch_cents), output, frames);
  if (heard < frames) fade_step_ = std::max(fade_step_, 1.0f / static_cast<float>(heard + 1));
  filter(surroundings, sums, output, frames);
  mix(sums, output, frames, left, right);
  is_new_ = false;
  if (!surroundings.instrument.settings.modulations.empty()) {
    for (LfoGenerator& lfo : lfos_) lfo.skip(frames);
    if (surroundings.uses_filter_envelope) filter_envelope_.skip(frames);
  }
  // Nothing else would end what a released key has started.
  if (note_.is_release && stream_.is_in_loop())
    release(surroundings, envelope_of(surroundings.instrument, zone_).release);
  if (fade_ <= 0 || envelope_.has_ended() || ended_frames_ >= window_frames) stop();
}

ModulationSums Voice::modulate(const VoiceSurroundings& surroundings) const noexcept VESK_REALTIME {
  const auto& slots = surroundings.instrument.settings.modulations;
  if (slots.empty()) return {};
  const MidiState& midi = surroundings.midi;
  ModulationSources sources;
  sources.controllers = &midi.controllers;
  sources.velocity = note_.velocity / 127.0;
  sources.key = (note_.key - 60) / 64.0;
  sources.pressure = std::max(midi.pressure, midi.key_pressures[note_.key]) / 127.0;
  for (int i = 0; i < 3; ++i) sources.lfos[i] = lfos_[i].value();
  sources.amplitude_envelope = envelope_.level();
  sources.filter_envelope = filter_envelope_.level();
  return sampler::modulate(slots, sources);
}

/// Input frames for each frame of output.
FixedFrames Voice::step_for(const VoiceSurroundings& surroundings,
                            double modulation_cents) noexcept VESK_REALTIME {
  const Zone& zone = surroundings.instrument.zones[zone_];
  double cents = zone.tune_cents + surroundings.tune_cents + modulation_cents;
  if (zone.tracks_pitch)
    cents += 100.0 * (note_.key + surroundings.instrument.settings.transpose - zone.root_key);
  if (zone.loop.tune_cents != 0 && stream_.is_in_loop()) cents += zone.loop.tune_cents;
  if (cents != cents_) {
    cents_ = cents;
    ratio_ = std::min(rate_ratio_ * std::exp2(cents / 1200), double{highest_ratio});
  }
  // One that is too wide is kept for a while: a vibrato does not switch kernels.
  if (kernel_ == nullptr || ratio_ > kernel_->highest_ratio ||
      ratio_ < kernel_->highest_ratio / 1.3)
    kernel_ = &surroundings.kernels.for_ratio(ratio_);
  const auto step = static_cast<FixedFrames>(std::llround(ratio_ * one_frame));
  if (is_new_) step_ = step;
  return step;
}

/// Writes a block, ending at another step than the last one. Fewer frames than asked: from there
/// on the stream has nothing, though the sample goes on.
unsigned Voice::resample(const VoiceSurroundings& surroundings, FixedFrames step,
                         float* const* output, unsigned frames) noexcept VESK_REALTIME {
  Frames input;
  const Course course{position_, step_, (step - step_) / static_cast<FixedFrames>(frames)};
  const FixedFrames end = course.after(frames);
  const auto wanted = static_cast<unsigned>(end >> 32);
  for (unsigned channel = 0; channel < channels_; ++channel)
    std::copy_n(window_[channel], window_frames, input.channels[channel]);
  float* const fresh[2] = {input.channels[0] + window_frames, input.channels[1] + window_frames};
  const unsigned got = ended_frames_ > 0 ? 0 : stream_.read(fresh[0], fresh[1], wanted);
  for (unsigned channel = 0; channel < channels_; ++channel)
    std::fill_n(fresh[channel] + got, wanted - got, 0.0f);
  ended_frames_ += wanted - got;

  const float* const source[2] = {input.channels[0], input.channels[1]};
  if (channels_ == 2)
    surroundings.kernels.stereo(*kernel_, source, course, output, frames);
  else
    surroundings.kernels.mono(*kernel_, source[0], course, output[0], frames);
  for (unsigned channel = 0; channel < channels_; ++channel)
    std::copy_n(input.channels[channel] + wanted, window_frames, window_[channel]);
  position_ = end & (one_frame - 1);
  step_ = step;
  if (got == wanted || !stream_.has_starved()) return frames;
  const double left = (window_frames - window_centre + got) / ratio_;
  return static_cast<unsigned>(std::clamp(left, 0.0, frames - 1.0));
}

void Voice::filter(const VoiceSurroundings& surroundings, const ModulationSums& sums,
                   float* const* output, unsigned frames) noexcept VESK_REALTIME {
  const Filter& filter = surroundings.instrument.settings.filter;
  if (!filter.is_on) return;
  double cutoff = filter.cutoff + sums.cutoff, resonance = filter.resonance + sums.resonance;
  if (const auto group = surroundings.instrument.zones[zone_].group) {
    cutoff += surroundings.instrument.groups[*group].cutoff_offset;
    resonance += surroundings.instrument.groups[*group].resonance_offset;
  }
  // An octave of the key is one of the frequency at full tracking.
  cutoff += filter.key_track * (note_.key - 60) / 12 / std::log2(1000.0);
  filter_.run(output[0], channels_ == 2 ? output[1] : nullptr, frames, cutoff_hz(cutoff),
              resonance);
}

void Voice::mix(const ModulationSums& sums, const float* const* input, unsigned frames, float* left,
                float* right) noexcept VESK_REALTIME {
  alignas(64) float levels[block_frames];
  envelope_.write(levels, frames);
  if (is_fading())
    for (unsigned i = 0; i < frames; ++i) {
      fade_ = std::max(fade_ - fade_step_, 0.0f);
      levels[i] *= fade_;
    }
  const Balance balance = balance_of(pan_ + sums.pan);
  const auto to_left = static_cast<float>(gain_ * sums.gain * balance.left);
  const auto to_right = static_cast<float>(gain_ * sums.gain * balance.right);
  if (is_new_) {
    left_gain_ = to_left;
    right_gain_ = to_right;
  }
  const float left_change = (to_left - left_gain_) / static_cast<float>(frames);
  const float right_change = (to_right - right_gain_) / static_cast<float>(frames);
  const float* const other = channels_ == 2 ? input[1] : input[0];
  for (unsigned i = 0; i < frames; ++i) {
    const auto n = static_cast<float>(i + 1);
    left[i] += input[0][i] * levels[i] * (left_gain_ + n * left_change);
    right[i] += other[i] * levels[i] * (right_gain_ + n * right_change);
  }
  left_gain_ = to_left;
  right_gain_ = to_right;
}

}  // namespace vesk::sampler
