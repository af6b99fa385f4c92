#include "platform/linux/audio_toolbox/component_instance.hpp"

#include <Block.h>
#include <pthread.h>

#include <memory>

#include "platform/linux/audio_toolbox/component.hpp"
#include "platform/linux/audio_toolbox/host_callbacks.hpp"
#include "platform/linux/audio_toolbox/mono_unit.hpp"
#include "platform/linux/audio_toolbox/parameter_listeners.hpp"

namespace vesk::platform {
namespace {

VESK_CALLS_COMPONENT ComponentMethods
resolve_methods(const AudioComponentPlugInInterface& interface) {
  ComponentMethods methods{};
  const auto resolve = [&]<typename Proc>(Proc& method, SInt16 selector)
                           VESK_CALLS_COMPONENT -> void {
    method = reinterpret_cast<Proc>(interface.Lookup(selector));
  };
  resolve(methods.render, kAudioUnitRenderSelect);
  resolve(methods.midi_event, kMusicDeviceMIDIEventSelect);
  resolve(methods.get_parameter, kAudioUnitGetParameterSelect);
  resolve(methods.set_parameter, kAudioUnitSetParameterSelect);
  resolve(methods.schedule_parameters, kAudioUnitScheduleParametersSelect);
  resolve(methods.sys_ex, kMusicDeviceSysExSelect);
  resolve(methods.start_note, kMusicDeviceStartNoteSelect);
  resolve(methods.stop_note, kMusicDeviceStopNoteSelect);
  resolve(methods.initialize, kAudioUnitInitializeSelect);
  resolve(methods.uninitialize, kAudioUnitUninitializeSelect);
  resolve(methods.get_property_info, kAudioUnitGetPropertyInfoSelect);
  resolve(methods.get_property, kAudioUnitGetPropertySelect);
  resolve(methods.set_property, kAudioUnitSetPropertySelect);
  resolve(methods.add_property_listener, kAudioUnitAddPropertyListenerSelect);
  resolve(methods.remove_property_listener_with_user_data,
          kAudioUnitRemovePropertyListenerWithUserDataSelect);
  resolve(methods.add_render_notify, kAudioUnitAddRenderNotifySelect);
  resolve(methods.remove_render_notify, kAudioUnitRemoveRenderNotifySelect);
  resolve(methods.reset, kAudioUnitResetSelect);
  return methods;
}

}  // namespace

VESK_CALLS_COMPONENT OSStatus open_interface(OpaqueAudioComponent& component,
                                             AudioComponentInstance instance,
                                             AudioComponentPlugInInterface*& interface,
                                             ComponentMethods& methods) {
  OSStatus status = noErr;
  interface = make_interface(component, status);
  if (!interface) return status;
  status = interface->Open(interface, instance);
  // After a failed Open the block may be gone already: it is not touched again.
  if (status == noErr) methods = resolve_methods(*interface);
  return status;
}

namespace {

OSStatus open_instance(AudioComponent component, AudioComponentInstance& instance) {
  instance = nullptr;
  auto record = std::make_unique<ComponentInstanceRecord>();
  record->component = component;
  OSStatus status = open_interface(*component, record.get(), record->interface, record->methods);
  if (status == noErr && is_mono(*record)) status = make_stereo(*record);
  if (status != noErr) return status;
  instance = record.release();
  introduce_parent(instance);
  return noErr;
}

using CompletionHandler = void (^)(AudioComponentInstance, OSStatus);

struct Opening {
  AudioComponent component;
  CompletionHandler handler;  // a copy
};

void* open_and_complete(void* context) {
  const std::unique_ptr<Opening> opening(static_cast<Opening*>(context));
  AudioComponentInstance instance = nullptr;
  const OSStatus status = open_instance(opening->component, instance);
  opening->handler(instance, status);
  Block_release(opening->handler);
  return nullptr;
}

/// Opens on a thread of its own, which outlives the call. False when no thread can be had.
bool open_later(AudioComponent component, CompletionHandler handler) {
  auto opening = std::make_unique<Opening>(Opening{component, Block_copy(handler)});
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_t thread;
  const bool started = pthread_create(&thread, &attributes, open_and_complete, opening.get()) == 0;
  pthread_attr_destroy(&attributes);
  if (started)
    static_cast<void>(opening.release());
  else
    Block_release(opening->handler);
  return started;
}

bool wants_async(AudioComponent component) {
  return component->description.componentFlags & kAudioComponentFlag_RequiresAsyncInstantiation;
}

}  // namespace
}  // namespace vesk::platform

using vesk::platform::open_instance;
using vesk::platform::wants_async;

OSStatus AudioComponentInstanceNew(AudioComponent component, AudioComponentInstance* instance) {
  if (!instance) return kAudio_ParamError;
  *instance = nullptr;
  if (!component) return kAudio_ParamError;
  if (wants_async(component)) return kAudioComponentErr_NotPermitted;
  return open_instance(component, *instance);
}

void AudioComponentInstantiate(AudioComponent component, AudioComponentInstantiationOptions,
                               void (^handler)(AudioComponentInstance, OSStatus)) {
  if (!handler) return;
  AudioComponentInstance instance = nullptr;
  OSStatus status = kAudio_ParamError;
  if (component && wants_async(component)) {
    if (vesk::platform::open_later(component, handler)) return;
    status = kAudio_MemFullError;
  } else if (component) {
    status = open_instance(component, instance);
  }
  handler(instance, status);
}

VESK_CALLS_COMPONENT OSStatus AudioComponentInstanceDispose(AudioComponentInstance instance) {
  if (!instance) return kAudio_ParamError;
  const std::unique_ptr<ComponentInstanceRecord> record(instance);
  vesk::platform::forget_unit(instance);
  return record->interface->Close(record->interface);
}

AudioComponent AudioComponentInstanceGetComponent(AudioComponentInstance instance) {
  return instance ? instance->component : nullptr;
}
