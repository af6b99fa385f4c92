#include "tools/parameters/reader.hpp"

#include <AudioToolbox/AudioToolbox.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <future>
#include <memory>
#include <system_error>
#include <utility>

#include "platform/cf_text.hpp"
#include "platform/parameter_symbol.hpp"
#include "platform/unit_extras.hpp"
#include "spec/four_cc.hpp"
#include "tools/parameters/names.hpp"
#include "tools/program/input_file.hpp"
#include "tools/program/output_file.hpp"

namespace vesk::tools {
namespace {

constexpr auto longest_start = std::chrono::seconds(60);
/// As the tools' hosts have it unless they are told.
constexpr UInt32 longest_period = 512;

struct Opened {
  AudioUnit unit = nullptr;
  OSStatus status = noErr;
};

/// Opens an instance, waiting for those that come later on a thread of their own.
Opened instantiate(AudioComponent component) {
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

ParameterDescription describe_parameter(AudioUnit unit, AudioUnitParameterID id,
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

std::optional<std::vector<ParameterDescription>> read_parameters(AudioUnit unit) {
  UInt32 size = 0;
  Boolean is_writable = false;
  std::vector<AudioUnitParameterID> ids;
  if (AudioUnitGetPropertyInfo(unit, kAudioUnitProperty_ParameterList, kAudioUnitScope_Global, 0,
                               &size, &is_writable) == noErr &&
      size > 0) {
    ids.resize(size / sizeof(AudioUnitParameterID));
    if (AudioUnitGetProperty(unit, kAudioUnitProperty_ParameterList, kAudioUnitScope_Global, 0,
                             ids.data(), &size) != noErr)
      return std::nullopt;
    ids.resize(size / sizeof(AudioUnitParameterID));
  }
  std::vector<ParameterDescription> parameters;
  for (const AudioUnitParameterID id : ids) {
    AudioUnitParameterInfo info{};
    UInt32 info_size = sizeof info;
    if (AudioUnitGetProperty(unit, kAudioUnitProperty_ParameterInfo, kAudioUnitScope_Global, id,
                             &info, &info_size) == noErr) {
      parameters.push_back(describe_parameter(unit, id, info));
    }
  }
  return parameters;
}

std::vector<PresetDescription> read_presets(AudioUnit unit) {
  CFArrayRef list = nullptr;
  UInt32 size = sizeof list;
  std::vector<PresetDescription> presets;
  if (AudioUnitGetProperty(unit, kAudioUnitProperty_FactoryPresets, kAudioUnitScope_Global, 0,
                           static_cast<void*>(&list), &size) != noErr ||
      !list)
    return presets;
  for (CFIndex i = 0; i < CFArrayGetCount(list); ++i) {
    const auto* preset = static_cast<const AUPreset*>(CFArrayGetValueAtIndex(list, i));
    presets.push_back({preset->presetNumber, platform::text_of(preset->presetName), false});
  }
  CFRelease(list);
  std::vector<UInt8> is_users(presets.size());
  size = static_cast<UInt32>(is_users.size());
  if (AudioUnitGetProperty(unit, platform::user_presets_property, kAudioUnitScope_Global, 0,
                           is_users.data(), &size) == noErr) {
    for (std::size_t i = 0; i < presets.size(); ++i) presets[i].is_users = is_users[i] != 0;
  }
  return presets;
}

std::vector<FileDescription> read_files(AudioUnit unit) {
  std::vector<FileDescription> files;
  for (const platform::UnitFile& file : platform::read_files(unit))
    files.push_back({file.key, file.label, file.path});
  return files;
}

std::string status_text(OSStatus status) {
  return " (OSStatus " + std::to_string(status) + ")";
}

}  // namespace

bool OpenPlugin::open(double sample_rate_hz, std::string& error) {
  const AudioComponent component = AudioComponentFindNext(nullptr, &spec_.desc);
  if (!component) {
    error = spec_.name + " is not installed; vesk-list without arguments shows what is";
    return false;
  }
  const Opened opened = instantiate(component);
  unit_ = opened.unit;
  if (!unit_) {
    error = spec_.name + " cannot be opened" + status_text(opened.status);
    return false;
  }
  if (sample_rate_hz > 0) set_sample_rate(unit_, sample_rate_hz);
  return true;
}

OpenPlugin::~OpenPlugin() {
  if (unit_) AudioComponentInstanceDispose(unit_);
}

std::optional<PluginDescription> OpenPlugin::describe(std::string& error) const {
  auto parameters = read_parameters(unit_);
  if (parameters)
    return PluginDescription{std::move(*parameters), read_presets(unit_), read_files(unit_), {}};
  error = spec_.name + " does not tell its parameters";
  return std::nullopt;
}

bool OpenPlugin::restore(std::string& error) {
  int cause = 0;
  const auto bytes = read_file(spec_.preset_path, SIZE_MAX, cause);
  if (!bytes) {
    if (cause == ENOENT) return true;
    error = spec_.preset_path + ": cannot be read: " + std::generic_category().message(cause);
    return false;
  }
  const CFDataRef data = CFDataCreate(nullptr, bytes->data(), static_cast<CFIndex>(bytes->size()));
  const CFPropertyListRef list = CFPropertyListCreateWithData(nullptr, data, 0, nullptr, nullptr);
  CFRelease(data);
  OSStatus status = kAudioUnitErr_InvalidPropertyValue;
  if (list) {
    status = AudioUnitSetProperty(unit_, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0,
                                  static_cast<const void*>(&list), sizeof list);
    CFRelease(list);
  }
  if (status != noErr) error = spec_.preset_path + " is no preset of " + spec_.name;
  return status == noErr;
}

bool OpenPlugin::start(const PluginSettings& settings, std::string& error) {
  AudioUnitSetProperty(unit_, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0,
                       &longest_period, sizeof longest_period);
  for (const auto& [id, value] : spec_.params)
    AudioUnitSetParameter(unit_, id, kAudioUnitScope_Global, 0, value, 0);
  if (const OSStatus status = AudioUnitInitialize(unit_); status != noErr) {
    error = spec_.name + " cannot be started" + status_text(status);
    return false;
  }
  if (!spec_.preset_path.empty() && !restore(error)) return false;
  if (!settings.preset.empty()) {
    const std::vector<PresetDescription> presets = read_presets(unit_);
    const auto* chosen = find_preset(presets, settings.preset, spec_.name, error);
    if (!chosen) return false;
    const CFStringRef name =
        CFStringCreateWithCString(nullptr, chosen->name.c_str(), kCFStringEncodingUTF8);
    const AUPreset preset{chosen->number, name};
    const OSStatus status = AudioUnitSetProperty(unit_, kAudioUnitProperty_PresentPreset,
                                                 kAudioUnitScope_Global, 0, &preset, sizeof preset);
    if (name) CFRelease(name);
    if (status != noErr) {
      error =
          spec_.name + " does not take its preset \"" + chosen->name + "\"" + status_text(status);
      return false;
    }
  }
  const std::vector<FileDescription> files = read_files(unit_);
  for (const auto& [name, path] : settings.files) {
    const auto* file = find_file(files, name, spec_.name, error);
    if (!file) return false;
    if (const OSStatus status = platform::set_file(unit_, file->key, path); status != noErr) {
      error = spec_.name + " does not take " + path + " as its " + file->label;
      return false;
    }
  }
  return true;
}

bool OpenPlugin::save(const std::string& path, std::string& error) const {
  CFPropertyListRef list = nullptr;
  UInt32 size = sizeof list;
  CFDataRef data = nullptr;
  if (AudioUnitGetProperty(unit_, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0,
                           static_cast<void*>(&list), &size) == noErr &&
      list) {
    data = CFPropertyListCreateData(nullptr, list, kCFPropertyListXMLFormat_v1_0, 0, nullptr);
    CFRelease(list);
  }
  if (!data) {
    error = spec_.name + " does not tell its state";
    return false;
  }
  auto file = OutputFile::create(path, error);
  const bool is_saved =
      file &&
      file->write(CFDataGetBytePtr(data), static_cast<std::size_t>(CFDataGetLength(data)), error) &&
      file->commit(error);
  CFRelease(data);
  return is_saved;
}

}  // namespace vesk::tools
