// The views of the editors unit: small, and some of them faulty.

#import <AppKit/AppKit.h>
#import <AudioToolbox/AUCocoaUIView.h>
#include <AudioToolbox/AudioToolbox.h>
#include <Block.h>
#import <CoreAudioKit/AUViewController.h>
#include <X11/Xlib.h>
#include <dispatch/dispatch.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

extern "C" {
#include "variants.h"
}

namespace {

constexpr NSRect view_frame = {{0, 0}, {300, 120}};

/// Views and controllers that nobody has released for good.
std::atomic<int> live_objects{0};

EditorVariant variant_of(AudioUnit unit) {
  AudioUnitParameterValue value = 0;
  AudioUnitGetParameter(unit, kEditor, kAudioUnitScope_Global, 0, &value);
  return static_cast<EditorVariant>(value);
}

[[noreturn]] void raise_exception(NSString* reason) {
  [NSException raise:NSGenericException format:@"%@", reason];
  abort();
}

}  // namespace

/// A bar as long as the level; a click sets it. A click, or its window's end, brings out what the
/// unit asks for.
@interface VeskTestView : NSView {
  AudioUnit _unit;
  EditorVariant _variant;  // read once: a view may outlive its unit
  BOOL _clicked;
  Display* _display;  // a connection of its own, in a view that breaks it
}
- (id)initWithUnit:(AudioUnit)unit;
@end

@implementation VeskTestView

- (id)initWithUnit:(AudioUnit)unit {
  self = [super initWithFrame:view_frame];
  _unit = unit;
  _variant = variant_of(unit);
  if (_variant == kBreaksItsDisplay || _variant == kBreaksItsDisplayOnThread)
    _display = XOpenDisplay(nullptr);
  ++live_objects;
  return self;
}

- (void)dealloc {
  [[NSNotificationCenter defaultCenter] removeObserver:self];
  if (_display) {
    XSync(_display, False);
    XCloseDisplay(_display);
  }
  --live_objects;
  [super dealloc];
}

- (void)drawRect:(NSRect)dirty {
  if (_clicked && _variant == kThrowsInDrawing) throw std::runtime_error("drawn in vain");
  if (_clicked && _variant == kRaisesInDrawing) raise_exception(@"drawn in vain");
  [[NSColor darkGrayColor] setFill];
  NSRectFill(dirty);
  AudioUnitParameterValue level = 0;
  AudioUnitGetParameter(_unit, kLevel, kAudioUnitScope_Global, 0, &level);
  [[NSColor orangeColor] setFill];
  const NSRect bounds = [self bounds];
  NSRectFill(NSMakeRect(0, 0, level * bounds.size.width, bounds.size.height));
}

- (void)setLevel:(float)value {
  const AudioUnitParameter level = {_unit, kLevel, kAudioUnitScope_Global, 0};
  AUParameterSet(nullptr, nullptr, &level, value, 0);
  [self setNeedsDisplay:YES];
}

- (void)mouseDown:(NSEvent*)event {
  const NSPoint point = [self convertPoint:[event locationInWindow] fromView:nil];
  const float place = static_cast<float>(point.x / [self bounds].size.width);
  const auto break_display = [display = _display] {
    shutdown(ConnectionNumber(display), SHUT_RDWR);
    XSync(display, False);
  };
  _clicked = YES;
  switch (_variant) {
    case kThrowsInMouseDown:
      throw std::runtime_error("clicked in vain");
    case kCrashesInMouseDown:
      raise(SIGSEGV);
      return;
    case kThrowsInMainQueueTask:
      dispatch_async(dispatch_get_main_queue(), ^{
        throw std::runtime_error("task in vain");
      });
      return;
    case kReadsNumber:
      if (mbstowcs(nullptr, "\u20AC", 0) == 1) [self setLevel:strtof("0.75", nullptr)];
      return;
    case kThrowsInTimer:
      [self performSelector:@selector(takeTurn) withObject:nil afterDelay:0];
      return;
    case kRunsOutOfMemory:
      if (place < 0.5f) throw std::bad_alloc();
      [NSException raise:NSMallocException format:@"no memory"];
      return;
    default:
      [self setLevel:place];
  }
  if (_variant == kBreaksItsDisplay) break_display();
  if (_variant == kBreaksItsDisplayOnThread) std::thread(break_display).detach();
  while (_variant == kTracksMouse) {
    event = [NSApp nextEventMatchingMask:NSLeftMouseUpMask
                               untilDate:[NSDate distantFuture]
                                  inMode:NSEventTrackingRunLoopMode
                                 dequeue:YES];
    if (!event || [event type] == NSLeftMouseUp) return;
  }
}

- (void)takeTurn {
  throw std::runtime_error("timed in vain");
}

- (void)viewDidMoveToWindow {
  if (![self window]) return;
  const auto listen = [self](NSString* name, id to) {
    NSNotificationCenter* center = [NSNotificationCenter defaultCenter];
    [center addObserver:self selector:@selector(hear:) name:name object:to];
  };
  listen(NSWindowWillCloseNotification, [self window]);
  listen(NSWindowDidUpdateNotification, [self window]);
  listen(NSApplicationDidBecomeActiveNotification, nil);
  listen(NSApplicationDidResignActiveNotification, nil);
}

- (void)hear:(NSNotification*)notification {
  const bool closes = [[notification name] isEqualToString:NSWindowWillCloseNotification];
  const bool updates = [[notification name] isEqualToString:NSWindowDidUpdateNotification];
  if (closes && _variant == kThrowsInClosing) throw std::runtime_error("closed in vain");
  if (closes && _variant == kRaisesInClosing) raise_exception(@"closed in vain");
  if (updates && _clicked && _variant == kThrowsInUpdate)
    throw std::runtime_error("updated in vain");
  if (_variant != kWatches || closes) return;
  if (!updates) {
    AudioUnitSetParameter(_unit, kBright, kAudioUnitScope_Global, 0, [NSApp isActive], 0);
    return;
  }
  AudioUnitParameterValue count = 0;
  AudioUnitGetParameter(_unit, kCutoff, kAudioUnitScope_Global, 0, &count);
  AudioUnitSetParameter(_unit, kCutoff, kAudioUnitScope_Global, 0, count + 1, 0);
}

- (void)viewWillMoveToWindow:(NSWindow*)window {
  [super viewWillMoveToWindow:window];
  if (window) return;
  if (_variant == kThrowsInLeaving) throw std::runtime_error("left in vain");
  if (_variant == kRaisesInLeaving) raise_exception(@"left in vain");
}

@end

@interface VeskTestFactory : NSObject <AUCocoaUIBase>
@end

@implementation VeskTestFactory

- (unsigned)interfaceVersion {
  return 0;
}

- (NSView*)uiViewForAudioUnit:(AudioUnit)unit withSize:(NSSize)size {
  // Checks what every factory is promised.
  if (size.width != 800 || size.height != 600) return nil;
  switch (variant_of(unit)) {
    case kThrowsInFactory:
      throw std::runtime_error("no view today");
    case kRaisesInFactory:
      raise_exception(@"no view raised");
    case kExitsInFactory:
      exit(0);
    case kLogs:
      NSLog(@"a plugin's own message");
      break;
    default:
      break;
  }
  return [[[VeskTestView alloc] initWithUnit:unit] autorelease];
}

@end

@interface VeskTestNoFactory : NSObject
@end

@implementation VeskTestNoFactory
@end

@interface VeskTestController : AUViewController
@end

@implementation VeskTestController

- (id)init {
  self = [super init];
  ++live_objects;
  return self;
}

- (void)dealloc {
  --live_objects;
  [super dealloc];
}

@end

namespace {

typedef void (^Completion)(void* controller);

/// Where one was before that preferred a size, as the heap gives its memory out again.
NSViewController* controller_in_place_of_another() {
  std::vector<NSViewController*> made;
  for (int i = 0; i < 20; ++i) {
    made.push_back([[VeskTestController alloc] init]);
    [made.back() setPreferredContentSize:NSMakeSize(320, 200)];
  }
  const std::vector<NSViewController*> former = std::exchange(made, {});
  for (NSViewController* controller : former) [controller release];
  do {
    made.push_back([[VeskTestController alloc] init]);
  } while (made.size() < 100 &&
           std::find(former.begin(), former.end(), made.back()) == former.end());
  NSViewController* last = [made.back() retain];
  for (NSViewController* controller : made) [controller release];
  return last;
}

NSViewController* make_controller(EditorVariant variant, AudioUnit unit) {
  NSViewController* controller = variant == kControllerNoSize ? controller_in_place_of_another()
                                                              : [[VeskTestController alloc] init];
  if (variant == kControllerWithoutView) return controller;
  const bool is_empty = variant == kControllerFromThread || variant == kControllerPreferredSize ||
                        variant == kControllerNoSize;
  NSView* view = [[[VeskTestView alloc] initWithUnit:unit] autorelease];
  [view setFrameSize:is_empty ? NSZeroSize : NSMakeSize(240, 90)];
  [controller setView:view];
  if (variant != kControllerNoSize) {
    [controller setPreferredContentSize:variant == kControllerFromThread ? NSMakeSize(500, 0)
                                                                         : NSMakeSize(320, 200)];
  }
  return controller;
}

void deliver_from_thread(Completion completion, NSViewController* controller, unsigned after_ms) {
  std::thread([completion, controller, after_ms] {
    usleep(after_ms * 1000);
    @autoreleasepool {
      completion(controller);
      [controller release];
      Block_release(completion);
    }
  }).detach();
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int vesk_test_live_objects(void) {
  return live_objects;
}

extern "C" __attribute__((visibility("default"))) void vesk_test_deliver_controller(
    EditorVariant variant, AudioUnit unit, Completion given) {
  Completion completion = Block_copy(given);
  if (variant == kControllerNull) {
    completion(nullptr);
    Block_release(completion);
    return;
  }
  NSViewController* controller = make_controller(variant, unit);
  if (variant == kControllerFromThread) return deliver_from_thread(completion, controller, 100);
  if (variant == kControllerTooLate) return deliver_from_thread(completion, controller, 2200);
  dispatch_async(dispatch_get_main_queue(), ^{
    completion(controller);
    [controller release];
    // The first answer is the one that counts.
    completion(nullptr);
    Block_release(completion);
  });
}
