// The unit's properties: one row each, with what reads and what writes it.

#include <algorithm>
#include <cstring>
#include <iterator>

#include "components/lv2/unit/cf_text.hpp"
#include "components/lv2/unit/editor_link.hpp"
#include "components/lv2/unit/plugin_unit.hpp"

namespace vesk::lv2 {
namespace {

constexpr unsigned bit(AudioUnitScope scope) {
  return 1u << scope;
}
constexpr unsigned global_scope = bit(kAudioUnitScope_Global);
constexpr unsigned input_scope = bit(kAudioUnitScope_Input);
constexpr unsigned output_scope = bit(kAudioUnitScope_Output);
constexpr unsigned any_scope = global_scope | input_scope | output_scope |
                               bit(kAudioUnitScope_Group) | bit(kAudioUnitScope_Part);
constexpr UInt32 maximum_frames = 1u << 20;

AudioStreamBasicDescription format_at(double sample_rate) {
  AudioStreamBasicDescription format{};
  format.mSampleRate = sample_rate;
  format.mFormatID = kAudioFormatLinearPCM;
  format.mFormatFlags =
      kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked | kAudioFormatFlagIsNonInterleaved;
  format.mBytesPerPacket = sizeof(float);
  format.mFramesPerPacket = 1;
  format.mBytesPerFrame = sizeof(float);
  format.mChannelsPerFrame = 2;
  format.mBitsPerChannel = 32;
  return format;
}

bool is_our_format(const AudioStreamBasicDescription& format) {
  const AudioStreamBasicDescription ours = format_at(format.mSampleRate);
  return format.mSampleRate >= 1 && format.mSampleRate <= 1e6 &&
         format.mFormatID == ours.mFormatID && format.mFormatFlags == ours.mFormatFlags &&
         format.mBytesPerPacket == ours.mBytesPerPacket &&
         format.mFramesPerPacket == ours.mFramesPerPacket &&
         format.mBytesPerFrame == ours.mBytesPerFrame &&
         format.mChannelsPerFrame == ours.mChannelsPerFrame &&
         format.mBitsPerChannel == ours.mBitsPerChannel;
}

template <typename T>
T read(const void* data) {
  T value;
  std::memcpy(static_cast<void*>(&value), data, sizeof(T));
  return value;
}

template <typename T>
OSStatus answer(void* data, const T& value) {
  std::memcpy(data, static_cast<const void*>(&value), sizeof(T));
  return noErr;
}

}  // namespace

/// Where a call is about.
struct PropertyPlace {
  AudioUnitScope scope;
  AudioUnitElement element;
};

struct UnitProperties {
  using Place = PropertyPlace;
  using Unit = PluginUnit;

  struct Row {
    AudioUnitPropertyID id;
    unsigned scopes;
    bool element_is_parameter;
    UInt32 size;  ///< 0: what `size_of` says
    UInt32 (*size_of)(Unit&, Place);
    bool (*exists)(const Unit&, Place);  ///< null: always
    OSStatus (*get)(Unit&, Place, void*);
    OSStatus (*set)(Unit&, Place, const void*);
  };
  static const Row rows[];

  static bool is_effect(const Unit& unit, Place) { return unit.ports_.has_input_bus; }
  static bool is_instrument(const Unit& unit, Place) {
    return unit.plugin_->type == kAudioUnitType_MusicDevice;
  }
  static bool has_view(const Unit& unit, Place) {
    return unit.editor_ != nullptr && !unit.editor_bundle_.empty();
  }
  static bool has_presets(const Unit& unit, Place) { return !unit.plugin_->presets.empty(); }

  static OSStatus set_rate(Unit& unit, double rate) {
    if (rate == unit.sample_rate_) return noErr;
    if (unit.is_initialized()) return kAudioUnitErr_PropertyNotWritable;
    unit.sample_rate_ = rate;
    unit.parameters_.set_sample_rate(rate);
    unit.listeners_.notify(kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output);
    unit.listeners_.notify(kAudioUnitProperty_SampleRate, kAudioUnitScope_Output);
    return noErr;
  }
  static OSStatus set_format(Unit& unit, Place, const void* data) {
    const auto format = read<AudioStreamBasicDescription>(data);
    if (!is_our_format(format)) return kAudioUnitErr_FormatNotSupported;
    return set_rate(unit, format.mSampleRate);
  }
  static OSStatus set_sample_rate(Unit& unit, Place, const void* data) {
    const auto rate = read<Float64>(data);
    if (!(rate >= 1 && rate <= 1e6)) return kAudioUnitErr_InvalidPropertyValue;
    return set_rate(unit, rate);
  }
  static OSStatus set_max_frames(Unit& unit, Place, const void* data) {
    const auto frames = read<UInt32>(data);
    if (frames == 0 || frames > maximum_frames) return kAudioUnitErr_InvalidPropertyValue;
    if (unit.is_initialized()) return kAudioUnitErr_Initialized;
    unit.max_frames_ = frames;
    unit.listeners_.notify(kAudioUnitProperty_MaximumFramesPerSlice);
    return noErr;
  }
  static void set_source(Unit& unit, const InputSource& source, bool connected) {
    const InputSource* record = connected ? unit.input_store_.keep(source) : nullptr;
    unit.input_.store(record, std::memory_order_release);
  }
  static OSStatus set_callback(Unit& unit, Place, const void* data) {
    const auto callback = read<AURenderCallbackStruct>(data);
    set_source(unit, {.proc = callback.inputProc, .user = callback.inputProcRefCon},
               callback.inputProc != nullptr);
    return noErr;
  }
  static OSStatus set_connection(Unit& unit, Place, const void* data) {
    const auto connection = read<AudioUnitConnection>(data);
    if (connection.destInputNumber != 0) return kAudioUnitErr_InvalidElement;
    set_source(unit, {.unit = connection.sourceAudioUnit, .bus = connection.sourceOutputNumber},
               connection.sourceAudioUnit != nullptr);
    return noErr;
  }
  static OSStatus set_transport(Unit& unit, Place, const void* data) {
    const auto info = read<HostCallbackInfo>(data);
    unit.transport_.store(unit.transport_store_.keep({info}), std::memory_order_release);
    return noErr;
  }
  static OSStatus set_bypass(Unit& unit, Place, const void* data) {
    const UInt32 on = read<UInt32>(data) != 0 ? 1 : 0;
    unit.bypass_.store(on, std::memory_order_relaxed);
    if (unit.ports_.enabled) unit.parameters_.set(*unit.ports_.enabled, on != 0 ? 0.0f : 1.0f);
    unit.listeners_.notify(kAudioUnitProperty_BypassEffect);
    return noErr;
  }
  static OSStatus set_offline(Unit& unit, Place, const void* data) {
    const UInt32 on = read<UInt32>(data) != 0 ? 1 : 0;
    unit.offline_.store(on, std::memory_order_relaxed);
    if (unit.ports_.free_wheeling)
      unit.parameters_.set(*unit.ports_.free_wheeling, on != 0 ? 1.0f : 0.0f);
    unit.listeners_.notify(kAudioUnitProperty_OfflineRender);
    return noErr;
  }
  static OSStatus set_allocate(Unit& unit, Place place, const void* data) {
    if (unit.is_initialized()) return kAudioUnitErr_Initialized;
    // The output's own buffers exist in any case; they are used when the caller brings none.
    if (place.scope == kAudioUnitScope_Input)
      unit.offers_input_.store(read<UInt32>(data) != 0 ? 1 : 0, std::memory_order_relaxed);
    return noErr;
  }
  static OSStatus set_in_place(Unit&, Place, const void* data) {
    return read<UInt32>(data) == 0 ? OSStatus{noErr} : OSStatus{kAudioUnitErr_InvalidPropertyValue};
  }
  static OSStatus get_present_preset(Unit& unit, Place, void* data) {
    return answer(data, AUPreset{unit.preset_number_, copy_cf_string(unit.preset_name_)});
  }
  static OSStatus get_cocoa_ui(Unit& unit, Place, void* data) {
    AudioUnitCocoaViewInfo view{};
    view.mCocoaAUViewBundleLocation = CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(unit.editor_bundle_.data()),
        static_cast<CFIndex>(unit.editor_bundle_.size()), true);
    if (view.mCocoaAUViewBundleLocation == nullptr) return kAudio_MemFullError;
    view.mCocoaAUViewClass[0] = copy_cf_string(editor_factory_class);
    return answer(data, view);
  }
  static OSStatus get_parameter_list(Unit& unit, Place place, void* data) {
    if (place.scope == kAudioUnitScope_Global) {
      const std::vector<AudioUnitParameterID> ids = unit.parameters_.listed();
      std::memcpy(data, ids.data(), ids.size() * sizeof ids[0]);
    }
    return noErr;
  }
  static OSStatus get_name(Unit& unit, Place, void* data) {
    auto asked = read<AudioUnitParameterIDName>(data);
    if (!unit.parameters_.is_readable(asked.inID)) return kAudioUnitErr_InvalidParameter;
    asked.outName = unit.parameters_.copy_name(asked.inID, asked.inDesiredLength);
    return answer(data, asked);
  }
  static OSStatus get_value_strings(Unit& unit, Place place, void* data) {
    const CFArrayRef names = unit.parameters_.copy_value_strings(place.element);
    return names != nullptr ? answer(data, names) : OSStatus{kAudioUnitErr_InvalidProperty};
  }
  static OSStatus get_string_from_value(Unit& unit, Place, void* data) {
    auto asked = read<AudioUnitParameterStringFromValue>(data);
    if (!unit.parameters_.is_readable(asked.inParamID)) return kAudioUnitErr_InvalidParameter;
    const float value =
        asked.inValue != nullptr ? *asked.inValue : unit.parameters_.value(asked.inParamID);
    asked.outString = unit.parameters_.copy_text(asked.inParamID, value);
    return answer(data, asked);
  }
  static OSStatus get_value_from_string(Unit& unit, Place, void* data) {
    auto asked = read<AudioUnitParameterValueFromString>(data);
    if (!unit.parameters_.is_readable(asked.inParamID)) return kAudioUnitErr_InvalidParameter;
    if (!unit.parameters_.value_of(asked.inParamID, text_of(asked.inString), &asked.outValue))
      return kAudioUnitErr_InvalidPropertyValue;
    return answer(data, asked);
  }
  static UInt32 element_count(const Unit& unit, AudioUnitScope scope) {
    switch (scope) {
      case kAudioUnitScope_Global:
      case kAudioUnitScope_Output:
        return 1;
      case kAudioUnitScope_Input:
        return unit.ports_.has_input_bus ? 1 : 0;
      default:
        return 0;
    }
  }

  static const Row* find(AudioUnitPropertyID id);
  static OSStatus locate(Unit& unit, AudioUnitPropertyID id, Place place, const Row** row);
};

// No tail time: nothing in a plugin's description tells how long it rings, and a host that is told
// of no such property must not take it for none.
constinit const UnitProperties::Row UnitProperties::rows[] = {
    {kAudioUnitProperty_ClassInfo, global_scope, false, sizeof(CFPropertyListRef), nullptr, nullptr,
     [](Unit& unit, Place, void* data) { return answer(data, unit.copy_class_info()); },
     [](Unit& unit, Place, const void* data) {
       return unit.set_class_info(read<CFPropertyListRef>(data));
     }},
    {kAudioUnitProperty_MakeConnection, input_scope, false, sizeof(AudioUnitConnection), nullptr,
     nullptr, nullptr, &set_connection},
    {kAudioUnitProperty_SampleRate, global_scope | input_scope | output_scope, false, sizeof(Float64), nullptr,
     nullptr, [](Unit& unit, Place, void* data) { return answer(data, unit.sample_rate_); },
     &set_sample_rate},
    {kAudioUnitProperty_ParameterList, any_scope, false, 0,
     [](Unit& unit, Place place) -> UInt32 {
       const std::size_t count =
           place.scope == kAudioUnitScope_Global ? unit.parameters_.listed().size() : 0;
       return static_cast<UInt32>(count * sizeof(AudioUnitParameterID));
     },
     nullptr, &get_parameter_list, nullptr},
    {kAudioUnitProperty_ParameterInfo, global_scope, true, sizeof(AudioUnitParameterInfo), nullptr,
     nullptr,
     [](Unit& unit, Place place, void* data) {
       return answer(data, unit.parameters_.info(place.element));
     },
     nullptr},
    {kAudioUnitProperty_StreamFormat, global_scope | input_scope | output_scope, false,
     sizeof(AudioStreamBasicDescription), nullptr, nullptr,
     [](Unit& unit, Place, void* data) { return answer(data, format_at(unit.sample_rate_)); },
     &set_format},
    {kAudioUnitProperty_ElementCount, any_scope, false, sizeof(UInt32), nullptr, nullptr,
     [](Unit& unit, Place place, void* data) {
       return answer(data, element_count(unit, place.scope));
     },
     nullptr},
    {kAudioUnitProperty_Latency, global_scope, false, sizeof(Float64), nullptr, nullptr,
     [](Unit& unit, Place, void* data) { return answer(data, Float64{unit.latency_seconds()}); },
     nullptr},
    {kAudioUnitProperty_SupportedNumChannels, global_scope, false, sizeof(AUChannelInfo), nullptr,
     nullptr,
     [](Unit& unit, Place, void* data) {
       const auto inputs = static_cast<SInt16>(unit.ports_.has_input_bus ? 2 : 0);
       return answer(data, AUChannelInfo{inputs, 2});
     },
     nullptr},
    {kAudioUnitProperty_MaximumFramesPerSlice, global_scope, false, sizeof(UInt32), nullptr, nullptr,
     [](Unit& unit, Place, void* data) { return answer(data, unit.max_frames_); },
     &set_max_frames},
    {kAudioUnitProperty_ParameterValueStrings, global_scope, true, sizeof(CFArrayRef), nullptr,
     [](const Unit& unit, Place place) {
       const CFArrayRef names = unit.parameters_.copy_value_strings(place.element);
       if (names != nullptr) CFRelease(names);
       return names != nullptr;
     },
     &get_value_strings, nullptr},
    {kAudioUnitProperty_BypassEffect, global_scope, false, sizeof(UInt32), nullptr, &is_effect,
     [](Unit& unit, Place, void* data) {
       return answer(data, unit.bypass_.load(std::memory_order_relaxed));
     },
     &set_bypass},
    {kAudioUnitProperty_LastRenderError, global_scope, false, sizeof(OSStatus), nullptr, nullptr,
     [](Unit& unit, Place, void* data) {
       return answer(data, unit.last_error_.exchange(noErr, std::memory_order_relaxed));
     },
     nullptr},
    {kAudioUnitProperty_SetRenderCallback, input_scope, false, sizeof(AURenderCallbackStruct), nullptr,
     nullptr, nullptr, &set_callback},
    {kAudioUnitProperty_FactoryPresets, global_scope, false, sizeof(CFArrayRef), nullptr, &has_presets,
     [](Unit& unit, Place, void* data) { return answer(data, unit.copy_factory_presets()); },
     nullptr},
    {kAudioUnitProperty_HostCallbacks, global_scope, false, sizeof(HostCallbackInfo), nullptr, nullptr,
     nullptr, &set_transport},
    {kAudioUnitProperty_InPlaceProcessing, global_scope, false, sizeof(UInt32), nullptr, &is_effect,
     [](Unit&, Place, void* data) { return answer(data, UInt32{0}); }, &set_in_place},
    {kAudioUnitProperty_CocoaUI, global_scope, false, sizeof(AudioUnitCocoaViewInfo), nullptr, &has_view,
     &get_cocoa_ui, nullptr},
    {editor_link_property, global_scope, false, sizeof(EditorLink*), nullptr, &has_view,
     [](Unit& unit, Place, void* data) {
       return answer(data, static_cast<EditorLink*>(unit.editor_.get()));
     },
     nullptr},
    {kAudioUnitProperty_ParameterIDName, global_scope, false, sizeof(AudioUnitParameterIDName), nullptr,
     nullptr, &get_name, nullptr},
    {kAudioUnitProperty_ParameterStringFromValue, global_scope, false,
     sizeof(AudioUnitParameterStringFromValue), nullptr, nullptr, &get_string_from_value, nullptr},
    {kAudioUnitProperty_PresentPreset, global_scope, false, sizeof(AUPreset), nullptr, nullptr,
     &get_present_preset,
     [](Unit& unit, Place, const void* data) {
       return unit.set_present_preset(read<AUPreset>(data));
     }},
    {kAudioUnitProperty_OfflineRender, global_scope, false, sizeof(UInt32), nullptr, nullptr,
     [](Unit& unit, Place, void* data) {
       return answer(data, unit.offline_.load(std::memory_order_relaxed));
     },
     &set_offline},
    {kAudioUnitProperty_ParameterValueFromString, global_scope, false,
     sizeof(AudioUnitParameterValueFromString), nullptr, nullptr, &get_value_from_string, nullptr},
    {kAudioUnitProperty_ShouldAllocateBuffer, input_scope | output_scope, false, sizeof(UInt32), nullptr,
     nullptr,
     [](Unit& unit, Place place, void* data) {
       return answer(data, place.scope == kAudioUnitScope_Output
                               ? UInt32{1}
                               : unit.offers_input_.load(std::memory_order_relaxed));
     },
     &set_allocate},
    {kMusicDeviceProperty_InstrumentCount, global_scope, false, sizeof(UInt32), nullptr, &is_instrument,
     [](Unit&, Place, void* data) { return answer(data, UInt32{0}); }, nullptr},
};

const UnitProperties::Row* UnitProperties::find(AudioUnitPropertyID id) {
  const auto* row = std::find_if(std::begin(rows), std::end(rows),
                                 [id](const Row& candidate) { return candidate.id == id; });
  return row != std::end(rows) ? row : nullptr;
}

OSStatus UnitProperties::locate(Unit& unit, AudioUnitPropertyID id, Place place, const Row** row) {
  *row = find(id);
  if (*row == nullptr) return kAudioUnitErr_InvalidProperty;
  if (place.scope > kAudioUnitScope_LayerItem || ((*row)->scopes & bit(place.scope)) == 0)
    return kAudioUnitErr_InvalidScope;
  if ((*row)->element_is_parameter) {
    if (!unit.parameters_.is_readable(place.element)) return kAudioUnitErr_InvalidParameter;
  } else if (id != kAudioUnitProperty_ElementCount && id != kAudioUnitProperty_ParameterList &&
             place.element >= element_count(unit, place.scope)) {
    return kAudioUnitErr_InvalidElement;
  }
  if ((*row)->exists != nullptr && !(*row)->exists(unit, place))
    return kAudioUnitErr_InvalidProperty;
  return noErr;
}

OSStatus PluginUnit::property_info(AudioUnitPropertyID id, AudioUnitScope scope,
                                   AudioUnitElement element, UInt32* size, Boolean* writable) {
  const UnitProperties::Row* row = nullptr;
  const PropertyPlace place{scope, element};
  if (const OSStatus status = UnitProperties::locate(*this, id, place, &row); status != noErr)
    return status;
  if (size != nullptr) *size = row->size != 0 ? row->size : row->size_of(*this, place);
  if (writable != nullptr) *writable = row->set != nullptr;
  return noErr;
}

OSStatus PluginUnit::get_property(AudioUnitPropertyID id, AudioUnitScope scope,
                                  AudioUnitElement element, void* data, UInt32* size) {
  const UnitProperties::Row* row = nullptr;
  const PropertyPlace place{scope, element};
  if (size == nullptr) return kAudio_ParamError;
  if (const OSStatus status = UnitProperties::locate(*this, id, place, &row); status != noErr)
    return status;
  if (row->get == nullptr) return kAudioUnitErr_InvalidProperty;
  const UInt32 full = row->size != 0 ? row->size : row->size_of(*this, place);
  if (data == nullptr) {
    *size = full;
    return noErr;
  }
  if (*size == 0) return kAudio_ParamError;
  if (*size >= full) {
    *size = full;
    return row->get(*this, place, data);
  }
  // A part of a list or record is copied; of a reference it would be of no use to anyone.
  const bool is_list = row->size == 0 || id == kAudioUnitProperty_StreamFormat;
  if (!is_list) return kAudioUnitErr_InvalidPropertyValue;
  std::vector<std::byte> whole(full);
  const OSStatus status = row->get(*this, place, whole.data());
  std::memcpy(data, whole.data(), *size);
  return status;
}

OSStatus PluginUnit::set_property(AudioUnitPropertyID id, AudioUnitScope scope,
                                  AudioUnitElement element, const void* data, UInt32 size) {
  const UnitProperties::Row* row = nullptr;
  const PropertyPlace place{scope, element};
  if (const OSStatus status = UnitProperties::locate(*this, id, place, &row); status != noErr)
    return status;
  if (row->set == nullptr) return kAudioUnitErr_PropertyNotWritable;
  if (data == nullptr || size == 0) {
    return (data == nullptr) == (size == 0) ? OSStatus{kAudioUnitErr_InvalidPropertyValue}
                                            : OSStatus{kAudio_ParamError};
  }
  if (id == kAudioUnitProperty_HostCallbacks &&
      size == offsetof(HostCallbackInfo, transportStateProc2)) {
    HostCallbackInfo older{};
    std::memcpy(&older, data, size);
    return row->set(*this, place, &older);
  }
  if (size < row->size) return kAudioUnitErr_InvalidPropertyValue;
  return row->set(*this, place, data);
}

}  // namespace vesk::lv2
