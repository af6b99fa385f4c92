#import "platform/linux/app_kit/application.hpp"

#import <AppKit/AppKit.h>
#include <CoreFoundation/CoreFoundation.h>
#import <GNUstepGUI/GSDisplayServer.h>

#include <algorithm>
#include <cmath>
#include <limits>

#import "platform/linux/app_kit/class_additions.hpp"
#include "platform/linux/app_kit/display.hpp"
#import "platform/linux/app_kit/editors.hpp"
#import "platform/linux/app_kit/icon.hpp"
#import "platform/linux/app_kit/log_filter.hpp"
#import "platform/linux/app_kit/main_loop_watch.hpp"
#include "platform/linux/app_kit/thrown.hpp"

extern char** environ;

namespace {

constexpr NSTimeInterval longest_wait_seconds = 1;

}  // namespace

/// A moment to wait for, in whole milliseconds from whenever it is asked: the run loop waits in
/// those, rounded down, and would spin through the last one.
@interface VeskDeadline : NSDate {
  NSTimeInterval _moment;
}
@end

@implementation VeskDeadline

// What every other way to make a date ends in, `init` included, which must not be called from here.
- (id)initWithTimeIntervalSinceReferenceDate:(NSTimeInterval)seconds {
  _moment = seconds;
  return self;
}

- (id)copyWithZone:(NSZone*)zone {
  return [self retain];
}

- (NSTimeInterval)timeIntervalSinceReferenceDate {
  return _moment;
}

- (NSTimeInterval)timeIntervalSinceNow {
  const NSTimeInterval left = _moment - [NSDate timeIntervalSinceReferenceDate];
  if (left <= 0) return left;
  // Half a microsecond over, so that the product with 1000 is not a hair below the whole number.
  return std::ceil(left * 1000) / 1000 + 0.5e-6;
}

@end

@interface VeskApplication : NSApplication
- (void)vesk_waitWithoutDisplayUntil:(NSTimeInterval)moment;
@end

@implementation VeskApplication

- (NSImage*)applicationIconImage {
  static NSImage* icon = vesk::platform::make_icon();
  return icon;
}

- (NSEvent*)nextEventMatchingMask:(NSUInteger)mask
                        untilDate:(NSDate*)date
                           inMode:(NSString*)mode
                          dequeue:(BOOL)dequeue {
  // The back-end's mask of all events is the narrower one and takes a shorter way.
  if (mask == NSEventMaskAny) mask = NSAnyEventMask;
  const NSTimeInterval moment =
      date ? [date timeIntervalSinceReferenceDate] : -std::numeric_limits<NSTimeInterval>::max();
  while (!vesk::platform::display_is_lost()) {
    // In pieces, so that a loop of the toolkit's own that waits for ever notices a lost display.
    const NSTimeInterval piece =
        std::min(moment, [NSDate timeIntervalSinceReferenceDate] + longest_wait_seconds);
    VeskDeadline* deadline =
        [[[VeskDeadline alloc] initWithTimeIntervalSinceReferenceDate:piece] autorelease];
    NSEvent* event = [super nextEventMatchingMask:mask
                                        untilDate:deadline
                                           inMode:mode
                                          dequeue:dequeue];
    if (event) vesk::platform::note_event();
    if (event || moment <= [NSDate timeIntervalSinceReferenceDate]) return event;
  }
  [self vesk_waitWithoutDisplayUntil:moment];
  return nil;
}

/// The dead connection's descriptor is readable for ever, so the toolkit is not let wait on it.
- (void)vesk_waitWithoutDisplayUntil:(NSTimeInterval)moment {
  vesk::platform::close_every_editor();
  const NSTimeInterval left = moment - [NSDate timeIntervalSinceReferenceDate];
  CFRunLoopRunInMode(kCFRunLoopDefaultMode, std::clamp(left, 0.0, longest_wait_seconds), false);
}

- (void)postEvent:(NSEvent*)event atStart:(BOOL)flag {
  vesk::platform::note_event();
  [super postEvent:event atStart:flag];
}

- (void)sendEvent:(NSEvent*)event {
  vesk::platform::EditorTurn turn([event window]);
  [super sendEvent:event];
  turn.end();
}

@end

namespace vesk::platform {
namespace {

void open_application(const DisplayProbe& probe) {
  // AppKit takes plain arguments for files to open and waits for ever when it cannot.
  NSString* program = [[[NSProcessInfo processInfo] arguments] objectAtIndex:0];
  char* arguments[] = {const_cast<char*>([program fileSystemRepresentation]), nullptr};
  [NSProcessInfo initializeWithArguments:arguments count:1 environment:environ];

  // Title bars, and windows while they are minimised, are AppKit's own to show where there is no
  // window manager, and that one's where there is. Asking one that is not there takes its time.
  NSNumber* is_managed = [NSNumber numberWithBool:probe.has_window_manager];
  NSNumber* is_alone = [NSNumber numberWithBool:!probe.has_window_manager];
  [[NSUserDefaults standardUserDefaults] registerDefaults:@{
    @"GSX11HandlesWindowDecorations" : is_managed,
    @"GSAppOwnsMiniwindow" : is_alone,
    @"GSSuppressAppIcon" : [NSNumber numberWithBool:YES]
  }];
  [VeskApplication sharedApplication];
  watch_displays();
  outlive_display([GSCurrentServer() serverDevice]);
  serve_main_loop_in_ns_run_loop();
}

}  // namespace

bool prepare_application() {
  // Of the toolkit's application there is one, and it opens its display once.
  static enum { unopened, opened, broken } state = unopened;
  if (state != unopened) return state == opened && !display_is_lost();
  watch_displays();
  DisplayProbe probe;
  if (thrown_by([&] { probe = probe_display(); }) || !probe.is_reachable) return false;
  state = broken;
  // The server may go away meanwhile: it throws then, and the toolkit raises.
  static_cast<void>(thrown_by([&] {
    @autoreleasepool {
      @try {
        drop_toolkit_messages();
        install_window_additions();
        keep_to_this_process();
        open_application(probe);
        state = opened;
      } @catch (NSException*) {
      }
    }
  }));
  return state == opened;
}

}  // namespace vesk::platform
