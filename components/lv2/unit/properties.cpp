// The unit's properties: one row each, with what reads and what writes it.

#include <algorithm>

#include "components/lv2/unit/editor_link.hpp"
#include "components/lv2/unit/parameter_text.hpp"
#include "components/lv2/unit/plugin_unit.hpp"
#include "components/unit_support/cf_object.hpp"
#include "components/unit_support/cf_text.hpp"
#include "components/unit_support/property_rows.hpp"
#include "components/unit_support/stereo_output.hpp"
#include "platform/parameter_symbol.hpp"
#include "platform/unit_extras.hpp"

namespace vesk::lv2 {
namespace {
constexpr unsigned either_side =
    scope_bit(kAudioUnitScope_Input) | scope_bit(kAudioUnitScope_Output);
}

struct UnitProperties {
  using Place = PropertyPlace;
  using Unit = PluginUnit;

  using Row = PropertyRow<Unit>;
  static const Row rows[];

  static bool has_parameter(const Unit& unit, AudioUnitParameterID id) {
    return unit.parameters_.is_readable(id);
  }
  static bool is_effect(const Unit& unit) { return unit.ports_.has_input_bus; }
  static bool has_view(const Unit& unit) {
    return unit.editor_ != nullptr && !unit.editor_bundle_.empty();
  }
  static bool has_presets(const Unit& unit) { return !unit.plugin_->presets.empty(); }

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
    unit.parameters_.set_sample_rate(unit.sample_rate_);
    return noErr;
  }
  static UInt32 buses(const Unit& unit, AudioUnitScope scope) {
    return scope != kAudioUnitScope_Input || unit.ports_.has_input_bus ? 1 : 0;
  }
  static OSStatus get_element_count(Unit& unit, Place place, void* data) {
    return answer(data, buses(unit, place.scope));
  }
  static OSStatus get_channels(Unit& unit, Place, void* data) {
    const auto inputs = static_cast<SInt16>(unit.ports_.has_input_bus ? 2 : 0);
    return answer(data, AUChannelInfo{inputs, 2});
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
  static OSStatus get_latency(Unit& unit, Place, void* data) {
    return answer(data, Float64{unit.latency_seconds()});
  }
  static OSStatus get_in_place(Unit&, Place, void* data) { return answer(data, UInt32{0}); }
  static OSStatus get_bypass(Unit& unit, Place, void* data) {
    return answer(data, UInt32{unit.bypass_.load(std::memory_order_relaxed)});
  }
  static OSStatus set_bypass(Unit& unit, const void* data) {
    const bool on = read_value<UInt32>(data) != 0;
    unit.bypass_.store(on, std::memory_order_relaxed);
    if (unit.ports_.enabled) unit.parameters_.set(*unit.ports_.enabled, on ? 0.0f : 1.0f);
    return noErr;
  }

  // What the caller supplies. The render thread reads the functions without a lock.

  static OSStatus set_callback(Unit& unit, const void* data) {
    if (unit.is_initialized()) return kAudioUnitErr_Initialized;
    unit.input_ = read_value<AURenderCallbackStruct>(data);
    return noErr;
  }
  static OSStatus set_transport(Unit& unit, const void* data) {
    if (unit.is_initialized()) return kAudioUnitErr_Initialized;
    unit.transport_ = read_value<HostCallbackInfo>(data);
    return noErr;
  }
  static OSStatus get_offline(Unit& unit, Place, void* data) {
    return answer(data, UInt32{unit.offline_.load(std::memory_order_relaxed)});
  }
  static OSStatus set_offline(Unit& unit, const void* data) {
    const bool on = read_value<UInt32>(data) != 0;
    unit.offline_.store(on, std::memory_order_relaxed);
    if (unit.ports_.free_wheeling)
      unit.parameters_.set(*unit.ports_.free_wheeling, on ? 1.0f : 0.0f);
    return noErr;
  }

  // State

  static OSStatus get_class_info(Unit& unit, Place, void* data) {
    return answer(data, unit.copy_class_info());
  }
  static OSStatus set_class_info(Unit& unit, const void* data) {
    return unit.set_class_info(read_value<CFPropertyListRef>(data));
  }
  static OSStatus get_factory_presets(Unit& unit, Place, void* data) {
    return answer(data, unit.copy_factory_presets());
  }
  static OSStatus get_present_preset(Unit& unit, Place, void* data) {
    return answer(data, AUPreset{unit.preset_number_, copy_cf_string(unit.preset_name_)});
  }
  static OSStatus set_present_preset(Unit& unit, const void* data) {
    return unit.load_factory_preset(read_value<AUPreset>(data).presetNumber);
  }

  static bool has_files(const Unit& unit) {
    return !unit.plugin_->files.empty() && unit.ports_.patch_input;
  }
  static OSStatus get_files(Unit& unit, Place, void* data) {
    return answer(data, unit.copy_files());
  }
  static OSStatus set_file(Unit& unit, const void* data) {
    return unit.set_file(cf_cast<CFDictionaryRef>(read_value<CFTypeRef>(data)));
  }
  static std::size_t count_presets(const Unit& unit) { return unit.plugin_->presets.size(); }
  static OSStatus get_user_presets(Unit& unit, Place, void* data) {
    return unit.tell_user_presets(static_cast<UInt8*>(data));
  }

  // Parameters

  static std::size_t count_parameters(const Unit& unit) { return unit.parameters_.listed().size(); }
  static OSStatus get_parameter_list(Unit& unit, Place, void* data) {
    const std::vector<AudioUnitParameterID> ids = unit.parameters_.listed();
    std::copy(ids.begin(), ids.end(), static_cast<AudioUnitParameterID*>(data));
    return noErr;
  }
  static OSStatus get_parameter_info(Unit& unit, Place place, void* data) {
    const std::uint32_t id = place.element;
    return answer(data, parameter_info(unit.plugin_->ports[id], unit.parameters_.range(id)));
  }
  static OSStatus get_symbol(Unit& unit, Place place, void* data) {
    return answer(data, copy_cf_string(unit.plugin_->ports[place.element].symbol));
  }
  static OSStatus get_value_strings(Unit& unit, Place place, void* data) {
    const std::uint32_t id = place.element;
    const CFArrayRef names =
        copy_value_strings(unit.plugin_->ports[id], unit.parameters_.range(id));
    return names != nullptr ? answer(data, names) : OSStatus{kAudioUnitErr_InvalidProperty};
  }
  static OSStatus get_string_from_value(Unit& unit, Place, void* data) {
    auto asked = read_value<AudioUnitParameterStringFromValue>(data);
    const std::uint32_t id = asked.inParamID;
    if (!unit.parameters_.is_readable(id)) return kAudioUnitErr_InvalidParameter;
    const float value = asked.inValue != nullptr ? *asked.inValue : unit.parameters_.value(id);
    asked.outString = copy_value_text(unit.plugin_->ports[id], value);
    return answer(data, asked);
  }
  static OSStatus get_value_from_string(Unit& unit, Place, void* data) {
    auto asked = read_value<AudioUnitParameterValueFromString>(data);
    const std::uint32_t id = asked.inParamID;
    if (!unit.parameters_.is_readable(id)) return kAudioUnitErr_InvalidParameter;
    const auto value = value_of_text(unit.plugin_->ports[id], text_of(asked.inString));
    if (!value) return kAudioUnitErr_InvalidPropertyValue;
    asked.outValue = *value;
    return answer(data, asked);
  }

  // Editor

  static OSStatus get_cocoa_ui(Unit& unit, Place, void* data) {
    AudioUnitCocoaViewInfo view{};
    view.mCocoaAUViewBundleLocation = CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(unit.editor_bundle_.data()),
        static_cast<CFIndex>(unit.editor_bundle_.size()), true);
    if (view.mCocoaAUViewBundleLocation == nullptr) return kAudio_MemFullError;
    view.mCocoaAUViewClass[0] = copy_cf_string(editor_factory_class);
    return answer(data, view);
  }
  static OSStatus get_editor_link(Unit& unit, Place, void* data) {
    return answer(data, static_cast<EditorLink*>(unit.editor_.get()));
  }
};

// No tail time: nothing in a plugin's description tells how long it rings, and a host that is told
// of no such property must not take it for none.
constinit const UnitProperties::Row UnitProperties::rows[] = {
    {.id = kAudioUnitProperty_StreamFormat,
     .size = sizeof(AudioStreamBasicDescription),
     .scopes = either_side,
     .get = &get_format,
     .set = &set_format},
    {.id = kAudioUnitProperty_ElementCount,
     .size = sizeof(UInt32),
     .scopes = either_side,
     .get = &get_element_count},
    {.id = kAudioUnitProperty_SupportedNumChannels,
     .size = sizeof(AUChannelInfo),
     .get = &get_channels},
    {.id = kAudioUnitProperty_MaximumFramesPerSlice,
     .size = sizeof(UInt32),
     .get = &get_max_frames,
     .set = &set_max_frames},
    {.id = kAudioUnitProperty_Latency, .size = sizeof(Float64), .get = &get_latency},
    {.id = kAudioUnitProperty_InPlaceProcessing,
     .size = sizeof(UInt32),
     .exists = &is_effect,
     .get = &get_in_place},
    {.id = kAudioUnitProperty_BypassEffect,
     .size = sizeof(UInt32),
     .exists = &is_effect,
     .get = &get_bypass,
     .set = &set_bypass},
    {.id = kAudioUnitProperty_SetRenderCallback,
     .size = sizeof(AURenderCallbackStruct),
     .scopes = scope_bit(kAudioUnitScope_Input),
     .set = &set_callback},
    {.id = kAudioUnitProperty_HostCallbacks,
     .size = sizeof(HostCallbackInfo),
     .set = &set_transport},
    {.id = kAudioUnitProperty_OfflineRender,
     .size = sizeof(UInt32),
     .get = &get_offline,
     .set = &set_offline},
    {.id = kAudioUnitProperty_ClassInfo,
     .size = sizeof(CFPropertyListRef),
     .get = &get_class_info,
     .set = &set_class_info},
    {.id = kAudioUnitProperty_FactoryPresets,
     .size = sizeof(CFArrayRef),
     .exists = &has_presets,
     .get = &get_factory_presets},
    {.id = kAudioUnitProperty_PresentPreset,
     .size = sizeof(AUPreset),
     .get = &get_present_preset,
     .set = &set_present_preset},
    {.id = platform::user_presets_property,
     .size = sizeof(UInt8),
     .exists = &has_presets,
     .get = &get_user_presets,
     .count = &count_presets},
    {.id = platform::files_property,
     .size = sizeof(CFTypeRef),
     .exists = &has_files,
     .get = &get_files,
     .set = &set_file},
    {.id = kAudioUnitProperty_ParameterList,
     .size = sizeof(AudioUnitParameterID),
     .get = &get_parameter_list,
     .count = &count_parameters},
    {.id = kAudioUnitProperty_ParameterInfo,
     .size = sizeof(AudioUnitParameterInfo),
     .is_of_parameter = true,
     .get = &get_parameter_info},
    {.id = platform::parameter_symbol_property,
     .size = sizeof(CFStringRef),
     .is_of_parameter = true,
     .get = &get_symbol},
    {.id = kAudioUnitProperty_ParameterValueStrings,
     .size = sizeof(CFArrayRef),
     .is_of_parameter = true,
     .get = &get_value_strings},
    {.id = kAudioUnitProperty_ParameterStringFromValue,
     .size = sizeof(AudioUnitParameterStringFromValue),
     .get = &get_string_from_value},
    {.id = kAudioUnitProperty_ParameterValueFromString,
     .size = sizeof(AudioUnitParameterValueFromString),
     .get = &get_value_from_string},
    {.id = kAudioUnitProperty_CocoaUI,
     .size = sizeof(AudioUnitCocoaViewInfo),
     .exists = &has_view,
     .get = &get_cocoa_ui},
    {.id = editor_link_property,
     .size = sizeof(EditorLink*),
     .exists = &has_view,
     .get = &get_editor_link},
};

using Calls = PropertyCalls<PluginUnit, UnitProperties>;

OSStatus PluginUnit::property_info(AudioUnitPropertyID id, AudioUnitScope scope,
                                   AudioUnitElement element, UInt32* size, Boolean* writable) {
  return Calls::info(*this, id, {scope, element}, size, writable);
}

OSStatus PluginUnit::get_property(AudioUnitPropertyID id, AudioUnitScope scope,
                                  AudioUnitElement element, void* data, UInt32* size) {
  return Calls::get(*this, id, {scope, element}, data, size);
}

OSStatus PluginUnit::set_property(AudioUnitPropertyID id, AudioUnitScope scope,
                                  AudioUnitElement element, const void* data, UInt32 size) {
  return Calls::set(*this, id, {scope, element}, data, size);
}

}  // namespace vesk::lv2
