#include "components/sampler/unit/parameters.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>

#include "components/unit_support/cf_text.hpp"

namespace vesk::sampler {
namespace {

constexpr float cents_per_semitone = 100;

/// `controls` as values, in the order of the descriptions, and back.
std::array<float, parameter_count> values_of(const Controls& controls) {
  const double coarse = std::trunc(controls.tune_cents / cents_per_semitone);
  return {static_cast<float>(controls.gain_db),
          static_cast<float>(coarse),
          static_cast<float>(controls.tune_cents - coarse * cents_per_semitone),
          static_cast<float>(controls.pan),
          static_cast<float>(controls.attack),
          static_cast<float>(controls.release),
          static_cast<float>(controls.polyphony)};
}

}  // namespace

constexpr std::array<ParameterDescription, parameter_count> parameter_descriptions = {{
    {gain_id, "Gain", kAudioUnitParameterUnit_Decibels, -90, 12, 0, false},
    {coarse_tuning_id, "Coarse tuning", kAudioUnitParameterUnit_RelativeSemiTones, -24, 24, 0,
     false},
    {fine_tuning_id, "Fine tuning", kAudioUnitParameterUnit_Cents, -99, 99, 0, false},
    {pan_id, "Pan", kAudioUnitParameterUnit_Pan, -1, 1, 0, false},
    {attack_id, "Attack", kAudioUnitParameterUnit_Seconds, 0, 10,
     kAudioUnitParameterFlag_DisplayCubeRoot, true},
    {release_id, "Release", kAudioUnitParameterUnit_Seconds, 0, 10,
     kAudioUnitParameterFlag_DisplayCubeRoot, true},
    {polyphony_id, "Polyphony", kAudioUnitParameterUnit_Indexed, 1, 128, 0, true},
}};

Parameters::Parameters() {
  begin({}, true);
}

std::size_t Parameters::index(AudioUnitParameterID id) const noexcept VESK_REALTIME {
  const bool has_voice_controls = has_voice_controls_.load(std::memory_order_relaxed);
  for (std::size_t i = 0; i < parameter_count; ++i) {
    const ParameterDescription& parameter = parameter_descriptions[i];
    if (parameter.id == id && (has_voice_controls || !parameter.is_of_voices)) return i;
  }
  return parameter_count;
}

void Parameters::set(std::size_t index, float value) noexcept VESK_REALTIME {
  const ParameterDescription& parameter = parameter_descriptions[index];
  values_[index].store(std::clamp(value, parameter.least, parameter.most),
                       std::memory_order_relaxed);
}

Controls Parameters::controls() const noexcept VESK_REALTIME {
  Controls controls;
  controls.gain_db = value(0);
  controls.tune_cents = double{value(1)} * cents_per_semitone + value(2);
  controls.pan = value(3);
  controls.attack = value(4);
  controls.release = value(5);
  controls.polyphony = static_cast<unsigned>(std::lround(value(6)));
  return controls;
}

void Parameters::begin(const Controls& controls, bool has_voice_controls) {
  has_voice_controls_.store(has_voice_controls, std::memory_order_relaxed);
  const auto values = values_of(controls);
  for (std::size_t i = 0; i < parameter_count; ++i) {
    set(i, values[i]);
    defaults_[i] = value(i);
  }
}

AudioUnitParameterInfo Parameters::info(std::size_t index) const {
  const ParameterDescription& parameter = parameter_descriptions[index];
  AudioUnitParameterInfo info{};
  const std::string_view name = parameter.name;
  std::memcpy(info.name, name.data(), name.size());
  info.cfNameString = copy_cf_string(name);
  info.unit = parameter.unit;
  info.minValue = parameter.least;
  info.maxValue = parameter.most;
  info.defaultValue = defaults_[index];
  info.flags = kAudioUnitParameterFlag_HasCFNameString | kAudioUnitParameterFlag_CFNameRelease |
               kAudioUnitParameterFlag_IsReadable | kAudioUnitParameterFlag_IsWritable |
               parameter.curve;
  if (parameter.unit != kAudioUnitParameterUnit_Indexed)
    info.flags |= kAudioUnitParameterFlag_IsHighResolution;
  return info;
}

}  // namespace vesk::sampler
