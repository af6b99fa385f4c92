#import "platform/linux/app_kit/main_loop_watch.hpp"

#import <AppKit/AppKit.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <initializer_list>

#include "platform/linux/dispatch/run_loop.hpp"

namespace {

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
  vesk::platform::service_once();
  arm_deadline();
}

@end

namespace vesk::platform {

void serve_main_loop_in_ns_run_loop() {
  deadline_descriptor = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
  arm_deadline();
  NSString* modes[] = {NSDefaultRunLoopMode, NSEventTrackingRunLoopMode, NSModalPanelRunLoopMode};
  VeskMainLoopWatcher* watcher = [[VeskMainLoopWatcher alloc] init];
  for (const intptr_t descriptor : {main_loop_descriptor(), deadline_descriptor}) {
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
