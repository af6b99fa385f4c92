#import "platform/linux/app_kit/main_loop_watch.hpp"

#import <AppKit/AppKit.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <initializer_list>

#include "platform/linux/app_kit/display.hpp"
#include "platform/linux/dispatch/run_loop.hpp"
#include "platform/linux/records/parent_record.hpp"

namespace {

/// Whether there was an event, or a watcher has served anything, since these were last cleared.
bool has_events = false;
bool has_served = false;

/// Readable when the main loop's next timer is due: NSRunLoop's own timers count in milliseconds
/// and keep it awake through the last one.
int deadline_descriptor = -1;

void arm_deadline() {
  const std::uint64_t due = vesk::platform::next_deadline();
  itimerspec setting{};
  if (due != UINT64_MAX) {
    setting.it_value.tv_sec = static_cast<time_t>(due / NSEC_PER_SEC);
    setting.it_value.tv_nsec = static_cast<long>(due % NSEC_PER_SEC);
    // All zero would disarm it.
    if (due == 0) setting.it_value.tv_nsec = 1;
  }
  timerfd_settime(deadline_descriptor, TFD_TIMER_ABSTIME, &setting, nullptr);
}

}  // namespace

@interface VeskMainLoopWatcher : NSObject <RunLoopEvents>
@end

@implementation VeskMainLoopWatcher

- (void)receivedEvent:(void*)data
                 type:(RunLoopEventType)type
                extra:(void*)extra
              forMode:(NSString*)mode {
  // Arming also makes a descriptor that was readable no longer so. Before the service, since what
  // that runs may throw; and after it, for the timers that it changed.
  arm_deadline();
  has_served = true;
  vesk::platform::hear_bell();
  vesk::platform::service_once();
  arm_deadline();
}

@end

namespace vesk::platform {

namespace {

/// Whether the toolkit has an event in its queue, or has just served something that the parent is
/// to know. The look costs two passes of its run loop.
bool has_something() {
  has_served = false;
  has_events = false;
  return [NSApp nextEventMatchingMask:NSEventMaskAny
                            untilDate:[NSDate distantPast]
                               inMode:NSDefaultRunLoopMode
                              dequeue:NO] != nil ||
         has_served;
}

}  // namespace

void sleep_until_event(std::uint64_t limit_ns) {
  // Nothing of ours is watched before the application is there.
  if (deadline_descriptor < 0 || display_is_lost()) return sleep_without_windows(limit_ns);
  @autoreleasepool {
    if (has_unread_events() || (has_events && has_something())) return;
    const NSTimeInterval seconds = static_cast<double>(limit_ns) / NSEC_PER_SEC;
    [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode
                             beforeDate:[NSDate dateWithTimeIntervalSinceNow:seconds]];
  }
}

void note_event() { has_events = true; }

void serve_main_loop_in_ns_run_loop() {
  deadline_descriptor = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
  arm_deadline();
  NSString* modes[] = {NSDefaultRunLoopMode, NSEventTrackingRunLoopMode, NSModalPanelRunLoopMode};
  VeskMainLoopWatcher* watcher = [[VeskMainLoopWatcher alloc] init];
  for (const intptr_t descriptor : {main_loop_descriptor(), deadline_descriptor, parent_bell()}) {
    if (descriptor < 0) continue;
    for (NSString* mode : modes) {
      [[NSRunLoop currentRunLoop] addEvent:reinterpret_cast<void*>(descriptor)
                                      type:ET_RDESC
                                   watcher:watcher
                                   forMode:mode];
    }
  }
  // The watcher lives as long as the loop. NOLINTNEXTLINE(clang-analyzer-osx.cocoa.RetainCount)
}

}  // namespace vesk::platform
