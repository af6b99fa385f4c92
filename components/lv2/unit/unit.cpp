// The component interface of a unit: open, close, and the methods by number.

#include "components/lv2/unit/unit.hpp"

#include <AudioToolbox/AudioToolbox.h>

#include <cmath>
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
struct Block {
  AudioComponentPlugInInterface interface;
  std::shared_ptr<const Description> plugin;
  PluginUnit* unit = nullptr;
};

PluginUnit& unit_of(void* self) noexcept VESK_REALTIME {
  return *static_cast<Block*>(self)->unit;
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

OSStatus open_unit(Block& block, AudioComponentInstance instance) {
  std::string error;
  bool missing = false;
  std::unique_ptr<PluginLibrary> library = PluginLibrary::open(*block.plugin, error, &missing);
  if (library == nullptr) {
    say(block.plugin->name + " cannot be loaded: " + error);
    return missing ? not_in_library : cannot_load;
  }
  AudioComponentDescription codes{block.plugin->type, 0, manufacturer, 0, 0};
  AudioComponent component = AudioComponentInstanceGetComponent(instance);
  if (component != nullptr) AudioComponentGetDescription(component, &codes);
  block.unit = new PluginUnit(block.plugin, std::move(library), instance, codes);
  return noErr;
}

OSStatus open(void* self, AudioComponentInstance instance) {
  auto* block = static_cast<Block*>(self);
  const OSStatus status = guarded([&] { return open_unit(*block, instance); });
  if (status != noErr) {
    // Nobody touches a block again whose Open has failed.
    delete block;
  }
  return status;
}

OSStatus close(void* self) {
  auto* block = static_cast<Block*>(self);
  const OSStatus status = guarded([&] { return block->unit->uninitialize(); });
  if (status != noErr) {
    // The render thread is still inside the plugin: what it uses must stay.
    return status;
  }
  delete block->unit;
  delete block;
  return noErr;
}

OSStatus initialize(void* self) {
  return guarded([&] { return unit_of(self).initialize(); });
}

OSStatus uninitialize(void* self) {
  return guarded([&] { return unit_of(self).uninitialize(); });
}

OSStatus reset(void* self, AudioUnitScope, AudioUnitElement) {
  return guarded([&] { return unit_of(self).reset(); });
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

OSStatus add_property_listener(void* self, AudioUnitPropertyID id,
                               AudioUnitPropertyListenerProc proc, void* user) {
  if (proc == nullptr) return kAudio_ParamError;
  return guarded([&]() -> OSStatus {
    unit_of(self).listeners().add(id, proc, user);
    return noErr;
  });
}

OSStatus remove_property_listener(void* self, AudioUnitPropertyID id,
                                  AudioUnitPropertyListenerProc proc) {
  return guarded([&]() -> OSStatus {
    unit_of(self).listeners().remove(id, proc, nullptr, true);
    return noErr;
  });
}

OSStatus remove_property_listener_with_user_data(void* self, AudioUnitPropertyID id,
                                                 AudioUnitPropertyListenerProc proc, void* user) {
  return guarded([&]() -> OSStatus {
    unit_of(self).listeners().remove(id, proc, user, false);
    return noErr;
  });
}

OSStatus add_render_notify(void* self, AURenderCallback proc, void* user) {
  if (proc == nullptr) return kAudio_ParamError;
  return guarded([&]() -> OSStatus {
    return unit_of(self).notifies().add({proc, user}) ? OSStatus{noErr}
                                                      : OSStatus{kAudio_MemFullError};
  });
}

OSStatus remove_render_notify(void* self, AURenderCallback proc, void* user) {
  return guarded([&]() -> OSStatus {
    unit_of(self).notifies().remove({proc, user});
    return noErr;
  });
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

OSStatus schedule_parameters(void* self, const AudioUnitParameterEvent* events,
                             UInt32 count) CA_REALTIME_API {
  return unit_of(self).schedule(events, count);
}

OSStatus render(void* self, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                UInt32 bus, UInt32 frames, AudioBufferList* data) CA_REALTIME_API {
  return unit_of(self).render(flags, time, bus, frames, data);
}

OSStatus midi_event(void* self, UInt32 status, UInt32 data1, UInt32 data2,
                    UInt32 offset) CA_REALTIME_API {
  return unit_of(self).midi(status, data1, data2, offset);
}

OSStatus sysex(void* self, const UInt8* bytes, UInt32 length) CA_REALTIME_API {
  return unit_of(self).sysex(bytes, length);
}

// A note's id is its channel and key: sounding twice, it is stopped twice, as with MIDI.
constexpr NoteInstanceID note_mark = 0x10000;

OSStatus start_note(void* self, MusicDeviceInstrumentID, MusicDeviceGroupID group,
                    NoteInstanceID* note, UInt32 offset,
                    const MusicDeviceNoteParams* params) CA_REALTIME_API {
  if (params == nullptr || params->argCount < 2) return kAudio_ParamError;
  const auto byte_of = [](Float32 value, Float32 least) -> UInt32 {
    return value >= least && value <= 127 ? static_cast<UInt32>(std::lround(value))
                                          : static_cast<UInt32>(value > 127 ? 127 : least);
  };
  const UInt32 channel = group & 15u;
  const UInt32 key = byte_of(params->mPitch, 0);
  if (note != nullptr) *note = note_mark | channel << 8 | key;
  return unit_of(self).midi(0x90 | channel, key, byte_of(params->mVelocity, 1), offset);
}

OSStatus stop_note(void* self, MusicDeviceGroupID, NoteInstanceID note,
                   UInt32 offset) CA_REALTIME_API {
  if ((note & note_mark) == 0) return kAudio_ParamError;
  return unit_of(self).midi(0x80 | ((note >> 8) & 15u), note & 0x7f, 64, offset);
}

// There is one instrument, and it is always ready.
OSStatus use_instrument(void*, MusicDeviceInstrumentID) {
  return noErr;
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
    case kAudioUnitResetSelect:
      return method(&reset);
    case kAudioUnitAddPropertyListenerSelect:
      return method(&add_property_listener);
    case kAudioUnitRemovePropertyListenerSelect:
      return method(&remove_property_listener);
    case kAudioUnitRemovePropertyListenerWithUserDataSelect:
      return method(&remove_property_listener_with_user_data);
    case kAudioUnitRenderSelect:
      return method(&render);
    case kAudioUnitAddRenderNotifySelect:
      return method(&add_render_notify);
    case kAudioUnitRemoveRenderNotifySelect:
      return method(&remove_render_notify);
    case kAudioUnitScheduleParametersSelect:
      return method(&schedule_parameters);
    case kMusicDeviceMIDIEventSelect:
      return method(&midi_event);
    case kMusicDeviceSysExSelect:
      return method(&sysex);
    case kMusicDeviceStartNoteSelect:
      return method(&start_note);
    case kMusicDeviceStopNoteSelect:
      return method(&stop_note);
    case kMusicDevicePrepareInstrumentSelect:
    case kMusicDeviceReleaseInstrumentSelect:
      return method(&use_instrument);
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
  auto* block = new (std::nothrow) Block{{&open, &close, &lookup, nullptr}, std::move(description)};
  *status = block != nullptr ? OSStatus{noErr} : OSStatus{kAudio_MemFullError};
  return block != nullptr ? &block->interface : nullptr;
}

}  // namespace vesk::lv2
