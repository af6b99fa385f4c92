#pragma once

// One zone sounding once.

#include <array>
#include <cstdint>
#include <span>

#include "components/sampler/instrument/instrument.hpp"
#include "components/sampler/samples/sample_set.hpp"
#include "components/sampler/voices/envelope.hpp"
#include "components/sampler/voices/filter.hpp"
#include "components/sampler/voices/interpolator.hpp"
#include "components/sampler/voices/modulator.hpp"
#include "components/sampler/voices/zone_picker.hpp"
#include "platform/realtime.hpp"

namespace vesk::sampler {

/// Pitch and levels are set once a block, and ramp to where they were set.
constexpr unsigned block_frames = 128;

/// What all voices of a player share.
struct VoiceSurroundings {
  const Instrument& instrument;
  const SampleSet& samples;
  const SincKernels& kernels;
  const MidiState& midi;
  double rate;            ///< of the output, frames a second
  double tune_cents = 0;  ///< of the player and the pitch wheel
  bool uses_filter_envelope = false;
};

/// The note that a voice belongs to.
struct VoiceNote {
  std::uint64_t serial = 0;  ///< notes in the order in which they began
  std::uint8_t channel = 0, key = 0, velocity = 0;
  bool is_release = false;  ///< sounds because the key went up
  double held_seconds = 0;  ///< that the key was down before
};

/// The envelope of a zone's level, before any control.
const Envelope& envelope_of(const Instrument& instrument, std::size_t zone) noexcept VESK_REALTIME;

/// Render thread; real-time safe.
class Voice {
 public:
  explicit Voice(ZoneStream stream) : stream_(std::move(stream)) {}

  void start(const VoiceSurroundings& surroundings, std::size_t zone, const VoiceNote& note,
             double gain, double attack_seconds) noexcept VESK_REALTIME;
  /// The key is up: the envelope falls to silence in that time.
  void release(const VoiceSurroundings& surroundings, double seconds) noexcept VESK_REALTIME;
  /// Gone in 3 ms, whatever the envelope does.
  void fade_out(const VoiceSurroundings& surroundings) noexcept VESK_REALTIME;
  void stop() noexcept VESK_REALTIME;
  /// Adds the next frames, at most a block.
  void render(const VoiceSurroundings& surroundings, float* left, float* right,
              unsigned frames) noexcept VESK_REALTIME;

  bool is_active() const noexcept VESK_REALTIME { return is_active_; }
  bool is_released() const noexcept VESK_REALTIME { return is_released_; }
  bool is_fading() const noexcept VESK_REALTIME { return fade_step_ > 0; }
  /// What a fade has left, 0..1.
  float fade() const noexcept VESK_REALTIME { return fade_; }
  /// Is the first of the two to make room: released ones before others, then older ones.
  bool goes_before(const Voice& other) const noexcept VESK_REALTIME {
    if (is_released_ != other.is_released_) return is_released_;
    return note_.serial < other.note_.serial;
  }
  std::size_t zone() const noexcept VESK_REALTIME { return zone_; }
  const VoiceNote& note() const noexcept VESK_REALTIME { return note_; }

  bool is_held = false;            ///< the key is up, the pedal keeps the note
  bool is_first_of_group = false;  ///< of its note's voices in its group

 private:
  struct Frames {
    alignas(64) float channels[2][window_frames + block_frames * highest_ratio + 1];
  };

  ModulationSums modulate(const VoiceSurroundings& surroundings) const noexcept VESK_REALTIME;
  FixedFrames step_for(const VoiceSurroundings& surroundings,
                       double modulation_cents) noexcept VESK_REALTIME;
  unsigned resample(const VoiceSurroundings& surroundings, FixedFrames step, float* const* output,
                    unsigned frames) noexcept VESK_REALTIME;
  void filter(const VoiceSurroundings& surroundings, const ModulationSums& sums,
              float* const* output, unsigned frames) noexcept VESK_REALTIME;
  void mix(const ModulationSums& sums, const float* const* input, unsigned frames, float* left,
           float* right) noexcept VESK_REALTIME;

  ZoneStream stream_;
  VoiceNote note_;
  std::size_t zone_ = 0;
  unsigned channels_ = 1;
  bool is_active_ = false, is_released_ = false, is_new_ = false;

  double cents_ = 0, ratio_ = 1, rate_ratio_ = 1;  ///< of the pitch last heard
  const SincKernel* kernel_ = nullptr;
  FixedFrames position_ = 0, step_ = 0;
  float window_[2][window_frames];
  unsigned ended_frames_ = 0;  ///< of the window, behind the sample's end

  double gain_ = 0, pan_ = 0;
  float left_gain_ = 0, right_gain_ = 0;
  float fade_ = 1, fade_step_ = 0;
  EnvelopeGenerator envelope_, filter_envelope_;
  LfoGenerator lfos_[3];
  VoiceFilter filter_;
};

}  // namespace vesk::sampler
