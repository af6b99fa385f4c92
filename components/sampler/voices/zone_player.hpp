#pragma once

// Plays an instrument of zones.

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "components/sampler/instrument/instrument.hpp"
#include "components/sampler/player.hpp"
#include "components/sampler/samples/sample_set.hpp"
#include "components/sampler/voices/voice.hpp"
#include "components/sampler/voices/zone_picker.hpp"

namespace vesk::sampler {

constexpr unsigned most_voices = 128;
/// Voices beyond the polyphony, for those that fade.
constexpr unsigned spare_voices = 32;

/// Listens to all MIDI channels, with one set of controllers for them.
///
/// Design: a fixed number of voices with a stream each. A voice that makes room for another fades
/// in 3 ms and no longer counts; only when all spare ones are fading too is one cut. All gains of
/// the player as a whole (controls, volume, expression, balance) are applied to the sum of the
/// voices.
class ZonePlayer final : public Player {
 public:
  /// Allocates; rates are frames a second.
  ZonePlayer(std::shared_ptr<const Instrument> instrument, std::shared_ptr<SampleSet> samples,
             const Controls& controls, double sample_rate);

  void midi(std::uint8_t status, std::uint8_t data1,
            std::uint8_t data2) noexcept VESK_REALTIME override;
  void render(float* left, float* right, unsigned frames) noexcept VESK_REALTIME override;
  void set(const Controls& controls) noexcept VESK_REALTIME override;
  void set_offline(bool offline) noexcept VESK_REALTIME override { samples_->set_offline(offline); }
  void reset() noexcept VESK_REALTIME override;

 private:
  /// A key of a channel.
  struct Key {
    std::uint64_t serial = 0;  ///< of its last note
    std::uint64_t frame = 0;   ///< when it went down
    std::uint8_t velocity = 0;
    bool is_down = false;
    bool is_held = false;  ///< up, and the pedal keeps its note
  };

  void note_on(unsigned channel, unsigned key, unsigned velocity) noexcept VESK_REALTIME;
  void note_off(unsigned channel, unsigned key) noexcept VESK_REALTIME;
  void end_note(unsigned channel, unsigned key) noexcept VESK_REALTIME;
  void control(unsigned number, unsigned value) noexcept VESK_REALTIME;
  void reset_controllers() noexcept VESK_REALTIME;
  void lift_pedal() noexcept VESK_REALTIME;
  void lift_keys() noexcept VESK_REALTIME;
  bool is_pedal_down() const noexcept VESK_REALTIME;
  void return_to_older_key() noexcept VESK_REALTIME;

  void start_zones(const VoiceNote& note) noexcept VESK_REALTIME;
  void start_voice(std::size_t zone, const VoiceNote& note, double gain) noexcept VESK_REALTIME;
  void release_voice(Voice& voice) noexcept VESK_REALTIME;
  void choke(std::size_t group, std::uint64_t serial) noexcept VESK_REALTIME;
  bool make_room_in_group(std::size_t group, std::uint64_t serial) noexcept VESK_REALTIME;
  bool make_room(unsigned limit, std::uint64_t serial) noexcept VESK_REALTIME;
  Voice& free_voice() noexcept VESK_REALTIME;

  void tune() noexcept VESK_REALTIME;
  void apply_gains(float* left, float* right, unsigned frames, bool at_once) noexcept VESK_REALTIME;

  std::shared_ptr<const Instrument> instrument_;
  std::shared_ptr<SampleSet> samples_;
  Controls controls_;
  MidiState midi_;
  ZonePicker picker_;
  VoiceSurroundings surroundings_;
  std::vector<Voice> voices_;
  std::array<std::array<Key, 128>, 16> keys_{};
  std::uint64_t serial_ = 0;       ///< of the note begun last
  std::uint64_t last_struck_ = 0;  ///< of the last that a key going down began
  std::uint64_t frame_ = 0;
  float gains_[2] = {};    ///< where the last render ended
  float gain_share_;       ///< of the way to where they should be, each frame
  bool is_silent_ = true;  ///< nothing sounded in the last render
};

}  // namespace vesk::sampler
