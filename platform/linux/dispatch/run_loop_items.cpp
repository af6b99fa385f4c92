// Timers and sources.

#include "platform/linux/dispatch/run_loop_items.hpp"

#include <Block.h>

#include <algorithm>
#include <cmath>

namespace vesk::platform {

const cf::TypeOperations cf::run_loop_timer_operations{"CFRunLoopTimer", destroy<loop::Timer>,
                                                       nullptr, nullptr, nullptr};
const cf::TypeOperations cf::run_loop_source_operations{"CFRunLoopSource", destroy<loop::Source>,
                                                        nullptr, nullptr, nullptr};

namespace loop {

namespace {

/// Takes the timer out of its loop; the caller holds the lock and releases the timer when told.
[[nodiscard]] bool detach(Timer& timer) {
  Loop* loop = std::exchange(timer.loop, nullptr);
  timer.modes = 0;
  return loop && std::erase(loop->timers, &timer) > 0;
}

Timer* earliest_due(Loop& loop, ModeSet mode, std::uint64_t time) {
  Timer* earliest = nullptr;
  for (Timer* timer : loop.timers) {
    if (timer->due <= time && timer->pass != loop.pass && loop.serves(timer->modes, mode) &&
        (!earliest || timer->due < earliest->due)) {
      earliest = timer;
    }
  }
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

CFRunLoopTimerRef make_timer(CFAbsoluteTime date, CFTimeInterval interval,
                             CFRunLoopTimerContext* context) {
  Timer* timer = cf::make<Timer>(0);
  timer->interval = interval_ns(interval);
  timer->due = to_monotonic(date);
  if (context) timer->context = *context;
  if (timer->context.retain)
    timer->context.info = const_cast<void*>(timer->context.retain(timer->context.info));
  return cf::as_ref<CFRunLoopTimerRef>(timer);
}

}  // namespace

void Timer::release_context() {
  if (!has_context.exchange(false, std::memory_order_acq_rel)) return;
  if (handler) Block_release(handler);
  if (context.release) context.release(context.info);
}

Source::~Source() {
  if (context.release) context.release(context.info);
}

void fire_timers(Loop& loop, ModeSet mode, std::uint64_t time) {
  std::unique_lock lock(mutex);
  while (Timer* timer = earliest_due(loop, mode, time)) {
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
    if (timer->handler)
      timer->handler(cf::as_ref<CFRunLoopTimerRef>(timer));
    else if (timer->callback)
      timer->callback(cf::as_ref<CFRunLoopTimerRef>(timer), timer->context.info);
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

bool perform_sources(Loop& loop, ModeSet mode) {
  std::vector<Source*> due;
  {
    std::lock_guard lock(mutex);
    for (const Loop::SourceEntry& entry : loop.sources) {
      if (entry.source->is_valid && loop.serves(entry.modes, mode) &&
          entry.source->is_signalled.exchange(false, std::memory_order_acquire)) {
        CFRetain(entry.source);
        due.push_back(entry.source);
      }
    }
  }
  for (Source* source : due) {
    if (source->context.perform) source->context.perform(source->context.info);
    CFRelease(source);
  }
  return !due.empty();
}

}  // namespace loop

}  // namespace vesk::platform

using namespace vesk::platform;
using loop::Loop;
using loop::ModeSet;
using loop::Source;
using loop::Timer;

CFTypeID CFRunLoopTimerGetTypeID(void) {
  return static_cast<CFTypeID>(cf::Type::run_loop_timer);
}
CFTypeID CFRunLoopSourceGetTypeID(void) {
  return static_cast<CFTypeID>(cf::Type::run_loop_source);
}

CFRunLoopTimerRef CFRunLoopTimerCreate(CFAllocatorRef, CFAbsoluteTime fireDate,
                                       CFTimeInterval interval, CFOptionFlags, CFIndex,
                                       CFRunLoopTimerCallBack callback,
                                       CFRunLoopTimerContext* context) {
  CFRunLoopTimerRef ref = loop::make_timer(fireDate, interval, context);
  cf::own<Timer>(ref)->callback = callback;
  return ref;
}

CFRunLoopTimerRef CFRunLoopTimerCreateWithHandler(CFAllocatorRef, CFAbsoluteTime fireDate,
                                                  CFTimeInterval interval, CFOptionFlags, CFIndex,
                                                  void (^handler)(CFRunLoopTimerRef)) {
  CFRunLoopTimerRef ref = loop::make_timer(fireDate, interval, nullptr);
  if (handler) cf::own<Timer>(ref)->handler = Block_copy(handler);
  return ref;
}

CFAbsoluteTime CFRunLoopTimerGetNextFireDate(CFRunLoopTimerRef ref) {
  Timer* timer = cf::own<Timer>(ref);
  if (!timer) return 0;
  std::lock_guard lock(loop::mutex);
  if (!timer->is_valid) return 0;
  return CFAbsoluteTimeGetCurrent() +
         (static_cast<double>(timer->due) - static_cast<double>(loop::now())) / 1e9;
}

void CFRunLoopTimerSetNextFireDate(CFRunLoopTimerRef ref, CFAbsoluteTime date) {
  Timer* timer = cf::own<Timer>(ref);
  if (!timer) return;
  const std::uint64_t due = loop::to_monotonic(date);
  std::lock_guard lock(loop::mutex);
  if (!timer->is_valid) return;
  timer->due = due;
  if (timer->loop) loop::wake_for_timers(*timer->loop);
}

CFTimeInterval CFRunLoopTimerGetInterval(CFRunLoopTimerRef ref) {
  const Timer* timer = cf::own<Timer>(ref);
  return timer ? static_cast<double>(timer->interval) / 1e9 : 0;
}

Boolean CFRunLoopTimerDoesRepeat(CFRunLoopTimerRef ref) {
  const Timer* timer = cf::own<Timer>(ref);
  return timer && timer->interval > 0;
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

Boolean CFRunLoopTimerIsValid(CFRunLoopTimerRef ref) {
  const Timer* timer = cf::own<Timer>(ref);
  std::lock_guard lock(loop::mutex);
  return timer && timer->is_valid;
}

void CFRunLoopTimerSetTolerance(CFRunLoopTimerRef ref, CFTimeInterval tolerance) {
  if (Timer* timer = cf::own<Timer>(ref)) timer->tolerance = tolerance;
}

CFTimeInterval CFRunLoopTimerGetTolerance(CFRunLoopTimerRef ref) {
  const Timer* timer = cf::own<Timer>(ref);
  return timer ? timer->tolerance : 0;
}

void CFRunLoopAddTimer(CFRunLoopRef loop_ref, CFRunLoopTimerRef ref, CFRunLoopMode mode) {
  Loop* loop = cf::own<Loop>(loop_ref);
  Timer* timer = cf::own<Timer>(ref);
  const ModeSet set = loop::mode_set(mode);
  if (!loop || !timer || set == 0) return;
  std::lock_guard lock(loop::mutex);
  // A timer runs in one loop, there in as many modes as it is told.
  if (!timer->is_valid || (timer->loop && timer->loop != loop)) return;
  if (!timer->loop) {
    timer->loop = loop;
    CFRetain(timer);
    loop->timers.push_back(timer);
  }
  timer->modes |= set;
  loop::wake_for_timers(*loop);
}

void CFRunLoopRemoveTimer(CFRunLoopRef loop_ref, CFRunLoopTimerRef ref, CFRunLoopMode mode) {
  Timer* timer = cf::own<Timer>(ref);
  const ModeSet set = loop::mode_set(mode);
  if (!timer) return;
  bool was_held = false;
  {
    std::lock_guard lock(loop::mutex);
    if (!timer->loop || timer->loop != cf::own<Loop>(loop_ref)) return;
    timer->modes &= ~set;
    if (timer->modes == 0) was_held = loop::detach(*timer);
  }
  if (was_held) CFRelease(ref);
}

Boolean CFRunLoopContainsTimer(CFRunLoopRef loop_ref, CFRunLoopTimerRef ref, CFRunLoopMode mode) {
  const Timer* timer = cf::own<Timer>(ref);
  const ModeSet set = loop::mode_set(mode);
  std::lock_guard lock(loop::mutex);
  return timer && timer->loop && timer->loop == cf::own<Loop>(loop_ref) &&
         (timer->modes & set) != 0;
}

CFRunLoopSourceRef CFRunLoopSourceCreate(CFAllocatorRef, CFIndex, CFRunLoopSourceContext* context) {
  if (!context || context->version != 0) return nullptr;
  Source* source = cf::make<Source>(0);
  source->context = *context;
  if (context->retain) source->context.info = const_cast<void*>(context->retain(context->info));
  return cf::as_ref<CFRunLoopSourceRef>(source);
}

void CFRunLoopSourceSignal(CFRunLoopSourceRef ref) {
  // Release: what the signaller prepared is visible to `perform`.
  if (Source* source = cf::own<Source>(ref))
    source->is_signalled.store(true, std::memory_order_release);
}

void CFRunLoopSourceInvalidate(CFRunLoopSourceRef ref) {
  Source* source = cf::own<Source>(ref);
  if (!source) return;
  std::vector<Loop*> loops;
  {
    std::lock_guard lock(loop::mutex);
    source->is_valid = false;
    loops.swap(source->loops);
    for (Loop* loop : loops) {
      std::erase_if(loop->sources,
                    [source](const Loop::SourceEntry& entry) { return entry.source == source; });
    }
  }
  for (Loop* loop : loops) {
    if (source->context.cancel) {
      source->context.cancel(source->context.info, cf::as_ref<CFRunLoopRef>(loop),
                             kCFRunLoopDefaultMode);
    }
    CFRelease(ref);
  }
}

Boolean CFRunLoopSourceIsValid(CFRunLoopSourceRef ref) {
  const Source* source = cf::own<Source>(ref);
  std::lock_guard lock(loop::mutex);
  return source && source->is_valid;
}

void CFRunLoopAddSource(CFRunLoopRef loop_ref, CFRunLoopSourceRef ref, CFRunLoopMode mode) {
  Loop* loop = cf::own<Loop>(loop_ref);
  Source* source = cf::own<Source>(ref);
  const ModeSet set = loop::mode_set(mode);
  if (!loop || !source || set == 0) return;
  {
    std::lock_guard lock(loop::mutex);
    if (!source->is_valid) return;
    const auto known =
        std::find_if(loop->sources.begin(), loop->sources.end(),
                     [source](const Loop::SourceEntry& entry) { return entry.source == source; });
    if (known != loop->sources.end()) {
      if ((known->modes & set) != 0) return;
      known->modes |= set;
    } else {
      CFRetain(source);
      loop->sources.push_back({source, set});
      source->loops.push_back(loop);
    }
  }
  if (source->context.schedule) source->context.schedule(source->context.info, loop_ref, mode);
}

void CFRunLoopRemoveSource(CFRunLoopRef loop_ref, CFRunLoopSourceRef ref, CFRunLoopMode mode) {
  Loop* loop = cf::own<Loop>(loop_ref);
  Source* source = cf::own<Source>(ref);
  const ModeSet set = loop::mode_set(mode);
  if (!loop || !source) return;
  bool was_held = false;
  {
    std::lock_guard lock(loop::mutex);
    const auto known =
        std::find_if(loop->sources.begin(), loop->sources.end(),
                     [source](const Loop::SourceEntry& entry) { return entry.source == source; });
    if (known == loop->sources.end() || (known->modes & set) == 0) return;
    known->modes &= ~set;
    if (known->modes == 0) {
      loop->sources.erase(known);
      std::erase(source->loops, loop);
      was_held = true;
    }
  }
  if (source->context.cancel) source->context.cancel(source->context.info, loop_ref, mode);
  if (was_held) CFRelease(ref);
}

Boolean CFRunLoopContainsSource(CFRunLoopRef loop_ref, CFRunLoopSourceRef ref, CFRunLoopMode mode) {
  const Loop* loop = cf::own<Loop>(loop_ref);
  const ModeSet set = loop::mode_set(mode);
  std::lock_guard lock(loop::mutex);
  return loop && std::any_of(loop->sources.begin(), loop->sources.end(),
                             [&](const Loop::SourceEntry& entry) {
                               return entry.source == cf::own<Source>(ref) &&
                                      (entry.modes & set) != 0;
                             });
}
