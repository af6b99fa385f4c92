#include <mach/mach_time.h>

#include <algorithm>
#include <utility>

#include "platform/linux/audio_toolbox/parameter_listeners.hpp"

namespace vesk::platform {

Listeners& listeners() {
  static auto* const instance = new Listeners;
  return *instance;
}

Listener Listeners::find(AUListenerBase* handle) const {
  const auto here = std::find_if(all.begin(), all.end(),
                                 [&](const Listener& each) { return each.get() == handle; });
  return here == all.end() ? nullptr : *here;
}

bool is_property(const AudioUnitEvent& event) {
  return event.mEventType == kAudioUnitEvent_PropertyChange;
}

bool is_same(const AudioUnitParameter& a, const AudioUnitParameter& b) {
  return a.mAudioUnit == b.mAudioUnit && a.mParameterID == b.mParameterID && a.mScope == b.mScope &&
         a.mElement == b.mElement;
}

bool is_same(const AudioUnitEvent& a, const AudioUnitEvent& b) {
  if (a.mEventType != b.mEventType) return false;
  if (!is_property(a)) return is_same(a.mArgument.mParameter, b.mArgument.mParameter);
  const AudioUnitProperty& p = a.mArgument.mProperty;
  const AudioUnitProperty& q = b.mArgument.mProperty;
  return p.mAudioUnit == q.mAudioUnit && p.mPropertyID == q.mPropertyID && p.mScope == q.mScope &&
         p.mElement == q.mElement;
}

AudioUnit unit_of(const AudioUnitEvent& event) {
  return is_property(event) ? event.mArgument.mProperty.mAudioUnit
                            : event.mArgument.mParameter.mAudioUnit;
}

void call(AUListenerBase& listener, const ListenerNotice& notice) {
  const AudioUnitEvent& event = notice.event;
  const AudioUnitParameter& parameter = event.mArgument.mParameter;
  struct Caller {
    const ListenerNotice& notice;
    const AudioUnitParameter& parameter;
    void operator()(const ParameterFunction& to) const {
      to.function(to.user_data, notice.object, &parameter, notice.value);
    }
    void operator()(const EventFunction& to) const {
      to.function(to.user_data, notice.object, &notice.event, notice.host_time, notice.value);
    }
    void operator()(AUEventListenerBlock block) const {
      block(notice.object, &notice.event, notice.host_time, notice.value);
    }
  };
  const std::lock_guard lock(listener.calling);
  if (!listener.is_disposed) std::visit(Caller{notice, parameter}, listener.callee);
}

void deliver_pending(AUListenerBase* handle) {
  Listener listener;
  std::vector<ListenerNotice> notices;
  {
    const std::lock_guard lock(listeners().mutex);
    listener = listeners().find(handle);
    if (!listener) return;
    notices = std::exchange(listener->pending, {});
    listener->is_scheduled = false;
    listener->last_delivery = CFAbsoluteTimeGetCurrent();
  }
  for (const ListenerNotice& notice : notices) call(*listener, notice);
}

namespace {

/// The caller holds the listeners' lock. At once, or when the interval since the last call is over.
void schedule(AUListenerBase& listener) {
  if (listener.is_scheduled) return;
  listener.is_scheduled = true;
  const CFAbsoluteTime now = CFAbsoluteTimeGetCurrent();
  const CFTimeInterval wait = std::clamp<CFTimeInterval>(
      listener.last_delivery + listener.interval_seconds - now, 0, listener.interval_seconds);
  if (listener.queue) {
    AUListenerBase* const handle = &listener;
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, static_cast<int64_t>(wait * 1e9)),
                   listener.queue, ^{
                     deliver_pending(handle);
                   });
    return;
  }
  CFRunLoopTimerSetNextFireDate(listener.timer, now + wait);
  CFRunLoopWakeUp(listener.run_loop);
}

/// The caller holds the listeners' lock. Puts a notice behind those that wait, or in the place of
/// an older one that it makes stale.
void keep_for_later(AUListenerBase& listener, const ListenerNotice& notice) {
  const bool hears_events = !std::holds_alternative<ParameterFunction>(listener.callee);
  for (auto older = listener.pending.rbegin(); older != listener.pending.rend(); ++older) {
    if (older->object != notice.object || unit_of(older->event) != unit_of(notice.event)) continue;
    const bool gesture_between =
        !is_property(older->event) &&
        older->event.mEventType != kAudioUnitEvent_ParameterValueChange &&
        notice.event.mEventType == kAudioUnitEvent_ParameterValueChange &&
        is_same(older->event.mArgument.mParameter, notice.event.mArgument.mParameter);
    if (gesture_between) break;
    if (!is_same(older->event, notice.event)) continue;
    mach_timebase_info_data_t base;
    mach_timebase_info(&base);
    const double apart =
        1e-9 * static_cast<double>(notice.host_time - older->host_time) * base.numer / base.denom;
    const bool collapses = !hears_events || is_property(notice.event) ||
                           (notice.event.mEventType == kAudioUnitEvent_ParameterValueChange &&
                            apart < static_cast<double>(listener.granularity_seconds));
    if (collapses) {
      older->value = notice.value;
      return;
    }
    break;
  }
  listener.pending.push_back(notice);
}

}  // namespace

void hand_over(const Listener& listener, const ListenerNotice& notice,
               std::vector<ListenerCall>& now) {
  if (listener->interval_seconds <= 0 && !listener->queue) {
    now.push_back({listener, notice});
    return;
  }
  keep_for_later(*listener, notice);
  schedule(*listener);
}

}  // namespace vesk::platform
