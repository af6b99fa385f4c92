#pragma once

#include <AudioToolbox/AUComponent.h>
#include <AudioToolbox/MusicDevice.h>

/// On functions that call a component's methods. Units declare these with a self of their own type,
/// which is another function type to the undefined-behaviour sanitizer, though the same call.
#define VESK_CALLS_COMPONENT __attribute__((no_sanitize("function")))

/// The methods of one instance, by name: what its Lookup gave for each selector, NULL where it has
/// none. Resolved once, so that a call at render time is one indirect call.
///
/// The types of the real-time methods are nonblocking, those of the component's code need not be:
/// the cast at open is where the compile-time check ends. RealtimeSanitizer still sees what the
/// plugin does, since the caller's own functions are marked.
struct ComponentMethods {
  AudioUnitRenderProc render;
  MusicDeviceMIDIEventProc midi_event;
  AudioUnitGetParameterProc get_parameter;
  AudioUnitSetParameterProc set_parameter;
  AudioUnitScheduleParametersProc schedule_parameters;
  MusicDeviceSysExProc sys_ex;
  MusicDeviceStartNoteProc start_note;
  MusicDeviceStopNoteProc stop_note;

  AudioUnitInitializeProc initialize;
  AudioUnitUninitializeProc uninitialize;
  AudioUnitGetPropertyInfoProc get_property_info;
  AudioUnitGetPropertyProc get_property;
  AudioUnitSetPropertyProc set_property;
  AudioUnitAddPropertyListenerProc add_property_listener;
  AudioUnitRemovePropertyListenerWithUserDataProc remove_property_listener_with_user_data;
  AudioUnitAddRenderNotifyProc add_render_notify;
  AudioUnitRemoveRenderNotifyProc remove_render_notify;
  AudioUnitResetProc reset;
};

/// One instance of a component. `methods` are those of a unit that has none until its Open is
/// done; all is constant from then on.
struct ComponentInstanceRecord {
  AudioComponent component = nullptr;
  AudioComponentPlugInInterface* interface = nullptr;
  ComponentMethods methods{};
};

namespace vesk::platform {

/// Makes and opens what `component` offers, for a caller who will know it as `instance`. Not
/// real-time.
OSStatus open_interface(OpaqueAudioComponent& component, AudioComponentInstance instance,
                        AudioComponentPlugInInterface*& interface, ComponentMethods& methods);

}  // namespace vesk::platform
