#pragma once

// What sounds when an instrument is played. An `InstrumentSound` is loaded once; it makes a
// `Player` for each sample rate and period that a unit runs at.

#include <cstdint>
#include <memory>
#include <string>

#include "platform/realtime.hpp"

namespace vesk::sampler {

/// What the unit's parameters set, beside what the instrument says.
struct Controls {
  double gain_db = 0;       ///< -90..12
  double tune_cents = 0;    ///< coarse and fine together
  double pan = 0;           ///< -1..1
  unsigned polyphony = 16;  ///< 1..128
  double attack = 0;        ///< seconds, 0..10
  double release = 0;       ///< seconds, 0..10
  bool operator==(const Controls&) const = default;
};

/// Render thread but for making and destroying it; real-time safe.
class Player {
 public:
  virtual ~Player() = default;
  /// A MIDI message that takes effect at the first frame of the next `render`.
  virtual void midi(std::uint8_t status, std::uint8_t data1,
                    std::uint8_t data2) noexcept VESK_REALTIME = 0;
  /// The next `frames` of sound, at most what it was made for, over what the buffers held.
  virtual void render(float* left, float* right, unsigned frames) noexcept VESK_REALTIME = 0;
  /// Heard from the next `render` on, without a click.
  virtual void set(const Controls& controls) noexcept VESK_REALTIME = 0;
  /// Offline it waits for samples that are still being read; else it fades out voices that have
  /// none.
  virtual void set_offline(bool offline) noexcept VESK_REALTIME = 0;
  /// Silence at once, every controller at rest.
  virtual void reset() noexcept VESK_REALTIME = 0;
};

/// A loaded instrument. Any thread that is not real-time, one call at a time.
class InstrumentSound {
 public:
  virtual ~InstrumentSound() = default;
  /// What an instrument asks for before anybody turns a knob.
  virtual Controls controls() const = 0;
  /// Whether attack, release and polyphony have an effect.
  virtual bool has_voice_controls() const { return true; }
  /// The player keeps what it needs of this alive. Null with `error` set when it cannot be had.
  virtual std::unique_ptr<Player> make_player(double sample_rate, unsigned max_frames,
                                              std::string& error) = 0;
  /// One line for the user about what is missing, empty when nothing is.
  virtual std::string remark() const { return {}; }
};

}  // namespace vesk::sampler
