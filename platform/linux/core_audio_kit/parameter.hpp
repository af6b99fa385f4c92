#pragma once

#include <AudioToolbox/AudioToolbox.h>

#include <optional>
#include <string>
#include <vector>

namespace vesk::platform {

/// How a parameter is shown and changed.
enum class Control {
  slider,
  toggle,  ///< On above the middle of the range.
  menu,    ///< One named value after the other, from the minimum.
  meter    ///< Shown only.
};

/// A parameter in the global scope of a unit, as text for people.
struct Parameter {
  AudioUnitParameterID id = 0;
  std::string name;
  /// What follows the number: "Hz", "dB", the unit's own word, or nothing.
  std::string unit_text;
  std::string group;
  Control control = Control::slider;
  /// Names of minimum, minimum + 1, ...; for a menu.
  std::vector<std::string> value_names;
  AudioUnitParameterUnit unit = kAudioUnitParameterUnit_Generic;
  AudioUnitParameterOptions flags = 0;
  float minimum = 0;
  float maximum = 1;
  float initial = 0;

  AudioUnitParameter address(AudioUnit audio_unit) const {
    return {audio_unit, id, kAudioUnitScope_Global, 0};
  }
};

/// Bytes of the list of the unit's parameters; 0 when it does not tell.
UInt32 parameter_list_size(AudioUnit unit);

/// The unit's parameters in its own order; those for experts only with `with_expert`. What the
/// unit does not describe, or describes without a usable range, is left out.
std::vector<Parameter> read_parameters(AudioUnit unit, bool with_expert);

/// The present value, held inside the range; none when the unit does not tell or it is no number.
std::optional<float> read_value(AudioUnit unit, const Parameter& parameter);

/// `value` for people: the unit's own text where it has one, else digits and the unit.
std::string value_text(AudioUnit unit, const Parameter& parameter, float value);

/// The digits and the unit, for parameters without texts of their own: as many digits after the
/// point for every value of a parameter, so that they stand below each other.
std::string number_text(const Parameter& parameter, float value);

/// The value that a person means by `text`: what the unit makes of it where it has texts of its
/// own, else a number, with or without the unit; held inside the range. None for other text.
std::optional<float> value_of_text(AudioUnit unit, const Parameter& parameter,
                                   const std::string& text);

/// A slider's place for a value, 0 to 1, and back, along the parameter's display curve. Values of
/// parameters that count in whole steps come out whole.
float position_of(AudioUnit unit, const Parameter& parameter, float value);
float value_at(AudioUnit unit, const Parameter& parameter, float position);

/// How far an arrow key moves a slider, 0 to 1: at least one step of those that count in steps.
double key_step(const Parameter& parameter, bool fine);

/// What a unit is called, and by whom it is made (empty when its name does not tell).
struct UnitTitle {
  std::string name;
  std::string maker;
};
UnitTitle read_title(AudioUnit unit);

struct FactoryPreset {
  SInt32 number = 0;
  std::string name;
};
std::vector<FactoryPreset> read_factory_presets(AudioUnit unit);
/// The name of the preset that the unit says it is at; empty when it does not say.
std::string read_present_preset(AudioUnit unit);
bool choose_preset(AudioUnit unit, const FactoryPreset& preset);

}  // namespace vesk::platform
