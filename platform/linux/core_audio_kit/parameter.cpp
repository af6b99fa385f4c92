#include "platform/linux/core_audio_kit/parameter.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <string_view>

#include "platform/linux/core_foundation/text_of.hpp"

namespace vesk::platform {
namespace {

/// More named values than a menu can show; a unit that claims so many is not asked for all.
constexpr float most_menu_values = 512;

const char* unit_word(AudioUnitParameterUnit unit) {
  switch (unit) {
    case kAudioUnitParameterUnit_Percent:
      return "%";
    case kAudioUnitParameterUnit_Seconds:
      return "s";
    case kAudioUnitParameterUnit_SampleFrames:
      return "samples";
    case kAudioUnitParameterUnit_Phase:
    case kAudioUnitParameterUnit_Degrees:
      return "°";
    case kAudioUnitParameterUnit_Rate:
      return "×";
    case kAudioUnitParameterUnit_Hertz:
      return "Hz";
    case kAudioUnitParameterUnit_Cents:
    case kAudioUnitParameterUnit_AbsoluteCents:
      return "ct";
    case kAudioUnitParameterUnit_RelativeSemiTones:
      return "st";
    case kAudioUnitParameterUnit_Decibels:
      return "dB";
    case kAudioUnitParameterUnit_Meters:
      return "m";
    case kAudioUnitParameterUnit_Octaves:
      return "oct";
    case kAudioUnitParameterUnit_BPM:
      return "BPM";
    case kAudioUnitParameterUnit_Beats:
      return "beats";
    case kAudioUnitParameterUnit_Milliseconds:
      return "ms";
    case kAudioUnitParameterUnit_Ratio:
      return ": 1";
    default:
      return "";
  }
}

bool counts_in_steps(const Parameter& parameter) {
  switch (parameter.unit) {
    case kAudioUnitParameterUnit_Indexed:
    case kAudioUnitParameterUnit_Boolean:
    case kAudioUnitParameterUnit_MIDINoteNumber:
    case kAudioUnitParameterUnit_MIDIController:
      return true;
    default:
      return false;
  }
}

std::optional<std::string> own_text(AudioUnit unit, const Parameter& parameter, float value) {
  if (!(parameter.flags & kAudioUnitParameterFlag_ValuesHaveStrings)) return std::nullopt;
  AudioUnitParameterStringFromValue request{parameter.id, &value, nullptr};
  UInt32 size = sizeof request;
  if (AudioUnitGetProperty(unit, kAudioUnitProperty_ParameterStringFromValue,
                           kAudioUnitScope_Global, 0, &request, &size) != noErr ||
      !request.outString) {
    return std::nullopt;
  }
  return take_text(request.outString);
}

std::vector<std::string> read_value_strings(AudioUnit unit, AudioUnitParameterID id) {
  CFArrayRef strings = nullptr;
  UInt32 size = sizeof strings;
  std::vector<std::string> names;
  if (AudioUnitGetProperty(unit, kAudioUnitProperty_ParameterValueStrings, kAudioUnitScope_Global,
                           id, &strings, &size) != noErr ||
      !strings) {
    return names;
  }
  for (CFIndex index = 0; index < CFArrayGetCount(strings); ++index)
    names.push_back(text_of(static_cast<CFStringRef>(CFArrayGetValueAtIndex(strings, index))));
  CFRelease(strings);
  return names;
}

/// The names of an indexed parameter's values: a list of the unit's, or each one asked for.
std::vector<std::string> read_value_names(AudioUnit unit, const Parameter& parameter) {
  std::vector<std::string> names = read_value_strings(unit, parameter.id);
  const float span = parameter.maximum - parameter.minimum;
  if (!names.empty() || !(span >= 0 && span < most_menu_values)) return names;
  // Not counted in values: from 2^24 on the next one is the same.
  for (int i = 0; i <= static_cast<int>(span); ++i) {
    auto name = own_text(unit, parameter, parameter.minimum + static_cast<float>(i));
    if (!name) return {};
    names.push_back(std::move(*name));
  }
  return names;
}

std::string read_group(AudioUnit unit, const AudioUnitParameterInfo& info) {
  if (!(info.flags & kAudioUnitParameterFlag_HasClump) || info.clumpID == kAudioUnitClumpID_System)
    return {};
  AudioUnitParameterNameInfo request{info.clumpID, kAudioUnitParameterName_Full, nullptr};
  UInt32 size = sizeof request;
  if (AudioUnitGetProperty(unit, kAudioUnitProperty_ParameterClumpName, kAudioUnitScope_Global, 0,
                           &request, &size) != noErr ||
      !request.outName) {
    return {};
  }
  return take_text(request.outName);
}

/// Takes the texts out of `info` and gives back the references that came with them.
void take_names(const AudioUnitParameterInfo& info, Parameter& parameter) {
  const bool has_name = info.flags & kAudioUnitParameterFlag_HasCFNameString && info.cfNameString;
  const bool has_unit = info.unit == kAudioUnitParameterUnit_CustomUnit && info.unitName;
  parameter.name = has_name ? text_of(info.cfNameString)
                            : std::string(info.name, strnlen(info.name, sizeof info.name));
  parameter.unit_text = has_unit ? text_of(info.unitName) : unit_word(info.unit);
  if (info.flags & kAudioUnitParameterFlag_CFNameRelease) {
    if (has_name) CFRelease(info.cfNameString);
    if (has_unit) CFRelease(info.unitName);
  }
}

Control control_of(const Parameter& parameter) {
  if (!(parameter.flags & kAudioUnitParameterFlag_IsWritable) ||
      parameter.flags & kAudioUnitParameterFlag_MeterReadOnly) {
    return Control::meter;
  }
  if (parameter.unit == kAudioUnitParameterUnit_Boolean) return Control::toggle;
  return parameter.value_names.empty() ? Control::slider : Control::menu;
}

std::optional<Parameter> read_parameter(AudioUnit unit, AudioUnitParameterID id, bool with_expert) {
  AudioUnitParameterInfo info{};
  UInt32 size = sizeof info;
  if (AudioUnitGetProperty(unit, kAudioUnitProperty_ParameterInfo, kAudioUnitScope_Global, id,
                           &info, &size) != noErr) {
    return std::nullopt;
  }
  Parameter parameter;
  parameter.id = id;
  take_names(info, parameter);
  const bool has_range = std::isfinite(info.minValue) && std::isfinite(info.maxValue) &&
                         info.minValue <= info.maxValue;
  const bool is_hidden = info.flags & kAudioUnitParameterFlag_ExpertMode && !with_expert;
  if (!has_range || is_hidden) return std::nullopt;
  parameter.unit = info.unit;
  parameter.flags = info.flags;
  parameter.minimum = info.minValue;
  parameter.maximum = info.maxValue;
  // Written so that a default that is no number becomes the minimum.
  parameter.initial = info.defaultValue > info.minValue ? info.defaultValue : info.minValue;
  parameter.initial = std::min(parameter.initial, parameter.maximum);
  parameter.group = read_group(unit, info);
  if (info.unit == kAudioUnitParameterUnit_Indexed)
    parameter.value_names = read_value_names(unit, parameter);
  parameter.control = control_of(parameter);
  return parameter;
}

std::string note_name(int note) {
  static constexpr const char* names[] = {"C",  "C#", "D",  "D#", "E",  "F",
                                          "F#", "G",  "G#", "A",  "A#", "B"};
  if (note < 0 || note > 127) return std::to_string(note);
  return names[note % 12] + std::to_string(note / 12 - 1);
}

/// About three digits at the middle of the range. Where a range holds many sizes, values that would
/// show next to nothing get more.
int decimals_for(float value, float range) {
  const float magnitude = std::fabs(value);
  if (range >= 500) return magnitude > 0 && magnitude < 10 ? 2 : 0;
  if (range >= 50) return 1;
  return range >= 5 ? 2 : 3;
}

float held_inside(const Parameter& parameter, float value) {
  return std::clamp(counts_in_steps(parameter) ? std::round(value) : value, parameter.minimum,
                    parameter.maximum);
}

std::optional<float> own_value(AudioUnit unit, const Parameter& parameter,
                               const std::string& text) {
  if (!(parameter.flags & kAudioUnitParameterFlag_ValuesHaveStrings)) return std::nullopt;
  const CFStringRef string =
      CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8);
  if (!string) return std::nullopt;
  AudioUnitParameterValueFromString request{parameter.id, string, 0};
  UInt32 size = sizeof request;
  const OSStatus status = AudioUnitGetProperty(unit, kAudioUnitProperty_ParameterValueFromString,
                                               kAudioUnitScope_Global, 0, &request, &size);
  CFRelease(string);
  if (status != noErr || !std::isfinite(request.outValue)) return std::nullopt;
  return request.outValue;
}

/// A decimal comma is as good as a point.
std::optional<float> number_of(const Parameter& parameter, std::string text) {
  if (parameter.unit == kAudioUnitParameterUnit_MIDINoteNumber)
    for (int note = 0; note < 128; ++note)
      if (note_name(note) == text) return static_cast<float>(note);
  std::replace(text.begin(), text.end(), ',', '.');
  const std::size_t start = text.find_first_not_of(" +");
  if (start == text.npos) return std::nullopt;
  float value = 0;
  const auto [end, error] = std::from_chars(text.data() + start, text.data() + text.size(), value);
  if (error != std::errc() || !std::isfinite(value)) return std::nullopt;
  const std::size_t unit = text.find_first_not_of(' ', static_cast<std::size_t>(end - text.data()));
  const bool in_kilohertz = parameter.unit == kAudioUnitParameterUnit_Hertz && unit != text.npos &&
                            (text[unit] == 'k' || text[unit] == 'K');
  return in_kilohertz ? value * 1000 : value;
}

}  // namespace

UInt32 parameter_list_size(AudioUnit unit) {
  UInt32 size = 0;
  const OSStatus status = AudioUnitGetPropertyInfo(unit, kAudioUnitProperty_ParameterList,
                                                   kAudioUnitScope_Global, 0, &size, nullptr);
  return status == noErr ? size : 0;
}

std::vector<Parameter> read_parameters(AudioUnit unit, bool with_expert) {
  std::vector<Parameter> parameters;
  UInt32 size = parameter_list_size(unit);
  if (size < sizeof(AudioUnitParameterID)) return parameters;
  std::vector<AudioUnitParameterID> ids(size / sizeof(AudioUnitParameterID));
  size = static_cast<UInt32>(ids.size() * sizeof(AudioUnitParameterID));
  if (AudioUnitGetProperty(unit, kAudioUnitProperty_ParameterList, kAudioUnitScope_Global, 0,
                           ids.data(), &size) != noErr) {
    return parameters;
  }
  ids.resize(std::min(ids.size(), size / sizeof(AudioUnitParameterID)));
  for (const AudioUnitParameterID id : ids)
    if (auto parameter = read_parameter(unit, id, with_expert))
      parameters.push_back(std::move(*parameter));
  return parameters;
}

std::optional<float> read_value(AudioUnit unit, const Parameter& parameter) {
  float value = 0;
  if (AudioUnitGetParameter(unit, parameter.id, kAudioUnitScope_Global, 0, &value) != noErr ||
      !std::isfinite(value)) {
    return std::nullopt;
  }
  return std::clamp(value, parameter.minimum, parameter.maximum);
}

std::string number_text(const Parameter& parameter, float value) {
  if (parameter.unit == kAudioUnitParameterUnit_Boolean)
    return value > (parameter.minimum + parameter.maximum) / 2 ? "On" : "Off";
  if (parameter.unit == kAudioUnitParameterUnit_MIDINoteNumber)
    return note_name(static_cast<int>(std::lround(value)));
  const bool in_kilohertz =
      parameter.unit == kAudioUnitParameterUnit_Hertz && std::fabs(value) >= 10000;
  const float shown = in_kilohertz ? value / 1000 : value;
  const int decimals = counts_in_steps(parameter) ? 0
                       : in_kilohertz ? 2
                                      : decimals_for(value, parameter.maximum - parameter.minimum);
  char digits[64];
  std::snprintf(digits, sizeof digits, "%.*f", decimals, static_cast<double>(shown));
  std::string text = digits;
  // No minus before what shows as nothing.
  if (text.find_first_not_of("-0.") == text.npos && text[0] == '-') text.erase(0, 1);
  const std::string unit_text = in_kilohertz ? "kHz" : parameter.unit_text;
  return unit_text.empty() ? text : text + " " + unit_text;
}

std::string value_text(AudioUnit unit, const Parameter& parameter, float value) {
  const auto index = static_cast<std::size_t>(std::lround(value - parameter.minimum));
  if (index < parameter.value_names.size()) return parameter.value_names[index];
  if (auto text = own_text(unit, parameter, value)) return std::move(*text);
  return number_text(parameter, value);
}

std::optional<float> value_of_text(AudioUnit unit, const Parameter& parameter,
                                   const std::string& text) {
  std::optional<float> value = own_value(unit, parameter, text);
  if (!value) value = number_of(parameter, text);
  if (!value) return std::nullopt;
  return held_inside(parameter, *value);
}

float position_of(AudioUnit unit, const Parameter& parameter, float value) {
  const AudioUnitParameter address = parameter.address(unit);
  const float position = AUParameterValueToLinear(value, &address);
  return position > 0 ? std::min(position, 1.0f) : 0.0f;
}

float value_at(AudioUnit unit, const Parameter& parameter, float position) {
  const AudioUnitParameter address = parameter.address(unit);
  const float value = AUParameterValueFromLinear(std::clamp(position, 0.0f, 1.0f), &address);
  return held_inside(parameter, value);
}

double key_step(const Parameter& parameter, bool fine) {
  const double whole = static_cast<double>(parameter.maximum) - parameter.minimum;
  if (counts_in_steps(parameter)) return whole > 0 ? 1 / whole : 1;
  return fine ? 0.001 : 0.01;
}

UnitTitle read_title(AudioUnit unit) {
  CFStringRef whole = nullptr;
  const AudioComponent component = AudioComponentInstanceGetComponent(unit);
  if (!component || AudioComponentCopyName(component, &whole) != noErr || !whole)
    return {"Audio Unit", {}};
  // The convention is "Maker: Name".
  const std::string text = take_text(whole);
  const std::size_t colon = text.find(": ");
  if (colon == text.npos) return {text, {}};
  return {text.substr(colon + 2), text.substr(0, colon)};
}

std::vector<FactoryPreset> read_factory_presets(AudioUnit unit) {
  CFArrayRef array = nullptr;
  UInt32 size = sizeof array;
  std::vector<FactoryPreset> presets;
  if (AudioUnitGetProperty(unit, kAudioUnitProperty_FactoryPresets, kAudioUnitScope_Global, 0,
                           &array, &size) != noErr ||
      !array) {
    return presets;
  }
  for (CFIndex index = 0; index < CFArrayGetCount(array); ++index) {
    const auto* preset = static_cast<const AUPreset*>(CFArrayGetValueAtIndex(array, index));
    if (preset) presets.push_back({preset->presetNumber, text_of(preset->presetName)});
  }
  CFRelease(array);
  return presets;
}

std::string read_present_preset(AudioUnit unit) {
  AUPreset preset{};
  UInt32 size = sizeof preset;
  if (AudioUnitGetProperty(unit, kAudioUnitProperty_PresentPreset, kAudioUnitScope_Global, 0,
                           &preset, &size) != noErr ||
      !preset.presetName) {
    return {};
  }
  return take_text(preset.presetName);
}

bool choose_preset(AudioUnit unit, const FactoryPreset& preset) {
  const CFStringRef name =
      CFStringCreateWithCString(nullptr, preset.name.c_str(), kCFStringEncodingUTF8);
  const AUPreset chosen{preset.number, name};
  const OSStatus status = AudioUnitSetProperty(unit, kAudioUnitProperty_PresentPreset,
                                               kAudioUnitScope_Global, 0, &chosen, sizeof chosen);
  if (name) CFRelease(name);
  return status == noErr;
}

}  // namespace vesk::platform
