// The views of the editors unit: small, and some of them faulty.

#import <AppKit/AppKit.h>
#import <AudioToolbox/AUCocoaUIView.h>
#include <AudioToolbox/AudioToolbox.h>
#import <CoreAudioKit/AUViewController.h>
#include <dispatch/dispatch.h>

#include <Block.h>
#include <X11/Xlib.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>

extern "C" {
#include "variants.h"
}

namespace {

constexpr NSRect view_frame = {{0, 0}, {300, 120}};

}  // namespace

/// A bar as long as the level; a click sets it.
@interface VeskTestView : NSView {
  AudioUnit _unit;
}
- (id)initWithUnit:(AudioUnit)unit;
- (void)clickedAt:(NSPoint)point;
@end

@implementation VeskTestView

- (id)initWithUnit:(AudioUnit)unit {
  self = [super initWithFrame:view_frame];
  _unit = unit;
  return self;
}

- (void)drawRect:(NSRect)dirty {
  [[NSColor darkGrayColor] setFill];
  NSRectFill(dirty);
  AudioUnitParameterValue level = 0;
  AudioUnitGetParameter(_unit, kLevel, kAudioUnitScope_Global, 0, &level);
  [[NSColor orangeColor] setFill];
  const NSRect bounds = [self bounds];
  NSRectFill(NSMakeRect(0, 0, level * bounds.size.width, bounds.size.height));
}

- (void)clickedAt:(NSPoint)point {
  const AudioUnitParameter level = {_unit, kLevel, kAudioUnitScope_Global, 0};
  AUParameterSet(nullptr, nullptr, &level, static_cast<float>(point.x / [self bounds].size.width),
                 0);
  [self setNeedsDisplay:YES];
}

- (void)mouseDown:(NSEvent*)event {
  [self clickedAt:[self convertPoint:[event locationInWindow] fromView:nil]];
}

@end

@interface VeskTestFactory : NSObject <AUCocoaUIBase>
- (NSView*)viewForUnit:(AudioUnit)unit;
@end

@implementation VeskTestFactory

- (unsigned)interfaceVersion {
  return 0;
}

- (NSView*)viewForUnit:(AudioUnit)unit {
  return [[VeskTestView alloc] initWithUnit:unit];
}

- (NSView*)uiViewForAudioUnit:(AudioUnit)unit withSize:(NSSize)size {
  // Checks what every factory is promised.
  if (size.width != 800 || size.height != 600) return nil;
  return [[self viewForUnit:unit] autorelease];
}

@end

@interface VeskTestNoFactory : NSObject
@end

@implementation VeskTestNoFactory
@end

@interface VeskTestThrowingFactory : VeskTestFactory
@end

@implementation VeskTestThrowingFactory

- (NSView*)viewForUnit:(AudioUnit)unit {
  throw std::runtime_error("no view today");
}

@end

@interface VeskTestRaisingFactory : VeskTestFactory
@end

@implementation VeskTestRaisingFactory

- (NSView*)viewForUnit:(AudioUnit)unit {
  [NSException raise:NSGenericException format:@"no view raised"];
  return nil;
}

@end

@interface VeskTestThrowingView : VeskTestView
@end

@implementation VeskTestThrowingView

- (void)clickedAt:(NSPoint)point {
  throw std::runtime_error("clicked in vain");
}

@end

@interface VeskTestCrashingView : VeskTestView
@end

@implementation VeskTestCrashingView

- (void)clickedAt:(NSPoint)point {
  raise(SIGSEGV);
}

@end

@interface VeskTestCrashingViewFactory : VeskTestFactory
@end

@implementation VeskTestCrashingViewFactory

- (NSView*)viewForUnit:(AudioUnit)unit {
  return [[VeskTestCrashingView alloc] initWithUnit:unit];
}

@end

/// With a connection of its own, which breaks at the first click.
@interface VeskTestDisplayView : VeskTestView {
  Display* _display;
}
@end

@implementation VeskTestDisplayView

- (id)initWithUnit:(AudioUnit)unit {
  self = [super initWithUnit:unit];
  _display = XOpenDisplay(nullptr);
  return self;
}

- (void)dealloc {
  XSync(_display, False);
  XCloseDisplay(_display);
  [super dealloc];
}

- (void)breakDisplay {
  shutdown(ConnectionNumber(_display), SHUT_RDWR);
  XSync(_display, False);
}

- (void)clickedAt:(NSPoint)point {
  [super clickedAt:point];
  [self breakDisplay];
}

@end

@interface VeskTestDisplayViewFactory : VeskTestFactory
@end

@implementation VeskTestDisplayViewFactory

- (NSView*)viewForUnit:(AudioUnit)unit {
  return [[VeskTestDisplayView alloc] initWithUnit:unit];
}

@end

@interface VeskTestDisplayThreadView : VeskTestDisplayView
@end

@implementation VeskTestDisplayThreadView

- (void)breakDisplay {
  std::thread([display = _display] {
    shutdown(ConnectionNumber(display), SHUT_RDWR);
    XSync(display, False);
  }).detach();
}

@end

@interface VeskTestDisplayThreadViewFactory : VeskTestFactory
@end

@implementation VeskTestDisplayThreadViewFactory

- (NSView*)viewForUnit:(AudioUnit)unit {
  return [[VeskTestDisplayThreadView alloc] initWithUnit:unit];
}

@end

@interface VeskTestThrowingViewFactory : VeskTestFactory
@end

@implementation VeskTestThrowingViewFactory

- (NSView*)viewForUnit:(AudioUnit)unit {
  return [[VeskTestThrowingView alloc] initWithUnit:unit];
}

@end

/// Draws well until it is clicked.
@interface VeskTestRaisingView : VeskTestView {
  BOOL _clicked;
}
@end

@implementation VeskTestRaisingView

- (void)clickedAt:(NSPoint)point {
  _clicked = YES;
  [self setNeedsDisplay:YES];
}

- (void)drawRect:(NSRect)dirty {
  if (_clicked) [NSException raise:NSGenericException format:@"drawn in vain"];
  [super drawRect:dirty];
}

@end

@interface VeskTestRaisingViewFactory : VeskTestFactory
@end

@implementation VeskTestRaisingViewFactory

- (NSView*)viewForUnit:(AudioUnit)unit {
  return [[VeskTestRaisingView alloc] initWithUnit:unit];
}

@end

@interface VeskTestTaskView : VeskTestView
@end

@implementation VeskTestTaskView

- (void)clickedAt:(NSPoint)point {
  dispatch_async(dispatch_get_main_queue(), ^{
    throw std::runtime_error("task in vain");
  });
}

@end

@interface VeskTestTaskFactory : VeskTestFactory
@end

@implementation VeskTestTaskFactory

- (NSView*)viewForUnit:(AudioUnit)unit {
  return [[VeskTestTaskView alloc] initWithUnit:unit];
}

@end

@interface VeskTestLoggingFactory : VeskTestFactory
@end

@implementation VeskTestLoggingFactory

- (NSView*)viewForUnit:(AudioUnit)unit {
  NSLog(@"a plugin's own message");
  return [super viewForUnit:unit];
}

@end

namespace {

typedef void (^Completion)(void* controller);

NSViewController* controller_with(AudioUnit unit, NSSize view_size, NSSize preferred_size) {
  NSViewController* controller = [[[AUViewController alloc] init] autorelease];
  NSView* view = [[[VeskTestView alloc] initWithUnit:unit] autorelease];
  [view setFrameSize:view_size];
  [controller setView:view];
  [controller setPreferredContentSize:preferred_size];
  return controller;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void vesk_test_deliver_controller(
    EditorVariant variant, AudioUnit unit, Completion given) {
  Completion completion = Block_copy(given);
  switch (variant) {
    case kControllerNever:
      Block_release(completion);
      break;
    case kControllerNull:
      completion(nullptr);
      Block_release(completion);
      break;
    case kControllerFromThread: {
      NSViewController* controller = [controller_with(unit, NSZeroSize, NSMakeSize(500, 0)) retain];
      std::thread([completion, controller] {
        usleep(100000);
        completion(controller);
        Block_release(completion);
      }).detach();
      break;
    }
    default: {
      const NSSize view_size =
          variant == kControllerPreferredSize ? NSZeroSize : NSMakeSize(240, 90);
      NSViewController* controller =
          [controller_with(unit, view_size, NSMakeSize(320, 200)) retain];
      dispatch_async(dispatch_get_main_queue(), ^{
        completion(controller);
        [controller release];
        Block_release(completion);
      });
    }
  }
}
