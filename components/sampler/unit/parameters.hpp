#pragma once

// The unit's parameters: what a panel shows of them, and their values for any thread.

#include <AudioToolbox/AudioUnitProperties.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <span>

#include "components/sampler/player.hpp"
#include "platform/realtime.hpp"

namespace vesk::sampler {

/// The first four have the numbers that every sampler of this kind has.
enum : AudioUnitParameterID {
  gain_id = 900,
  coarse_tuning_id = 901,
  fine_tuning_id = 902,
  pan_id = 903,
  attack_id = 910,
  release_id = 911,
  polyphony_id = 912
};

struct ParameterDescription {
  AudioUnitParameterID id;
  const char* name;
  AudioUnitParameterUnit unit;
  float least, most;
  AudioUnitParameterOptions curve;
  bool is_of_voices;  ///< for instruments that have voice controls
};

inline constexpr std::size_t parameter_count = 7;
extern const std::array<ParameterDescription, parameter_count> parameter_descriptions;

/// Values are kept inside their ranges.
class Parameters {
 public:
  Parameters();

  // Any thread, real-time safe.

  /// The place of `id` in `parameter_descriptions`, `parameter_count` when there is none or the
  /// instrument has no use for it.
  std::size_t index(AudioUnitParameterID id) const noexcept VESK_REALTIME;
  float value(std::size_t index) const noexcept VESK_REALTIME {
    return values_[index].load(std::memory_order_relaxed);
  }
  /// `value` is finite.
  void set(std::size_t index, float value) noexcept VESK_REALTIME;
  Controls controls() const noexcept VESK_REALTIME;

  // Control thread.

  /// Takes over what an instrument asks for, also as the values to go back to.
  void begin(const Controls& controls, bool has_voice_controls);
  AudioUnitParameterInfo info(std::size_t index) const;

 private:
  std::array<std::atomic<float>, parameter_count> values_;
  std::array<float, parameter_count> defaults_;
  std::atomic<bool> has_voice_controls_{true};
};

}  // namespace vesk::sampler
