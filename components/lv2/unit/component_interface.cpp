#include "components/lv2/unit/component_interface.hpp"

#include <AudioToolbox/AudioToolbox.h>

#include <memory>
#include <new>
#include <string>
#include <utility>

#include "components/lv2/instance/features.hpp"
#include "components/lv2/instance/plugin_log.hpp"
#include "components/lv2/unit/plugin_unit.hpp"

namespace vesk::lv2 {
namespace {

constexpr OSType manufacturer = 0x4c56325f;  // 'LV2_'
// What callers know as "the code of the component cannot be loaded" and "it lacks its factory".
constexpr OSStatus cannot_load = -3000;
constexpr OSStatus not_in_library = -1;

/// What a method's first argument points to.
struct PlugIn {
  AudioComponentPlugInInterface interface;
  std::shared_ptr<const Description> plugin;
  std::unique_ptr<PluginUnit> unit = nullptr;
};

PluginUnit& unit_of(void* self) noexcept VESK_REALTIME {
  return *static_cast<PlugIn*>(self)->unit;
}

/// Nothing is thrown at a caller that is written in C.
template <typename Method>
OSStatus guarded(Method method) noexcept {
  try {
    return method();
  } catch (const std::bad_alloc&) {
    return kAudio_MemFullError;
  } catch (...) {
    return kAudioUnitErr_CannotDoInCurrentContext;
  }
}

OSStatus open_unit(PlugIn& self, AudioComponentInstance instance) {
  std::string error;
  bool missing = false;
  std::unique_ptr<PluginLibrary> library = PluginLibrary::open(*self.plugin, error, &missing);
  if (library == nullptr) {
    say(self.plugin->name + " cannot be loaded: " + error);
    return missing ? not_in_library : cannot_load;
  }
  AudioComponentDescription codes{self.plugin->type, 0, manufacturer, 0, 0};
  AudioComponent component = AudioComponentInstanceGetComponent(instance);
  if (component != nullptr) AudioComponentGetDescription(component, &codes);
  self.unit = std::make_unique<PluginUnit>(self.plugin, std::move(library), instance, codes);
  return noErr;
}

OSStatus open(void* self, AudioComponentInstance instance) {
  auto* plug_in = static_cast<PlugIn*>(self);
  const OSStatus status = guarded([&] { return open_unit(*plug_in, instance); });
  if (status != noErr) {
    // Nobody touches it again once its Open has failed.
    delete plug_in;
  }
  return status;
}

OSStatus close(void* self) {
  auto* plug_in = static_cast<PlugIn*>(self);
  const OSStatus status = guarded([&] { return plug_in->unit->uninitialize(); });
  if (status != noErr) {
    // The render thread is still inside the plugin: what it uses must stay.
    return status;
  }
  delete plug_in;
  return noErr;
}

OSStatus initialize(void* self) {
  return guarded([&] { return unit_of(self).initialize(); });
}

OSStatus uninitialize(void* self) {
  return guarded([&] { return unit_of(self).uninitialize(); });
}

OSStatus get_property_info(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                           AudioUnitElement element, UInt32* size, Boolean* writable) {
  return guarded([&] { return unit_of(self).property_info(id, scope, element, size, writable); });
}

OSStatus get_property(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                      AudioUnitElement element, void* data, UInt32* size) {
  return guarded([&] { return unit_of(self).get_property(id, scope, element, data, size); });
}

OSStatus set_property(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                      AudioUnitElement element, const void* data, UInt32 size) {
  return guarded([&] { return unit_of(self).set_property(id, scope, element, data, size); });
}

OSStatus get_parameter(void* self, AudioUnitParameterID id, AudioUnitScope scope,
                       AudioUnitElement element, AudioUnitParameterValue* value) CA_REALTIME_API {
  return unit_of(self).get_parameter(id, scope, element, value);
}

OSStatus set_parameter(void* self, AudioUnitParameterID id, AudioUnitScope scope,
                       AudioUnitElement element, AudioUnitParameterValue value,
                       UInt32) CA_REALTIME_API {
  return unit_of(self).set_parameter(id, scope, element, value);
}

OSStatus render(void* self, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                UInt32 bus, UInt32 frames, AudioBufferList* data) CA_REALTIME_API {
  return unit_of(self).render(flags, time, bus, frames, data);
}

OSStatus midi_event(void* self, UInt32 status, UInt32 data1, UInt32 data2,
                    UInt32 offset) CA_REALTIME_API {
  return unit_of(self).midi(status, data1, data2, offset);
}

template <typename Function>
AudioComponentMethod method(Function* function) {
  return reinterpret_cast<AudioComponentMethod>(function);
}

AudioComponentMethod lookup(SInt16 selector) {
  switch (selector) {
    case kAudioUnitInitializeSelect:
      return method(&initialize);
    case kAudioUnitUninitializeSelect:
      return method(&uninitialize);
    case kAudioUnitGetPropertyInfoSelect:
      return method(&get_property_info);
    case kAudioUnitGetPropertySelect:
      return method(&get_property);
    case kAudioUnitSetPropertySelect:
      return method(&set_property);
    case kAudioUnitGetParameterSelect:
      return method(&get_parameter);
    case kAudioUnitSetParameterSelect:
      return method(&set_parameter);
    case kAudioUnitRenderSelect:
      return method(&render);
    case kMusicDeviceMIDIEventSelect:
      return method(&midi_event);
    default:
      return nullptr;
  }
}

}  // namespace

AudioComponentPlugInInterface* make_unit(std::shared_ptr<const Description> description,
                                         OSStatus* status) {
  const std::vector<std::string> missing = missing_features(*description);
  for (const std::string& feature : missing)
    say(description->name + " needs the LV2 feature " + feature);
  if (!missing.empty()) {
    *status = kAudioUnitErr_ExtensionNotFound;
    return nullptr;
  }
  if (!description->not_hosted.empty()) {
    say(description->name + " cannot be hosted: " + description->not_hosted);
    *status = cannot_load;
    return nullptr;
  }
  auto* plug_in =
      new (std::nothrow) PlugIn{{&open, &close, &lookup, nullptr}, std::move(description)};
  *status = plug_in != nullptr ? OSStatus{noErr} : OSStatus{kAudio_MemFullError};
  return plug_in != nullptr ? &plug_in->interface : nullptr;
}

}  // namespace vesk::lv2
