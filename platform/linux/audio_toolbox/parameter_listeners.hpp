#pragma once

#include <AudioToolbox/AudioUnitUtilities.h>

#include <memory>
#include <mutex>
#include <variant>
#include <vector>

namespace vesk::platform {

/// Something a listener wants to hear of, on behalf of one of its objects.
struct ListenerRegistration {
  void* object;
  AudioUnitEvent event;
};

/// Something a listener will be told.
struct ListenerNotice {
  void* object;
  AudioUnitEvent event;
  UInt64 host_time;
  AudioUnitParameterValue value;
};

/// Who is called: a function with its user data, or a block (a copy).
struct ParameterFunction {
  AUParameterListenerProc function;
  void* user_data;
};
struct EventFunction {
  AUEventListenerProc function;
  void* user_data;
};
using ListenerCallee = std::variant<ParameterFunction, EventFunction, AUEventListenerBlock>;

}  // namespace vesk::platform

/// One listener. Registrations and pending notices are guarded by the listeners' common lock,
/// which is never held during a call of anybody else's code; `calling` is held during a call of
/// the callee, and is recursive so that a callee may set parameters or dispose its own listener.
struct AUListenerBase {
  ~AUListenerBase();

  vesk::platform::ListenerCallee callee;
  Float32 interval_seconds = 0;
  Float32 granularity_seconds = 0;  // events only

  // Where it is called when the interval is not 0: a timer on a run loop, or a queue.
  CFRunLoopRef run_loop = nullptr;
  CFRunLoopTimerRef timer = nullptr;
  dispatch_queue_t queue = nullptr;

  std::vector<vesk::platform::ListenerRegistration> registrations;
  std::vector<vesk::platform::ListenerNotice> pending;
  bool is_scheduled = false;
  CFAbsoluteTime last_delivery = 0;

  std::recursive_mutex calling;
  bool is_disposed = false;  // guarded by `calling`
};

namespace vesk::platform {

using Listener = std::shared_ptr<AUListenerBase>;

/// All listeners of the process and the lock that guards what they hold.
struct Listeners {
  std::mutex mutex;
  std::vector<Listener> all;

  /// The caller holds the lock. Finds by address, so that a stale handle is an error and no crash.
  Listener find(AUListenerBase* handle) const;
};

/// Never destroyed: units may be closed by destructors of statics.
Listeners& listeners();

/// A call to make once the lock is given back.
struct ListenerCall {
  Listener listener;
  ListenerNotice notice;
};

bool is_property(const AudioUnitEvent& event);
bool is_same(const AudioUnitParameter& a, const AudioUnitParameter& b);
bool is_same(const AudioUnitEvent& a, const AudioUnitEvent& b);
AudioUnit unit_of(const AudioUnitEvent& event);

/// Keeps a notice until the listener's interval is over, or, for a listener without an interval,
/// adds it to the calls to make `now`. The caller holds the lock.
void hand_over(const Listener& listener, const ListenerNotice& notice,
               std::vector<ListenerCall>& now);

/// Calls the listener unless it has been disposed. The caller does not hold the lock.
void call(AUListenerBase& listener, const ListenerNotice& notice);

/// Calls the listener with all that waits for it; the body of its timer. Any handle.
void deliver_pending(AUListenerBase* handle);

/// Ends every registration of a unit that is about to be closed: listeners may outlive it.
void forget_unit(AudioUnit unit);

}  // namespace vesk::platform
