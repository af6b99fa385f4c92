#include "components/sampler/voices/zone_player.hpp"

#include <algorithm>
#include <cmath>

#include "components/sampler/voices/levels.hpp"

namespace vesk::sampler {
namespace {

constexpr double gain_seconds = 0.005;

enum ControllerNumber : unsigned {
  volume_controller = 7,
  pan_controller = 10,
  expression_controller = 11,
  all_sound_off = 120,
  reset_all_controllers = 121,
  all_notes_off = 123,
  last_mode_message = 127
};

/// A time of the instrument under a control that stands at `control`, and stood at `untouched`
/// before anybody turned it.
double scaled(double seconds, double control, double untouched) noexcept VESK_REALTIME {
  return untouched > 0 ? seconds * (control / untouched) : seconds + control;
}

bool uses_filter_envelope(const Settings& settings) {
  return std::any_of(settings.modulations.begin(), settings.modulations.end(),
                     [](const Modulation& slot) {
                       return slot.source == Modulation::Source::filter_envelope ||
                              slot.via == Modulation::Source::filter_envelope;
                     });
}

}  // namespace

ZonePlayer::ZonePlayer(std::shared_ptr<const Instrument> instrument,
                       std::shared_ptr<SampleSet> samples, const Controls& controls,
                       double sample_rate)
    : instrument_(std::move(instrument)),
      samples_(std::move(samples)),
      controls_(controls),
      picker_(*instrument_, *samples_),
      surroundings_{*instrument_,
                    *samples_,
                    SincKernels::shared(),
                    midi_,
                    sample_rate,
                    0,
                    uses_filter_envelope(instrument_->settings)},
      gain_share_(static_cast<float>(1 - std::exp(-1 / (gain_seconds * sample_rate)))) {
  for (ZoneStream& stream : samples_->make_streams(most_voices + spare_voices))
    voices_.emplace_back(std::move(stream));
  tune();
}

void ZonePlayer::midi(std::uint8_t status, std::uint8_t data1,
                      std::uint8_t data2) noexcept VESK_REALTIME {
  const unsigned channel = status & 15u, first = data1 & 127u, second = data2 & 127u;
  switch (status >> 4) {
    case 0x8:
      return note_off(channel, first);
    case 0x9:
      return second > 0 ? note_on(channel, first, second) : note_off(channel, first);
    case 0xA:
      midi_.key_pressures[first] = static_cast<std::uint8_t>(second);
      return;
    case 0xB:
      return control(first, second);
    case 0xD:
      midi_.pressure = static_cast<std::uint8_t>(first);
      return;
    case 0xE:
      midi_.bend = static_cast<int>(second << 7 | first) - 8192;
      return tune();
    default:
      return;
  }
}

void ZonePlayer::note_on(unsigned channel, unsigned key, unsigned velocity) noexcept VESK_REALTIME {
  picker_.strike(key);
  if (instrument_->settings.is_mono)
    for (Voice& voice : voices_)
      if (voice.is_active()) voice.fade_out(surroundings_);
  const auto value = static_cast<std::uint8_t>(velocity);
  last_struck_ = ++serial_;
  keys_[channel][key] = {serial_, frame_, value, true, false};
  start_zones({.serial = serial_,
               .channel = static_cast<std::uint8_t>(channel),
               .key = static_cast<std::uint8_t>(key),
               .velocity = value});
}

void ZonePlayer::note_off(unsigned channel, unsigned key) noexcept VESK_REALTIME {
  Key& state = keys_[channel][key];
  if (!state.is_down) return;
  state.is_down = false;
  if (!is_pedal_down()) return end_note(channel, key);
  state.is_held = true;
  for (Voice& voice : voices_)
    if (voice.note().channel == channel && voice.note().key == key) voice.is_held = true;
}

/// Releases what sounds of a key, but for what was started by a release.
void ZonePlayer::end_note(unsigned channel, unsigned key) noexcept VESK_REALTIME {
  for (Voice& voice : voices_)
    if (voice.note().channel == channel && voice.note().key == key) release_voice(voice);
  const Key& state = keys_[channel][key];
  if (picker_.has_release_zones())
    start_zones({.serial = ++serial_,
                 .channel = static_cast<std::uint8_t>(channel),
                 .key = static_cast<std::uint8_t>(key),
                 .velocity = state.velocity,
                 .is_release = true,
                 .held_seconds = static_cast<double>(frame_ - state.frame) / surroundings_.rate});
  if (instrument_->settings.is_mono && state.serial == last_struck_) return_to_older_key();
}

/// With one voice, the key that went down last among those still down sounds again.
void ZonePlayer::return_to_older_key() noexcept VESK_REALTIME {
  std::uint64_t last = 0;
  unsigned channel = 0, key = 0;
  for (unsigned c = 0; c < keys_.size(); ++c)
    for (unsigned k = 0; k < keys_[c].size(); ++k)
      if (keys_[c][k].is_down && keys_[c][k].serial > last) {
        last = keys_[c][k].serial;
        channel = c;
        key = k;
      }
  if (last > 0) note_on(channel, key, keys_[channel][key].velocity);
}

void ZonePlayer::control(unsigned number, unsigned value) noexcept VESK_REALTIME {
  if (number >= all_sound_off && number <= last_mode_message) {
    if (number == reset_all_controllers) reset_controllers();
    // The modes from 124 on end all notes as well.
    if (number >= all_notes_off) lift_keys();
    if (number == all_sound_off) {
      for (Voice& voice : voices_)
        if (voice.is_active()) voice.fade_out(surroundings_);
      keys_ = {};
    }
    return;
  }
  const bool was_down = is_pedal_down();
  midi_.controllers[number] = static_cast<std::uint8_t>(value);
  if (was_down && !is_pedal_down()) lift_pedal();
}

/// Volume and pan stay as they are: they belong to the mix, not to the playing.
void ZonePlayer::reset_controllers() noexcept VESK_REALTIME {
  const auto volume = midi_.controllers[volume_controller];
  const auto pan = midi_.controllers[pan_controller];
  const bool was_down = is_pedal_down();
  midi_.reset();
  midi_.controllers[volume_controller] = volume;
  midi_.controllers[pan_controller] = pan;
  if (was_down) lift_pedal();
  tune();
}

bool ZonePlayer::is_pedal_down() const noexcept VESK_REALTIME {
  return midi_.controllers[instrument_->settings.hold_controller & 127u] >= 64;
}

void ZonePlayer::lift_pedal() noexcept VESK_REALTIME {
  for (Voice& voice : voices_)
    if (voice.is_held) release_voice(voice);
  for (unsigned channel = 0; channel < keys_.size(); ++channel)
    for (unsigned key = 0; key < keys_[channel].size(); ++key)
      if (keys_[channel][key].is_held) {
        keys_[channel][key].is_held = false;
        end_note(channel, key);
      }
}

void ZonePlayer::lift_keys() noexcept VESK_REALTIME {
  for (unsigned channel = 0; channel < keys_.size(); ++channel)
    for (unsigned key = 0; key < keys_[channel].size(); ++key) note_off(channel, key);
}

void ZonePlayer::start_zones(const VoiceNote& note) noexcept VESK_REALTIME {
  picker_.pick(
      note.channel, note.key, note.velocity, note.is_release, midi_,
      [&](std::size_t zone, double gain) noexcept VESK_REALTIME { start_voice(zone, note, gain); });
}

void ZonePlayer::start_voice(std::size_t zone, const VoiceNote& note,
                             double gain) noexcept VESK_REALTIME {
  const auto index = instrument_->zones[zone].group;
  bool is_first = false;
  if (index) {
    const Group& group = instrument_->groups[*index];
    if (note.is_release && group.release_decay > 0)
      gain *= std::max(0.0, 1 - note.held_seconds / group.release_decay);
    if (gain == 0) return;
    if (group.exclusive_class != 0) choke(*index, note.serial);
    is_first = make_room_in_group(*index, note.serial);
  }
  if (!make_room(controls_.polyphony, note.serial)) return;
  const Envelope& envelope = envelope_of(*instrument_, zone);
  const double softness = (127 - note.velocity) / 126.0;
  const double attack = envelope.attack + softness * (envelope.attack_at_lowest - envelope.attack);
  Voice& voice = free_voice();
  voice.start(surroundings_, zone, note, gain,
              scaled(attack, controls_.attack, instrument_->settings.envelope.attack));
  voice.is_first_of_group = is_first;
}

void ZonePlayer::release_voice(Voice& voice) noexcept VESK_REALTIME {
  const bool ignores_keys = voice.note().is_release || instrument_->zones[voice.zone()].is_one_shot;
  if (!voice.is_active() || ignores_keys) return;
  voice.release(surroundings_, scaled(envelope_of(*instrument_, voice.zone()).release,
                                      controls_.release, instrument_->settings.envelope.release));
}

/// Ends what sounds in the other groups of a group's class.
void ZonePlayer::choke(std::size_t group, std::uint64_t serial) noexcept VESK_REALTIME {
  for (Voice& voice : voices_) {
    if (!voice.is_active() || voice.note().serial == serial) continue;
    const auto other = instrument_->zones[voice.zone()].group;
    if (other && *other != group &&
        instrument_->groups[*other].exclusive_class == instrument_->groups[group].exclusive_class)
      voice.fade_out(surroundings_);
  }
}

/// Ends the oldest notes of a group until one more is within its polyphony. False when the note
/// sounds in it already, or the group has no limit.
bool ZonePlayer::make_room_in_group(std::size_t group,
                                    std::uint64_t serial) noexcept VESK_REALTIME {
  const auto counts = [&](const Voice& voice) noexcept VESK_REALTIME {
    return voice.is_active() && !voice.is_fading() &&
           instrument_->zones[voice.zone()].group == group;
  };
  const unsigned limit = instrument_->groups[group].polyphony;
  if (limit == 0) return false;
  for (;;) {
    unsigned notes = 0;
    const Voice* oldest = nullptr;
    for (const Voice& voice : voices_) {
      if (!counts(voice) || !voice.is_first_of_group) continue;
      if (voice.note().serial == serial) return false;
      ++notes;
      if (oldest == nullptr || voice.goes_before(*oldest)) oldest = &voice;
    }
    if (notes < limit) return true;
    const std::uint64_t ended = oldest->note().serial;
    for (Voice& voice : voices_)
      if (counts(voice) && voice.note().serial == ended) voice.fade_out(surroundings_);
  }
}

/// Ends voices until there are fewer than `limit`. False when all that are left are of the note.
bool ZonePlayer::make_room(unsigned limit, std::uint64_t serial) noexcept VESK_REALTIME {
  for (;;) {
    unsigned sounding = 0;
    Voice* oldest = nullptr;
    for (Voice& voice : voices_) {
      if (!voice.is_active() || voice.is_fading()) continue;
      ++sounding;
      if (voice.note().serial != serial && (oldest == nullptr || voice.goes_before(*oldest)))
        oldest = &voice;
    }
    if (sounding < limit) return true;
    if (oldest == nullptr) return false;
    oldest->fade_out(surroundings_);
  }
}

/// One that is silent, or else the one that has faded most. There are more voices than the
/// polyphony allows, so that some of them are one or the other.
Voice& ZonePlayer::free_voice() noexcept VESK_REALTIME {
  Voice* found = &voices_.front();
  for (Voice& voice : voices_) {
    if (!voice.is_active()) return voice;
    if (voice.fade() < found->fade()) found = &voice;
  }
  found->stop();
  return *found;
}

void ZonePlayer::set(const Controls& controls) noexcept VESK_REALTIME {
  controls_ = controls;
  controls_.polyphony = std::clamp(controls.polyphony, 1u, most_voices);
  tune();
  constexpr std::uint64_t no_note = 0;
  make_room(controls_.polyphony + 1, no_note);
}

void ZonePlayer::tune() noexcept VESK_REALTIME {
  const Settings& settings = instrument_->settings;
  const double bend = midi_.bend > 0 ? midi_.bend / 8191.0 * settings.bend_up
                                     : midi_.bend / 8192.0 * settings.bend_down;
  surroundings_.tune_cents = controls_.tune_cents + 100 * bend;
}

void ZonePlayer::render(float* left, float* right, unsigned frames) noexcept VESK_REALTIME {
  std::fill_n(left, frames, 0.0f);
  std::fill_n(right, frames, 0.0f);
  const bool was_silent = is_silent_;
  is_silent_ = true;
  for (Voice& voice : voices_) {
    if (voice.is_active()) is_silent_ = false;
    for (unsigned done = 0; done < frames && voice.is_active(); done += block_frames)
      voice.render(surroundings_, left + done, right + done, std::min(frames - done, block_frames));
  }
  apply_gains(left, right, frames, was_silent);
  frame_ += frames;
}

/// Moves the gains of the player to where they should be; at once out of silence.
void ZonePlayer::apply_gains(float* left, float* right, unsigned frames,
                             bool at_once) noexcept VESK_REALTIME {
  const double gain = controls_.gain_db <= -90
                          ? 0
                          : gain_of_db(controls_.gain_db) *
                                controller_gain(midi_.controllers[volume_controller]) *
                                controller_gain(midi_.controllers[expression_controller]);
  const Balance set = balance_of(controls_.pan);
  const Balance played = balance_of((midi_.controllers[pan_controller] - 64) / 63.0);
  const float targets[2] = {static_cast<float>(gain * set.left * played.left),
                            static_cast<float>(gain * set.right * played.right)};
  float* const channels[2] = {left, right};
  for (int channel = 0; channel < 2; ++channel) {
    float now = at_once ? targets[channel] : gains_[channel];
    for (unsigned i = 0; i < frames; ++i) {
      now += (targets[channel] - now) * gain_share_;
      channels[channel][i] *= now;
    }
    // What is left of the way would never end.
    gains_[channel] = std::abs(targets[channel] - now) < 1e-6f ? targets[channel] : now;
  }
}

void ZonePlayer::reset() noexcept VESK_REALTIME {
  for (Voice& voice : voices_) voice.stop();
  midi_.reset();
  picker_.reset();
  keys_ = {};
  is_silent_ = true;
  tune();
}

}  // namespace vesk::sampler
