#pragma once

#include <AudioToolbox/AUComponent.h>
#include <AudioToolbox/MusicDevice.h>

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
