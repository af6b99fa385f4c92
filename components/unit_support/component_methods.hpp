#pragma once

// The methods of a unit as callers written in C reach them: by number, with what Open was given.

#include <AudioToolbox/AudioToolbox.h>

#include <new>

#include "platform/realtime.hpp"

namespace vesk {

/// The methods of `PlugIn`, which is what a method's first argument points to. It is made with
/// `new` and freed by Close, or by an Open that fails. It has
///
///     AudioComponentPlugInInterface interface;      first; `ComponentMethods::interface`
///     OSStatus open(AudioComponentInstance);        makes `unit`
///     std::unique_ptr<Unit> unit;                   with the methods that are called below
template <typename PlugIn>
class ComponentMethods {
 public:
  static constexpr AudioComponentPlugInInterface interface() {
    return {&open, &close, &lookup, nullptr};
  }

 private:
  static auto& unit_of(void* self) noexcept VESK_REALTIME {
    return *static_cast<PlugIn*>(self)->unit;
  }

  /// Nothing is thrown at a caller that is written in C.
  template <typename Method>
  static OSStatus guarded(Method method) noexcept {
    try {
      return method();
    } catch (const std::bad_alloc&) {
      return kAudio_MemFullError;
    } catch (...) {
      return kAudioUnitErr_CannotDoInCurrentContext;
    }
  }

  static OSStatus open(void* self, AudioComponentInstance instance) {
    auto* plug_in = static_cast<PlugIn*>(self);
    const OSStatus status = guarded([&] { return plug_in->open(instance); });
    if (status != noErr) {
      // Nobody touches it again once its Open has failed.
      delete plug_in;
    }
    return status;
  }

  static OSStatus close(void* self) {
    auto* plug_in = static_cast<PlugIn*>(self);
    const OSStatus status = guarded([&] { return plug_in->unit->uninitialize(); });
    if (status != noErr) {
      // The render thread is still inside the plugin: what it uses must stay.
      return status;
    }
    delete plug_in;
    return noErr;
  }

  static OSStatus initialize(void* self) {
    return guarded([&] { return unit_of(self).initialize(); });
  }

  static OSStatus uninitialize(void* self) {
    return guarded([&] { return unit_of(self).uninitialize(); });
  }

  static OSStatus get_property_info(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                                    AudioUnitElement element, UInt32* size, Boolean* writable) {
    return guarded([&] { return unit_of(self).property_info(id, scope, element, size, writable); });
  }

  static OSStatus get_property(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                               AudioUnitElement element, void* data, UInt32* size) {
    return guarded([&] { return unit_of(self).get_property(id, scope, element, data, size); });
  }

  static OSStatus set_property(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                               AudioUnitElement element, const void* data, UInt32 size) {
    return guarded([&] { return unit_of(self).set_property(id, scope, element, data, size); });
  }

  static OSStatus reset(void* self, AudioUnitScope, AudioUnitElement) CA_REALTIME_API {
    return unit_of(self).reset();
  }

  /// Parameters are of the unit as a whole.
  static OSStatus check_global(AudioUnitScope scope,
                               AudioUnitElement element) noexcept VESK_REALTIME {
    if (scope != kAudioUnitScope_Global) return kAudioUnitErr_InvalidScope;
    return element == 0 ? OSStatus{noErr} : OSStatus{kAudioUnitErr_InvalidElement};
  }

  static OSStatus get_parameter(void* self, AudioUnitParameterID id, AudioUnitScope scope,
                                AudioUnitElement element,
                                AudioUnitParameterValue* value) CA_REALTIME_API {
    if (value == nullptr) return kAudio_ParamError;
    const OSStatus status = check_global(scope, element);
    return status != noErr ? status : unit_of(self).get_parameter(id, *value);
  }

  static OSStatus set_parameter(void* self, AudioUnitParameterID id, AudioUnitScope scope,
                                AudioUnitElement element, AudioUnitParameterValue value,
                                UInt32) CA_REALTIME_API {
    const OSStatus status = check_global(scope, element);
    return status != noErr ? status : unit_of(self).set_parameter(id, value);
  }

  static OSStatus render(void* self, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                         UInt32 bus, UInt32 frames, AudioBufferList* data) CA_REALTIME_API {
    if (time == nullptr || data == nullptr) return kAudio_ParamError;
    if (bus != 0) return kAudioUnitErr_InvalidElement;
    const OSStatus status = unit_of(self).render(*time, frames, *data);
    if (status == noErr && flags != nullptr)
      *flags &= ~static_cast<AudioUnitRenderActionFlags>(kAudioUnitRenderAction_OutputIsSilence);
    return status;
  }

  static OSStatus midi_event(void* self, UInt32 status, UInt32 data1, UInt32 data2,
                             UInt32 offset) CA_REALTIME_API {
    return unit_of(self).midi(status, data1, data2, offset);
  }

  template <typename Function>
  static AudioComponentMethod method(Function* function) {
    return reinterpret_cast<AudioComponentMethod>(function);
  }

  static AudioComponentMethod lookup(SInt16 selector) {
    if constexpr (requires(PlugIn& plug_in) { plug_in.unit->reset(); })
      if (selector == kAudioUnitResetSelect) return method(&reset);
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
};

}  // namespace vesk
