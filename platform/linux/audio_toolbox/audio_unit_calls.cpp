#include <AudioToolbox/AUComponent.h>
#include <AudioToolbox/MusicDevice.h>

#include "platform/linux/audio_toolbox/component_instance.hpp"

namespace {

/// Calls a real-time method of `instance`: one load, one test, one indirect call.
template <auto Method, typename... Arguments>
VESK_CALLS_COMPONENT [[gnu::always_inline]] inline OSStatus call_realtime(
    ComponentInstanceRecord* instance, Arguments... arguments) CA_REALTIME_API {
  if (!instance) return kAudio_ParamError;
  const auto method = instance->methods.*Method;
  if (!method) return kAudio_UnimplementedError;
  return method(instance->interface, arguments...);
}

template <auto Method, typename... Arguments>
VESK_CALLS_COMPONENT [[gnu::always_inline]] inline OSStatus call(ComponentInstanceRecord* instance,
                                                                 Arguments... arguments) {
  if (!instance) return kAudio_ParamError;
  const auto method = instance->methods.*Method;
  if (!method) return kAudio_UnimplementedError;
  return method(instance->interface, arguments...);
}

using Methods = ComponentMethods;

}  // namespace

// Render thread, or any thread.

OSStatus AudioUnitRender(AudioUnit unit, AudioUnitRenderActionFlags* flags,
                         const AudioTimeStamp* time, UInt32 bus, UInt32 frames,
                         AudioBufferList* data) CA_REALTIME_API {
  return call_realtime<&Methods::render>(unit, flags, time, bus, frames, data);
}

OSStatus AudioUnitGetParameter(AudioUnit unit, AudioUnitParameterID id, AudioUnitScope scope,
                               AudioUnitElement element,
                               AudioUnitParameterValue* value) CA_REALTIME_API {
  return call_realtime<&Methods::get_parameter>(unit, id, scope, element, value);
}

OSStatus AudioUnitSetParameter(AudioUnit unit, AudioUnitParameterID id, AudioUnitScope scope,
                               AudioUnitElement element, AudioUnitParameterValue value,
                               UInt32 offset) CA_REALTIME_API {
  return call_realtime<&Methods::set_parameter>(unit, id, scope, element, value, offset);
}

OSStatus AudioUnitScheduleParameters(AudioUnit unit, const AudioUnitParameterEvent* events,
                                     UInt32 count) CA_REALTIME_API {
  return call_realtime<&Methods::schedule_parameters>(unit, events, count);
}

OSStatus MusicDeviceMIDIEvent(MusicDeviceComponent unit, UInt32 status, UInt32 data1, UInt32 data2,
                              UInt32 offset) CA_REALTIME_API {
  return call_realtime<&Methods::midi_event>(unit, status, data1, data2, offset);
}

OSStatus MusicDeviceSysEx(MusicDeviceComponent unit, const UInt8* data,
                          UInt32 length) CA_REALTIME_API {
  return call_realtime<&Methods::sys_ex>(unit, data, length);
}

OSStatus MusicDeviceStartNote(MusicDeviceComponent unit, MusicDeviceInstrumentID instrument,
                              MusicDeviceGroupID group, NoteInstanceID* note, UInt32 offset,
                              const MusicDeviceNoteParams* parameters) CA_REALTIME_API {
  return call_realtime<&Methods::start_note>(unit, instrument, group, note, offset, parameters);
}

OSStatus MusicDeviceStopNote(MusicDeviceComponent unit, MusicDeviceGroupID group,
                             NoteInstanceID note, UInt32 offset) CA_REALTIME_API {
  return call_realtime<&Methods::stop_note>(unit, group, note, offset);
}

// One thread at a time, not the render thread.

OSStatus AudioUnitInitialize(AudioUnit unit) {
  return call<&Methods::initialize>(unit);
}

OSStatus AudioUnitUninitialize(AudioUnit unit) {
  return call<&Methods::uninitialize>(unit);
}

OSStatus AudioUnitGetPropertyInfo(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope,
                                  AudioUnitElement element, UInt32* size, Boolean* writable) {
  return call<&Methods::get_property_info>(unit, id, scope, element, size, writable);
}

OSStatus AudioUnitGetProperty(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope,
                              AudioUnitElement element, void* data, UInt32* size) {
  return call<&Methods::get_property>(unit, id, scope, element, data, size);
}

OSStatus AudioUnitSetProperty(AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope,
                              AudioUnitElement element, const void* data, UInt32 size) {
  return call<&Methods::set_property>(unit, id, scope, element, data, size);
}

OSStatus AudioUnitAddPropertyListener(AudioUnit unit, AudioUnitPropertyID id,
                                      AudioUnitPropertyListenerProc listener, void* user_data) {
  return call<&Methods::add_property_listener>(unit, id, listener, user_data);
}

OSStatus AudioUnitRemovePropertyListenerWithUserData(AudioUnit unit, AudioUnitPropertyID id,
                                                     AudioUnitPropertyListenerProc listener,
                                                     void* user_data) {
  return call<&Methods::remove_property_listener_with_user_data>(unit, id, listener, user_data);
}

OSStatus AudioUnitAddRenderNotify(AudioUnit unit, AURenderCallback callback, void* user_data) {
  return call<&Methods::add_render_notify>(unit, callback, user_data);
}

OSStatus AudioUnitRemoveRenderNotify(AudioUnit unit, AURenderCallback callback, void* user_data) {
  return call<&Methods::remove_render_notify>(unit, callback, user_data);
}

OSStatus AudioUnitReset(AudioUnit unit, AudioUnitScope scope, AudioUnitElement element) {
  return call<&Methods::reset>(unit, scope, element);
}
