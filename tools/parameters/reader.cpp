#include "tools/parameters/reader.hpp"

#include <AudioToolbox/AudioToolbox.h>

#include <chrono>
#include <cstring>
#include <future>
#include <memory>
#include <utility>

#include "platform/cf_text.hpp"
#include "platform/parameter_symbol.hpp"
#include "spec/four_cc.hpp"

namespace vesk::tools {
namespace {

constexpr auto longest_start = std::chrono::seconds(60);

/// An open instance, closed with its owner.
class Unit {
 public:
  explicit Unit(AudioUnit unit) : unit_(unit) {}
  ~Unit() {
    if (unit_) AudioComponentInstanceDispose(unit_);
  }
  Unit(const Unit&) = delete;
  Unit& operator=(const Unit&) = delete;
  AudioUnit get() const { return unit_; }

 private:
  AudioUnit unit_;
};

struct Opened {
  AudioUnit unit = nullptr;
  OSStatus status = noErr;
};

/// Opens an instance, waiting for those that come later on a thread of their own.
Opened open(AudioComponent component) {
  const auto result = std::make_shared<std::promise<Opened>>();
  std::future<Opened> opened = result->get_future();
  AudioComponentInstantiate(component, kAudioComponentInstantiation_LoadInProcess,
                            ^(AudioComponentInstance unit, OSStatus status) {
                              result->set_value({unit, status});
                            });
  if (opened.wait_for(longest_start) != std::future_status::ready)
    return {nullptr, kAudioComponentErr_InstanceTimedOut};
  return opened.get();
}

/// A parameter unit in a few letters; empty for plain numbers and unknown ones.
std::string unit_text(AudioUnitParameterUnit unit) {
  constexpr std::pair<AudioUnitParameterUnit, const char*> units[] = {
      {kAudioUnitParameterUnit_Boolean, "on/off"},
      {kAudioUnitParameterUnit_Percent, "%"},
      {kAudioUnitParameterUnit_Seconds, "s"},
      {kAudioUnitParameterUnit_SampleFrames, "frames"},
      {kAudioUnitParameterUnit_Phase, "phase"},
      {kAudioUnitParameterUnit_Rate, "rate"},
      {kAudioUnitParameterUnit_Hertz, "Hz"},
      {kAudioUnitParameterUnit_Cents, "cents"},
      {kAudioUnitParameterUnit_AbsoluteCents, "cents"},
      {kAudioUnitParameterUnit_RelativeSemiTones, "semitones"},
      {kAudioUnitParameterUnit_MIDINoteNumber, "note"},
      {kAudioUnitParameterUnit_MIDIController, "controller"},
      {kAudioUnitParameterUnit_MIDI2Controller, "controller"},
      {kAudioUnitParameterUnit_Decibels, "dB"},
      {kAudioUnitParameterUnit_LinearGain, "gain"},
      {kAudioUnitParameterUnit_Degrees, "degrees"},
      {kAudioUnitParameterUnit_Pan, "pan"},
      {kAudioUnitParameterUnit_Meters, "m"},
      {kAudioUnitParameterUnit_Octaves, "octaves"},
      {kAudioUnitParameterUnit_BPM, "bpm"},
      {kAudioUnitParameterUnit_Beats, "beats"},
      {kAudioUnitParameterUnit_Milliseconds, "ms"},
      {kAudioUnitParameterUnit_Ratio, "ratio"},
  };
  for (const auto& [code, text] : units)
    if (code == unit) return text;
  return "";
}

std::vector<std::string> read_value_names(AudioUnit unit, AudioUnitParameterID id) {
  CFArrayRef strings = nullptr;
  UInt32 size = sizeof(CFArrayRef);
  if (AudioUnitGetProperty(unit, kAudioUnitProperty_ParameterValueStrings, kAudioUnitScope_Global,
                           id, static_cast<void*>(&strings), &size) != noErr ||
      !strings) {
    return {};
  }
  const CFIndex count = CFArrayGetCount(strings);
  std::vector<std::string> names;
  names.reserve(static_cast<std::size_t>(count));
  for (CFIndex i = 0; i < count; ++i)
    names.push_back(
        platform::text_of(static_cast<CFStringRef>(CFArrayGetValueAtIndex(strings, i))));
  CFRelease(strings);
  return names;
}

/// Of LV2 plugins; empty for any other.
std::string read_symbol(AudioUnit unit, AudioUnitParameterID id) {
  AudioComponentDescription is{};
  CFStringRef symbol = nullptr;
  UInt32 size = sizeof(CFStringRef);
  if (AudioComponentGetDescription(AudioComponentInstanceGetComponent(unit), &is) != noErr ||
      is.componentManufacturer != pack_four_cc("LV2_") ||
      AudioUnitGetProperty(unit, platform::parameter_symbol_property, kAudioUnitScope_Global, id,
                           static_cast<void*>(&symbol), &size) != noErr ||
      !symbol) {
    return {};
  }
  std::string text = platform::text_of(symbol);
  CFRelease(symbol);
  return text;
}

ParameterDescription describe(AudioUnit unit, AudioUnitParameterID id,
                              const AudioUnitParameterInfo& info) {
  ParameterDescription parameter;
  parameter.id = id;
  const bool has_long_name = (info.flags & kAudioUnitParameterFlag_HasCFNameString) != 0;
  parameter.name = has_long_name ? platform::text_of(info.cfNameString)
                                 : std::string(info.name, strnlen(info.name, sizeof info.name));
  parameter.symbol = read_symbol(unit, id);
  parameter.minimum = info.minValue;
  parameter.maximum = info.maxValue;
  parameter.default_value = info.defaultValue;
  parameter.is_writable = (info.flags & kAudioUnitParameterFlag_IsWritable) != 0;
  const bool has_own_unit = info.unit == kAudioUnitParameterUnit_CustomUnit;
  parameter.unit = has_own_unit ? platform::text_of(info.unitName) : unit_text(info.unit);
  parameter.value_names = read_value_names(unit, id);
  if (info.flags & kAudioUnitParameterFlag_CFNameRelease) {
    if (has_long_name && info.cfNameString) CFRelease(info.cfNameString);
    if (has_own_unit && info.unitName) CFRelease(info.unitName);
  }
  return parameter;
}

/// A unit that refuses keeps its own, and tells its ranges by that.
void set_sample_rate(AudioUnit unit, double sample_rate_hz) {
  AudioStreamBasicDescription format{};
  UInt32 size = sizeof format;
  if (AudioUnitGetProperty(unit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0,
                           &format, &size) != noErr)
    return;
  format.mSampleRate = sample_rate_hz;
  AudioUnitSetProperty(unit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0, &format,
                       sizeof format);
}

}  // namespace

std::optional<std::vector<ParameterDescription>> read_parameters(
    const AudioComponentDescription& wanted, const std::string& label, double sample_rate_hz,
    std::string& error) {
  const AudioComponent component = AudioComponentFindNext(nullptr, &wanted);
  if (!component) {
    error = label + " is not installed; vesk-list without arguments shows what is";
    return std::nullopt;
  }
  const Opened opened = open(component);
  if (!opened.unit) {
    error = label + " cannot be opened (OSStatus " + std::to_string(opened.status) + ")";
    return std::nullopt;
  }
  const Unit unit(opened.unit);
  if (sample_rate_hz > 0) set_sample_rate(unit.get(), sample_rate_hz);
  UInt32 size = 0;
  Boolean is_writable = false;
  std::vector<AudioUnitParameterID> ids;
  if (AudioUnitGetPropertyInfo(unit.get(), kAudioUnitProperty_ParameterList, kAudioUnitScope_Global,
                               0, &size, &is_writable) == noErr &&
      size > 0) {
    ids.resize(size / sizeof(AudioUnitParameterID));
    if (AudioUnitGetProperty(unit.get(), kAudioUnitProperty_ParameterList, kAudioUnitScope_Global,
                             0, ids.data(), &size) != noErr) {
      error = label + " does not tell its parameters";
      return std::nullopt;
    }
    ids.resize(size / sizeof(AudioUnitParameterID));
  }
  std::vector<ParameterDescription> parameters;
  for (const AudioUnitParameterID id : ids) {
    AudioUnitParameterInfo info{};
    UInt32 info_size = sizeof info;
    if (AudioUnitGetProperty(unit.get(), kAudioUnitProperty_ParameterInfo, kAudioUnitScope_Global,
                             id, &info, &info_size) == noErr) {
      parameters.push_back(describe(unit.get(), id, info));
    }
  }
  return parameters;
}

}  // namespace vesk::tools
