#include "platform/linux/audio_toolbox/parameter_listeners.hpp"

#include <Block.h>
#include <mach/mach_time.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace vesk::platform {
namespace {

constexpr CFTimeInterval far_away = 1e9;  // a timer that waits to be set

/// Calls those listeners that want it at once, and leaves the rest for their time.
void make_calls(const std::vector<ListenerCall>& calls) {
  std::vector<ListenerCall> now;
  {
    const std::lock_guard lock(listeners().mutex);
    for (const ListenerCall& each : calls) hand_over(each.listener, each.notice, now);
  }
  for (const ListenerCall& each : now) call(*each.listener, each.notice);
}

/// A parameter event from `sender` to all others that registered for it. `value` absent: the
/// unit's present one.
void announce(AUListenerBase* sender, void* sending_object, const AudioUnitEvent& event,
              std::optional<AudioUnitParameterValue> value) {
  const AudioUnitParameter& changed = event.mArgument.mParameter;
  const bool any = changed.mParameterID == kAUParameterListener_AnyParameter;
  const UInt64 time = mach_absolute_time();
  std::vector<ListenerCall> calls;
  {
    const std::lock_guard lock(listeners().mutex);
    for (const Listener& listener : listeners().all) {
      for (const ListenerRegistration& registration : listener->registrations) {
        const bool sent_it =
            listener.get() == sender && (!sending_object || registration.object == sending_object);
        if (sent_it || registration.event.mEventType != event.mEventType) continue;
        const AudioUnitParameter& wanted = registration.event.mArgument.mParameter;
        if (any ? wanted.mAudioUnit == changed.mAudioUnit : is_same(wanted, changed))
          calls.push_back({listener, {registration.object, registration.event, time, 0}});
      }
    }
  }
  // The units are asked without the lock.
  for (ListenerCall& each : calls) {
    const AudioUnitParameter& parameter = each.notice.event.mArgument.mParameter;
    if (value) {
      each.notice.value = *value;
    } else {
      AudioUnitGetParameter(parameter.mAudioUnit, parameter.mParameterID, parameter.mScope,
                            parameter.mElement, &each.notice.value);
    }
  }
  make_calls(calls);
}

/// What every unit is given as property listener: `handle` is the listener, maybe gone by now.
void property_changed(void* handle, AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope,
                      AudioUnitElement element) {
  AudioUnitEvent event{};
  event.mEventType = kAudioUnitEvent_PropertyChange;
  event.mArgument.mProperty = {unit, id, scope, element};
  const UInt64 time = mach_absolute_time();
  std::vector<ListenerCall> calls;
  {
    const std::lock_guard lock(listeners().mutex);
    const Listener listener = listeners().find(static_cast<AUListenerBase*>(handle));
    if (!listener) return;
    for (const ListenerRegistration& registration : listener->registrations)
      if (is_same(registration.event, event))
        calls.push_back({listener, {registration.object, event, time, 0}});
  }
  make_calls(calls);
}

/// How many registrations of `listener` make it a property listener of the event's unit.
std::ptrdiff_t property_uses(const AUListenerBase& listener, const AudioUnitEvent& event) {
  const AudioUnitProperty& wanted = event.mArgument.mProperty;
  return std::count_if(listener.registrations.begin(), listener.registrations.end(),
                       [&](const ListenerRegistration& each) {
                         return is_property(each.event) &&
                                each.event.mArgument.mProperty.mAudioUnit == wanted.mAudioUnit &&
                                each.event.mArgument.mProperty.mPropertyID == wanted.mPropertyID;
                       });
}

void stop_property_listening(AUListenerBase* handle, const AudioUnitProperty& property) {
  AudioUnitRemovePropertyListenerWithUserData(property.mAudioUnit, property.mPropertyID,
                                              property_changed, handle);
}

OSStatus add(AUListenerBase* handle, void* object, const AudioUnitEvent& event) {
  bool starts_listening = false;
  {
    const std::lock_guard lock(listeners().mutex);
    const Listener listener = listeners().find(handle);
    if (!listener || !unit_of(event)) return kAudio_ParamError;
    for (const ListenerRegistration& each : listener->registrations)
      if (each.object == object && is_same(each.event, event)) return noErr;
    starts_listening = is_property(event) && property_uses(*listener, event) == 0;
    listener->registrations.push_back({object, event});
  }
  if (!starts_listening) return noErr;
  const AudioUnitProperty& property = event.mArgument.mProperty;
  return AudioUnitAddPropertyListener(property.mAudioUnit, property.mPropertyID, property_changed,
                                      handle);
}

OSStatus remove(AUListenerBase* handle, void* object, const AudioUnitEvent& event) {
  bool stops_listening = false;
  {
    const std::lock_guard lock(listeners().mutex);
    const Listener listener = listeners().find(handle);
    if (!listener) return kAudio_ParamError;
    const auto is_it = [&](const auto& each) {
      return each.object == object && is_same(each.event, event);
    };
    const auto removed = std::erase_if(listener->registrations, is_it);
    std::erase_if(listener->pending, is_it);
    stops_listening = removed && is_property(event) && property_uses(*listener, event) == 0;
  }
  if (stops_listening) stop_property_listening(handle, event.mArgument.mProperty);
  return noErr;
}

AudioUnitEvent value_change(const AudioUnitParameter& parameter) {
  AudioUnitEvent event{};
  event.mEventType = kAudioUnitEvent_ParameterValueChange;
  event.mArgument.mParameter = parameter;
  return event;
}

/// Puts a new listener into the list and gives out its handle.
OSStatus admit(Listener listener, AUListenerBase** handle) {
  const std::lock_guard lock(listeners().mutex);
  *handle = listener.get();
  listeners().all.push_back(std::move(listener));
  return noErr;
}

OSStatus create_on_run_loop(ListenerCallee callee, CFRunLoopRef run_loop, CFStringRef mode,
                            Float32 interval, Float32 granularity, AUListenerBase** handle) {
  if (!handle) return kAudio_ParamError;
  *handle = nullptr;
  auto listener = std::make_shared<AUListenerBase>();
  listener->callee = callee;
  listener->interval_seconds = interval;
  listener->granularity_seconds = granularity;
  if (interval > 0) {
    listener->run_loop = run_loop ? run_loop : CFRunLoopGetCurrent();
    CFRetain(listener->run_loop);
    CFRunLoopTimerContext context{};
    context.info = listener.get();
    listener->timer = CFRunLoopTimerCreate(
        kCFAllocatorDefault, CFAbsoluteTimeGetCurrent() + far_away, far_away, 0, 0,
        [](CFRunLoopTimerRef, void* info) { deliver_pending(static_cast<AUListenerBase*>(info)); },
        &context);
    CFRunLoopAddTimer(listener->run_loop, listener->timer, mode ? mode : kCFRunLoopDefaultMode);
  }
  return admit(std::move(listener), handle);
}

OSStatus create_on_queue(AUEventListenerBlock block, dispatch_queue_t queue, Float32 interval,
                         Float32 granularity, AUListenerBase** handle) {
  if (!handle) return kAudio_ParamError;
  *handle = nullptr;
  if (!block || !queue) return kAudio_ParamError;
  auto listener = std::make_shared<AUListenerBase>();
  listener->callee = static_cast<AUEventListenerBlock>(Block_copy(block));
  listener->interval_seconds = interval;
  listener->granularity_seconds = granularity;
  listener->queue = queue;
  return admit(std::move(listener), handle);
}

}  // namespace

void forget_unit(AudioUnit unit) {
  const std::lock_guard lock(listeners().mutex);
  const auto is_its = [&](const auto& each) { return unit_of(each.event) == unit; };
  for (const Listener& listener : listeners().all) {
    std::erase_if(listener->registrations, is_its);
    std::erase_if(listener->pending, is_its);
  }
}

}  // namespace vesk::platform

AUListenerBase::~AUListenerBase() {
  if (timer) CFRelease(timer);
  if (run_loop) CFRelease(run_loop);
  if (const auto* block = std::get_if<AUEventListenerBlock>(&callee)) Block_release(*block);
}

namespace platform = vesk::platform;

OSStatus AUListenerCreate(AUParameterListenerProc function, void* user_data, CFRunLoopRef run_loop,
                          CFStringRef mode, Float32 interval, AUParameterListenerRef* listener) {
  if (!function) return kAudio_ParamError;
  return platform::create_on_run_loop(platform::ParameterFunction{function, user_data}, run_loop,
                                      mode, interval, 0, listener);
}

OSStatus AUEventListenerCreate(AUEventListenerProc function, void* user_data, CFRunLoopRef run_loop,
                               CFStringRef mode, Float32 interval, Float32 granularity,
                               AUEventListenerRef* listener) {
  if (!function) return kAudio_ParamError;
  return platform::create_on_run_loop(platform::EventFunction{function, user_data}, run_loop, mode,
                                      interval, granularity, listener);
}

OSStatus AUEventListenerCreateWithDispatchQueue(AUEventListenerRef* listener, Float32 interval,
                                                Float32 granularity, dispatch_queue_t queue,
                                                AUEventListenerBlock block) {
  return platform::create_on_queue(block, queue, interval, granularity, listener);
}

OSStatus AUListenerDispose(AUParameterListenerRef handle) {
  platform::Listener listener;
  std::vector<platform::ListenerRegistration> registrations;
  {
    auto& all = platform::listeners();
    const std::lock_guard lock(all.mutex);
    listener = all.find(handle);
    if (!listener) return kAudio_ParamError;
    std::erase(all.all, listener);
    registrations = std::move(listener->registrations);
  }
  {
    // Waits for a call that another thread is in.
    const std::lock_guard lock(listener->calling);
    listener->is_disposed = true;
  }
  if (listener->timer) CFRunLoopTimerInvalidate(listener->timer);
  for (const platform::ListenerRegistration& each : registrations) {
    // Once too often for a property in two scopes does no harm.
    if (platform::is_property(each.event))
      platform::stop_property_listening(handle, each.event.mArgument.mProperty);
  }
  return noErr;
}

OSStatus AUListenerAddParameter(AUParameterListenerRef listener, void* object,
                                const AudioUnitParameter* parameter) {
  if (!parameter) return kAudio_ParamError;
  return platform::add(listener, object, platform::value_change(*parameter));
}

OSStatus AUListenerRemoveParameter(AUParameterListenerRef listener, void* object,
                                   const AudioUnitParameter* parameter) {
  if (!parameter) return kAudio_ParamError;
  return platform::remove(listener, object, platform::value_change(*parameter));
}

OSStatus AUEventListenerAddEventType(AUEventListenerRef listener, void* object,
                                     const AudioUnitEvent* event) {
  return event ? platform::add(listener, object, *event) : kAudio_ParamError;
}

OSStatus AUEventListenerRemoveEventType(AUEventListenerRef listener, void* object,
                                        const AudioUnitEvent* event) {
  return event ? platform::remove(listener, object, *event) : kAudio_ParamError;
}

OSStatus AUParameterSet(AUParameterListenerRef sender, void* sending_object,
                        const AudioUnitParameter* parameter, AudioUnitParameterValue value,
                        UInt32 offset) {
  if (!parameter) return kAudio_ParamError;
  const OSStatus status =
      AudioUnitSetParameter(parameter->mAudioUnit, parameter->mParameterID, parameter->mScope,
                            parameter->mElement, value, offset);
  if (status != noErr) return status;
  platform::announce(sender, sending_object, platform::value_change(*parameter), value);
  return noErr;
}

OSStatus AUParameterListenerNotify(AUParameterListenerRef sender, void* sending_object,
                                   const AudioUnitParameter* parameter) {
  if (!parameter) return kAudio_ParamError;
  platform::announce(sender, sending_object, platform::value_change(*parameter), std::nullopt);
  return noErr;
}

OSStatus AUEventListenerNotify(AUEventListenerRef sender, void* sending_object,
                               const AudioUnitEvent* event) {
  if (!event || platform::is_property(*event)) return kAudio_ParamError;
  platform::announce(sender, sending_object, *event, std::nullopt);
  return noErr;
}
