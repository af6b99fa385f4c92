// The unit's properties: one row each, with what reads and what writes it.

#include "components/sampler/unit/sampler_unit.hpp"
#include "components/unit_support/property_rows.hpp"
#include "components/unit_support/stereo_output.hpp"

namespace vesk::sampler {

struct SamplerProperties {
  using Place = PropertyPlace;
  using Unit = SamplerUnit;
  static const PropertyRow<Unit> rows[];

  static bool has_parameter(const Unit& unit, AudioUnitParameterID id) {
    return unit.parameters_.index(id) < parameter_count;
  }
  static UInt32 buses(const Unit&, AudioUnitScope scope) {
    return scope == kAudioUnitScope_Input ? 0 : 1;
  }

  // Audio

  static OSStatus get_format(Unit& unit, Place, void* data) {
    return answer(data, stereo_format(unit.sample_rate_));
  }
  static OSStatus set_format(Unit& unit, const void* data) {
    const auto format = read_value<AudioStreamBasicDescription>(data);
    if (!is_stereo_format(format)) return kAudioUnitErr_FormatNotSupported;
    if (format.mSampleRate == unit.sample_rate_) return noErr;
    if (unit.is_initialized()) return kAudioUnitErr_PropertyNotWritable;
    unit.sample_rate_ = format.mSampleRate;
    return noErr;
  }
  static OSStatus get_element_count(Unit& unit, Place place, void* data) {
    return answer(data, buses(unit, place.scope));
  }
  static OSStatus get_channels(Unit&, Place, void* data) {
    return answer(data, AUChannelInfo{0, 2});
  }
  static OSStatus get_max_frames(Unit& unit, Place, void* data) {
    return answer(data, unit.max_frames_);
  }
  static OSStatus set_max_frames(Unit& unit, const void* data) {
    const auto frames = read_value<UInt32>(data);
    if (frames == 0 || frames > largest_period) return kAudioUnitErr_InvalidPropertyValue;
    if (unit.is_initialized()) return kAudioUnitErr_Initialized;
    unit.max_frames_ = frames;
    return noErr;
  }
  static OSStatus get_latency(Unit&, Place, void* data) { return answer(data, Float64{0}); }
  static OSStatus get_offline(Unit& unit, Place, void* data) {
    return answer(data, UInt32{unit.offline_.load(std::memory_order_relaxed)});
  }
  static OSStatus set_offline(Unit& unit, const void* data) {
    unit.offline_.store(read_value<UInt32>(data) != 0, std::memory_order_relaxed);
    return noErr;
  }

  // Instrument and state

  /// One instrument at a time, none of them by number.
  static OSStatus get_instrument_count(Unit&, Place, void* data) { return answer(data, UInt32{0}); }
  static OSStatus load_instrument(Unit& unit, const void* data) {
    return unit.load_instrument(read_value<AUSamplerInstrumentData>(data));
  }
  static OSStatus get_class_info(Unit& unit, Place, void* data) {
    return answer(data, unit.copy_class_info());
  }
  static OSStatus set_class_info(Unit& unit, const void* data) {
    return unit.set_class_info(read_value<CFPropertyListRef>(data));
  }

  // Parameters

  static std::size_t count_parameters(const Unit& unit) {
    return static_cast<std::size_t>(std::count_if(
        parameter_descriptions.begin(), parameter_descriptions.end(),
        [&](const ParameterDescription& parameter) { return has_parameter(unit, parameter.id); }));
  }
  static OSStatus get_parameter_list(Unit& unit, Place, void* data) {
    auto* next = static_cast<AudioUnitParameterID*>(data);
    for (const ParameterDescription& parameter : parameter_descriptions)
      if (has_parameter(unit, parameter.id)) *next++ = parameter.id;
    return noErr;
  }
  static OSStatus get_parameter_info(Unit& unit, Place place, void* data) {
    return answer(data, unit.parameters_.info(unit.parameters_.index(place.element)));
  }
};

// No tail time: how long a note rings on is known to its zone alone.
constinit const PropertyRow<SamplerUnit> SamplerProperties::rows[] = {
    {.id = kAudioUnitProperty_StreamFormat,
     .size = sizeof(AudioStreamBasicDescription),
     .scopes = scope_bit(kAudioUnitScope_Output),
     .get = &get_format,
     .set = &set_format},
    {.id = kAudioUnitProperty_ElementCount,
     .size = sizeof(UInt32),
     .scopes = scope_bit(kAudioUnitScope_Input) | scope_bit(kAudioUnitScope_Output),
     .get = &get_element_count},
    {.id = kAudioUnitProperty_SupportedNumChannels,
     .size = sizeof(AUChannelInfo),
     .get = &get_channels},
    {.id = kAudioUnitProperty_MaximumFramesPerSlice,
     .size = sizeof(UInt32),
     .get = &get_max_frames,
     .set = &set_max_frames},
    {.id = kAudioUnitProperty_Latency, .size = sizeof(Float64), .get = &get_latency},
    {.id = kAudioUnitProperty_OfflineRender,
     .size = sizeof(UInt32),
     .get = &get_offline,
     .set = &set_offline},
    {.id = kMusicDeviceProperty_InstrumentCount,
     .size = sizeof(UInt32),
     .get = &get_instrument_count},
    {.id = kAUSamplerProperty_LoadInstrument,
     .size = sizeof(AUSamplerInstrumentData),
     .set = &load_instrument},
    {.id = kAudioUnitProperty_ClassInfo,
     .size = sizeof(CFPropertyListRef),
     .get = &get_class_info,
     .set = &set_class_info},
    {.id = kAudioUnitProperty_ParameterList,
     .size = sizeof(AudioUnitParameterID),
     .get = &get_parameter_list,
     .count = &count_parameters},
    {.id = kAudioUnitProperty_ParameterInfo,
     .size = sizeof(AudioUnitParameterInfo),
     .is_of_parameter = true,
     .get = &get_parameter_info},
};

using Calls = PropertyCalls<SamplerUnit, SamplerProperties>;

OSStatus SamplerUnit::property_info(AudioUnitPropertyID id, AudioUnitScope scope,
                                    AudioUnitElement element, UInt32* size, Boolean* writable) {
  return Calls::info(*this, id, {scope, element}, size, writable);
}

OSStatus SamplerUnit::get_property(AudioUnitPropertyID id, AudioUnitScope scope,
                                   AudioUnitElement element, void* data, UInt32* size) {
  return Calls::get(*this, id, {scope, element}, data, size);
}

OSStatus SamplerUnit::set_property(AudioUnitPropertyID id, AudioUnitScope scope,
                                   AudioUnitElement element, const void* data, UInt32 size) {
  return Calls::set(*this, id, {scope, element}, data, size);
}

}  // namespace vesk::sampler
