#include "components/lv2/unit/parameter_text.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <lv2/units/units.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

#include "components/unit_support/cf_text.hpp"

namespace vesk::lv2 {
namespace {

struct UnitName {
  std::string_view uri;
  AudioUnitParameterUnit unit;
};

constexpr std::array unit_names = {
    UnitName{LV2_UNITS__db, kAudioUnitParameterUnit_Decibels},
    UnitName{LV2_UNITS__hz, kAudioUnitParameterUnit_Hertz},
    UnitName{LV2_UNITS__pc, kAudioUnitParameterUnit_Percent},
    UnitName{LV2_UNITS__s, kAudioUnitParameterUnit_Seconds},
    UnitName{LV2_UNITS__ms, kAudioUnitParameterUnit_Milliseconds},
    UnitName{LV2_UNITS__frame, kAudioUnitParameterUnit_SampleFrames},
    UnitName{LV2_UNITS__coef, kAudioUnitParameterUnit_Ratio},
    UnitName{LV2_UNITS__degree, kAudioUnitParameterUnit_Degrees},
    UnitName{LV2_UNITS__bpm, kAudioUnitParameterUnit_BPM},
    UnitName{LV2_UNITS__beat, kAudioUnitParameterUnit_Beats},
    UnitName{LV2_UNITS__m, kAudioUnitParameterUnit_Meters},
    UnitName{LV2_UNITS__cent, kAudioUnitParameterUnit_Cents},
    UnitName{LV2_UNITS__semitone12TET, kAudioUnitParameterUnit_RelativeSemiTones},
    UnitName{LV2_UNITS__oct, kAudioUnitParameterUnit_Octaves},
    UnitName{LV2_UNITS__midiNote, kAudioUnitParameterUnit_MIDINoteNumber},
};

// More names than this in one menu help nobody, and a damaged range must not fill the memory.
constexpr float maximum_names = 1024;

bool is_whole(float value) {
  return std::floor(value) == value;
}

bool has_whole_names(const Port& port, const Range& range) {
  if (port.scale_points.empty() || !is_whole(range.min) || range.max - range.min > maximum_names ||
      (!port.has(property_enumeration) && !port.has(property_integer))) {
    return false;
  }
  for (const ScalePoint& point : port.scale_points)
    if (!is_whole(point.value)) return false;
  return true;
}

AudioUnitParameterUnit unit_of(const Port& port) {
  if (port.has(property_toggled)) return kAudioUnitParameterUnit_Boolean;
  for (const UnitName& known : unit_names)
    if (port.unit.uri == known.uri) return known.unit;
  if (!port.unit.symbol.empty()) return kAudioUnitParameterUnit_CustomUnit;
  return port.has(property_integer) || port.has(property_enumeration)
             ? kAudioUnitParameterUnit_Indexed
             : kAudioUnitParameterUnit_Generic;
}

const ScalePoint* point_at(const Port& port, float value) {
  const ScalePoint* nearest = nullptr;
  for (const ScalePoint& point : port.scale_points)
    if (nearest == nullptr || std::fabs(point.value - value) < std::fabs(nearest->value - value))
      nearest = &point;
  if (nearest == nullptr || (nearest->value != value && !port.has(property_enumeration)))
    return nullptr;
  return nearest;
}

std::string number_text(float value) {
  std::array<char, 64> text;
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc{} ? std::string(text.data(), end) : std::string("?");
}

}  // namespace

AudioUnitParameterInfo parameter_info(const Port& port, const Range& range) {
  AudioUnitParameterInfo info{};
  const std::string short_name = cut_utf8(port.name, sizeof info.name - 1);
  std::memcpy(info.name, short_name.c_str(), short_name.size() + 1);
  info.cfNameString = copy_cf_string(port.name);
  info.unit = unit_of(port);
  if (info.unit == kAudioUnitParameterUnit_CustomUnit)
    info.unitName = copy_cf_string(port.unit.symbol);
  info.minValue = range.min;
  info.maxValue = range.max;
  info.defaultValue = range.def;
  info.flags = kAudioUnitParameterFlag_HasCFNameString | kAudioUnitParameterFlag_CFNameRelease |
               kAudioUnitParameterFlag_IsReadable;
  info.flags |= port.direction == Direction::output ? kAudioUnitParameterFlag_MeterReadOnly
                                                    : kAudioUnitParameterFlag_IsWritable;
  if (!port.scale_points.empty()) info.flags |= kAudioUnitParameterFlag_ValuesHaveStrings;
  if (port.has(property_not_on_gui)) info.flags |= kAudioUnitParameterFlag_ExpertMode;
  if (port.has(property_expensive)) info.flags |= kAudioUnitParameterFlag_NonRealTime;
  if (logarithmic_is_usable(port, range)) info.flags |= kAudioUnitParameterFlag_DisplayLogarithmic;
  if (info.unit != kAudioUnitParameterUnit_Boolean && info.unit != kAudioUnitParameterUnit_Indexed)
    info.flags |= kAudioUnitParameterFlag_IsHighResolution;
  return info;
}

CFArrayRef copy_value_strings(const Port& port, const Range& range) {
  if (!has_whole_names(port, range)) return nullptr;
  CFMutableArrayRef names = CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
  // Counted in whole steps: beyond 2^24 adding 1 to a float changes nothing.
  const int steps = static_cast<int>(range.max - range.min);
  for (int step = 0; step <= steps; ++step) {
    const float value = range.min + static_cast<float>(step);
    const ScalePoint* point = point_at(port, value);
    const bool exact = point != nullptr && point->value == value;
    CFStringRef name = copy_cf_string(exact ? point->label : number_text(value));
    CFArrayAppendValue(names, name);
    CFRelease(name);
  }
  return names;
}

CFStringRef copy_value_text(const Port& port, float value) {
  if (const ScalePoint* point = point_at(port, value)) return copy_cf_string(point->label);
  std::string text = number_text(value);
  if (!port.unit.symbol.empty()) {
    text += ' ';
    text += port.unit.symbol;
  }
  return copy_cf_string(text);
}

std::optional<float> value_of_text(const Port& port, const std::string& text) {
  for (const ScalePoint& point : port.scale_points)
    if (point.label == text) return point.value;
  const char* first = text.data();
  const char* last = first + text.size();
  while (first != last && *first == ' ') ++first;
  float value = 0;
  const bool is_number = std::from_chars(first, last, value).ec == std::errc{};
  return is_number && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

}  // namespace vesk::lv2
