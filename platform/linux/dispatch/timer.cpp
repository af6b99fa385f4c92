// Timers.

#include <algorithm>
#include <cmath>

#include "platform/linux/dispatch/loop.hpp"

namespace vesk::platform {

const cf::TypeOperations cf::run_loop_timer_operations{"CFRunLoopTimer", destroy<loop::Timer>,
                                                       nullptr, nullptr, nullptr};

namespace loop {

namespace {

/// Takes the timer out of its loop; the caller holds the lock and releases the timer when told.
[[nodiscard]] bool detach(Timer& timer) {
  Loop* loop = std::exchange(timer.loop, nullptr);
  return loop && std::erase(loop->timers, &timer) > 0;
}

Timer* earliest_due(Loop& loop, std::uint64_t time) {
  Timer* earliest = nullptr;
  for (Timer* timer : loop.timers)
    if (timer->due <= time && timer->pass != loop.pass && (!earliest || timer->due < earliest->due))
      earliest = timer;
  return earliest;
}

std::uint64_t to_monotonic(CFAbsoluteTime date) {
  const double ahead = (date - CFAbsoluteTimeGetCurrent()) * 1e9;
  const std::uint64_t time = now();
  if (!(ahead > 0)) {
    const double back = std::isnan(ahead) ? 0 : -ahead;
    return back < static_cast<double>(time) ? time - static_cast<std::uint64_t>(back) : 0;
  }
  return ahead < 1e18 ? time + static_cast<std::uint64_t>(ahead) : Timer::never;
}

std::uint64_t interval_ns(CFTimeInterval seconds) {
  if (!(seconds > 0)) return 0;
  return seconds < 1e9 ? std::max<std::uint64_t>(1, static_cast<std::uint64_t>(seconds * 1e9))
                       : static_cast<std::uint64_t>(1e18);
}

/// Whether a timer may be added to the mode: the default one or the common ones.
bool serves(CFStringRef mode) {
  return mode && (is_default_mode(mode) || CFEqual(mode, kCFRunLoopCommonModes) ||
                  CFEqual(mode, CFSTR("NSRunLoopCommonModes")));
}

}  // namespace

void Timer::release_context() {
  if (!has_context.exchange(false, std::memory_order_acq_rel)) return;
  if (context.release) context.release(context.info);
}

void fire_timers(Loop& loop, std::uint64_t time) {
  std::unique_lock lock(mutex);
  while (Timer* timer = earliest_due(loop, time)) {
    CFRetain(timer);
    timer->pass = loop.pass;
    timer->is_calling = true;
    const std::uint64_t was_due = std::exchange(timer->due, Timer::firing);
    bool was_held = false;
    if (timer->interval == 0) {
      timer->is_valid = false;
      was_held = detach(*timer);
    }
    lock.unlock();
    if (timer->callback) timer->callback(cf::as_ref<CFRunLoopTimerRef>(timer), timer->context.info);
    lock.lock();
    timer->is_calling = false;
    const bool is_over = !timer->is_valid;
    // A callback may have set its own next date. Otherwise what was missed is skipped.
    if (timer->due == Timer::firing) {
      const std::uint64_t after = now();
      timer->due = timer->interval == 0
                       ? Timer::never
                       : was_due + ((after - was_due) / timer->interval + 1) * timer->interval;
    }
    lock.unlock();
    if (is_over) timer->release_context();
    if (was_held) CFRelease(timer);
    CFRelease(timer);
    lock.lock();
  }
}

}  // namespace loop

}  // namespace vesk::platform

using namespace vesk::platform;
using loop::Loop;
using loop::Timer;

CFRunLoopTimerRef CFRunLoopTimerCreate(CFAllocatorRef, CFAbsoluteTime fireDate,
                                       CFTimeInterval interval, CFOptionFlags, CFIndex,
                                       CFRunLoopTimerCallBack callback,
                                       CFRunLoopTimerContext* context) {
  Timer* timer = cf::make<Timer>(0);
  timer->callback = callback;
  timer->interval = loop::interval_ns(interval);
  timer->due = loop::to_monotonic(fireDate);
  if (context) timer->context = *context;
  if (timer->context.retain)
    timer->context.info = const_cast<void*>(timer->context.retain(timer->context.info));
  return cf::as_ref<CFRunLoopTimerRef>(timer);
}

void CFRunLoopTimerSetNextFireDate(CFRunLoopTimerRef ref, CFAbsoluteTime date) {
  Timer* timer = cf::own<Timer>(ref);
  if (!timer) return;
  const std::uint64_t due = loop::to_monotonic(date);
  std::lock_guard lock(loop::mutex);
  if (!timer->is_valid) return;
  timer->due = due;
  if (!timer->loop) return;
  // The pass that has called it looks at the dates again.
  if (!timer->is_calling || !loop::is_own(*timer->loop)) loop::wake_for_timers(*timer->loop);
}

void CFRunLoopTimerInvalidate(CFRunLoopTimerRef ref) {
  Timer* timer = cf::own<Timer>(ref);
  if (!timer) return;
  bool was_held, is_calling;
  {
    std::lock_guard lock(loop::mutex);
    if (!std::exchange(timer->is_valid, false)) return;
    was_held = loop::detach(*timer);
    is_calling = timer->is_calling;
  }
  if (!is_calling) timer->release_context();
  if (was_held) CFRelease(ref);
}

void CFRunLoopAddTimer(CFRunLoopRef loop_ref, CFRunLoopTimerRef ref, CFRunLoopMode mode) {
  Loop* loop = cf::own<Loop>(loop_ref);
  Timer* timer = cf::own<Timer>(ref);
  if (!loop || !timer || !loop::serves(mode)) return;
  std::lock_guard lock(loop::mutex);
  if (!timer->is_valid || timer->loop) return;
  timer->loop = loop;
  CFRetain(timer);
  loop->timers.push_back(timer);
  loop::wake_for_timers(*loop);
}

void CFRunLoopRemoveTimer(CFRunLoopRef loop_ref, CFRunLoopTimerRef ref, CFRunLoopMode mode) {
  Timer* timer = cf::own<Timer>(ref);
  if (!timer || !loop::serves(mode)) return;
  bool was_held = false;
  {
    std::lock_guard lock(loop::mutex);
    if (timer->loop && timer->loop == cf::own<Loop>(loop_ref)) was_held = loop::detach(*timer);
  }
  if (was_held) CFRelease(ref);
}
