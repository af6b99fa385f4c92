#include "tools/list/parameter_listing.hpp"

#include <AudioToolbox/AudioToolbox.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "tools/list/json_text.hpp"

namespace vesk::tools {
namespace {

std::string number(float value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", static_cast<double>(value));
  return text;
}

/// Characters, not bytes: names may hold accents.
std::size_t width(const std::string& text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char c) { return (c & 0xC0) != 0x80; }));
}

using Row = std::array<std::string, 5>;

}  // namespace

std::string unit_text(std::uint32_t unit) {
  switch (unit) {
    case kAudioUnitParameterUnit_Boolean:
      return "on/off";
    case kAudioUnitParameterUnit_Percent:
      return "%";
    case kAudioUnitParameterUnit_Seconds:
      return "s";
    case kAudioUnitParameterUnit_SampleFrames:
      return "frames";
    case kAudioUnitParameterUnit_Phase:
      return "phase";
    case kAudioUnitParameterUnit_Rate:
      return "rate";
    case kAudioUnitParameterUnit_Hertz:
      return "Hz";
    case kAudioUnitParameterUnit_Cents:
    case kAudioUnitParameterUnit_AbsoluteCents:
      return "cents";
    case kAudioUnitParameterUnit_RelativeSemiTones:
      return "semitones";
    case kAudioUnitParameterUnit_MIDINoteNumber:
      return "note";
    case kAudioUnitParameterUnit_MIDIController:
    case kAudioUnitParameterUnit_MIDI2Controller:
      return "controller";
    case kAudioUnitParameterUnit_Decibels:
      return "dB";
    case kAudioUnitParameterUnit_LinearGain:
      return "gain";
    case kAudioUnitParameterUnit_Degrees:
      return "degrees";
    case kAudioUnitParameterUnit_Pan:
      return "pan";
    case kAudioUnitParameterUnit_Meters:
      return "m";
    case kAudioUnitParameterUnit_Octaves:
      return "octaves";
    case kAudioUnitParameterUnit_BPM:
      return "bpm";
    case kAudioUnitParameterUnit_Beats:
      return "beats";
    case kAudioUnitParameterUnit_Milliseconds:
      return "ms";
    case kAudioUnitParameterUnit_Ratio:
      return "ratio";
    default:
      return "";
  }
}

std::string parameters_text(const std::vector<ParameterDescription>& parameters) {
  std::vector<Row> rows{{"id", "name", "range", "default", "unit"}};
  for (const ParameterDescription& parameter : parameters) {
    std::string remark = parameter.unit;
    if (!parameter.is_writable) remark += remark.empty() ? "read only" : ", read only";
    rows.push_back({std::to_string(parameter.id), parameter.name,
                    number(parameter.minimum) + " to " + number(parameter.maximum),
                    number(parameter.default_value), remark});
  }
  std::array<std::size_t, 5> widths{};
  for (const Row& row : rows)
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], width(row[i]));
  std::string text;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    std::string line;
    for (std::size_t i = 0; i < rows[r].size(); ++i)
      line += rows[r][i] + std::string(widths[i] - width(rows[r][i]) + 2, ' ');
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + '\n';
    if (r == 0) continue;
    const ParameterDescription& parameter = parameters[r - 1];
    for (std::size_t i = 0; i < parameter.value_names.size(); ++i) {
      text += std::string(widths[0] + 4, ' ') + number(parameter.minimum + static_cast<float>(i)) +
              " = " + parameter.value_names[i] + '\n';
    }
  }
  return text;
}

std::string parameters_json(const std::string& specification, const std::string& name,
                            const std::vector<ParameterDescription>& parameters) {
  std::string text = "{\"specification\": " + json_string(specification) +
                     ", \"name\": " + json_string(name) + ", \"parameters\": [";
  const char* separator = "\n";
  for (const ParameterDescription& parameter : parameters) {
    text += separator;
    text += "  {\"id\": " + std::to_string(parameter.id) +
            ", \"name\": " + json_string(parameter.name) +
            ", \"minimum\": " + json_number(parameter.minimum) +
            ", \"maximum\": " + json_number(parameter.maximum) +
            ", \"default\": " + json_number(parameter.default_value) +
            ", \"unit\": " + json_string(parameter.unit) +
            ", \"writable\": " + (parameter.is_writable ? "true" : "false") + ", \"values\": [";
    for (std::size_t i = 0; i < parameter.value_names.size(); ++i)
      text += (i ? ", " : "") + json_string(parameter.value_names[i]);
    text += "]}";
    separator = ",\n";
  }
  return text + "\n]}\n";
}

}  // namespace vesk::tools
