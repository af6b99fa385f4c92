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

}  // namespace

/// A bar as long as the level; a click sets it.
@interface VeskTestView : NSView {
  AudioUnit _unit;
  EditorVariant _variant;  // read once: a view may outlive its unit
}
- (id)initWithUnit:(AudioUnit)unit;
- (void)setUnit:(AudioUnit)unit;
- (void)clickedAt:(NSPoint)point;
@end

@implementation VeskTestView

// What a nib calls.
- (id)initWithFrame:(NSRect)frame {
  self = [super initWithFrame:frame];
  ++live_objects;
  return self;
}

- (id)initWithUnit:(AudioUnit)unit {
  self = [self initWithFrame:view_frame];
  [self setUnit:unit];
  return self;
}

- (void)viewDidChangeBackingProperties {
  [super viewDidChangeBackingProperties];
}

- (void)setUnit:(AudioUnit)unit {
  // As views for several systems do where there are no layers.
  if (![self layer]) [self viewDidChangeBackingProperties];
  _unit = unit;
  _variant = variant_of(unit);
}

- (void)dealloc {
  --live_objects;
  [super dealloc];
}

// As many views do: what is taken out is done with.
- (void)removeFromSuperview {
  _unit = nullptr;
  [super removeFromSuperview];
}

- (void)drawRect:(NSRect)dirty {
  [[NSColor darkGrayColor] setFill];
  NSRectFill(dirty);
  AudioUnitParameterValue level = 0;
  AudioUnitGetParameter(_unit, kLevel, kAudioUnitScope_Global, 0, &level);
  [[NSColor orangeColor] setFill];
  const NSRect bounds = [self bounds];
  NSRectFillUsingOperation(NSMakeRect(0, 0, level * bounds.size.width, bounds.size.height),
                           NSCompositingOperationSourceOver);
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

/// Draws well until it is clicked; a click, or its window's end, brings out what the unit asks for.
@interface VeskTestFaultyView : VeskTestView {
  BOOL _clicked;
}
@end

@implementation VeskTestFaultyView

- (void)clickedAt:(NSPoint)point {
  _clicked = YES;
  switch (_variant) {
    case kThrowsInMouseDown:
      throw std::runtime_error("clicked in vain");
    case kCrashesInMouseDown:
      raise(SIGSEGV);
      break;
    case kThrowsInMainQueueTask:
      dispatch_async(dispatch_get_main_queue(), ^{
        throw std::runtime_error("task in vain");
      });
      break;
    case kReadsNumber:
      if (mbstowcs(nullptr, "\u20AC", 0) != 1) break;
      [super clickedAt:NSMakePoint(strtof("0.75", nullptr) * [self bounds].size.width, 0)];
      break;
    case kThrowsInTimer:
      [self performSelector:@selector(takeTurn) withObject:nil afterDelay:0];
      break;
    case kRunsOutOfMemory:
      if (point.x < [self bounds].size.width / 2) throw std::bad_alloc();
      [NSException raise:NSMallocException format:@"no memory"];
      break;
    case kTracksMouse:
      [super clickedAt:point];
      while (NSEvent* event = [NSApp nextEventMatchingMask:NSLeftMouseUpMask
                                                 untilDate:[NSDate distantFuture]
                                                    inMode:NSEventTrackingRunLoopMode
                                                   dequeue:YES]) {
        if ([event type] == NSLeftMouseUp) break;
      }
      break;
    default:
      [self setNeedsDisplay:YES];
  }
}

- (void)takeTurn {
  throw std::runtime_error("timed in vain");
}

- (void)drawRect:(NSRect)dirty {
  if (_clicked && _variant == kThrowsInDrawing) throw std::runtime_error("drawn in vain");
  if (_clicked && _variant == kRaisesInDrawing)
    [NSException raise:NSGenericException format:@"drawn in vain"];
  [super drawRect:dirty];
}

- (void)viewDidMoveToWindow {
  if (![self window]) return;
  NSNotificationCenter* center = [NSNotificationCenter defaultCenter];
  [center addObserver:self
             selector:@selector(windowCloses:)
                 name:NSWindowWillCloseNotification
               object:[self window]];
  [center addObserver:self
             selector:@selector(windowUpdates:)
                 name:NSWindowDidUpdateNotification
               object:[self window]];
  for (NSString* name in
       @[ NSApplicationDidBecomeActiveNotification, NSApplicationDidResignActiveNotification ])
    [center addObserver:self selector:@selector(activityChanges:) name:name object:nil];
}

- (void)activityChanges:(NSNotification*)notification {
  if (_variant == kWatches)
    AudioUnitSetParameter(_unit, kBright, kAudioUnitScope_Global, 0, [NSApp isActive], 0);
}

- (void)windowUpdates:(NSNotification*)notification {
  if (_variant == kWatches) {
    AudioUnitParameterValue updates = 0;
    AudioUnitGetParameter(_unit, kCutoff, kAudioUnitScope_Global, 0, &updates);
    AudioUnitSetParameter(_unit, kCutoff, kAudioUnitScope_Global, 0, updates + 1, 0);
  }
  if (_clicked && _variant == kThrowsInUpdate) throw std::runtime_error("updated in vain");
}

- (void)windowCloses:(NSNotification*)notification {
  if (_variant == kThrowsInClosing) throw std::runtime_error("closed in vain");
  if (_variant == kRaisesInClosing) [NSException raise:NSGenericException format:@"closed in vain"];
}

- (void)viewWillMoveToWindow:(NSWindow*)window {
  [super viewWillMoveToWindow:window];
  if (window && _variant == kThrowsInEntering) throw std::runtime_error("entered in vain");
  if (window) return;
  if (_variant == kThrowsInLeaving) throw std::runtime_error("left in vain");
  if (_variant == kRaisesInLeaving) [NSException raise:NSGenericException format:@"left in vain"];
}

- (void)dealloc {
  [[NSNotificationCenter defaultCenter] removeObserver:self];
  [super dealloc];
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

- (void)clickedAt:(NSPoint)point {
  [super clickedAt:point];
  const auto break_display = [display = _display] {
    shutdown(ConnectionNumber(display), SHUT_RDWR);
    XSync(display, False);
  };
  if (_variant == kBreaksItsDisplayOnThread)
    std::thread(break_display).detach();
  else
    break_display();
}

@end

/// What many views have: a timer that keeps them, tasks and a field to type in.
@interface VeskTestLingeringView : VeskTestView {
  NSTextField* _field;
}
@end

@implementation VeskTestLingeringView

- (id)initWithUnit:(AudioUnit)unit {
  self = [super initWithUnit:unit];
  _field = [[[NSTextField alloc] initWithFrame:NSMakeRect(10, 80, 80, 24)] autorelease];
  [_field setTarget:self];
  [_field setAction:@selector(typed:)];
  [[_field cell] setSendsActionOnEndEditing:YES];
  [self addSubview:_field];
  [NSTimer scheduledTimerWithTimeInterval:0.02
                                   target:self
                                 selector:@selector(readLevel)
                                 userInfo:nil
                                  repeats:YES];
  [self readLevelAgain];
  return self;
}

- (void)clickedAt:(NSPoint)point {
  [super clickedAt:point];
  [[self window] makeFirstResponder:_field];
  [[_field currentEditor] setString:@"0.75"];
}

- (void)typed:(NSTextField*)field {
  AudioUnitSetParameter(_unit, kLevel, kAudioUnitScope_Global, 0, [field floatValue], 0);
}

- (void)readLevel {
  AudioUnitParameterValue level = 0;
  AudioUnitGetParameter(_unit, kLevel, kAudioUnitScope_Global, 0, &level);
}

- (void)readLevelAgain {
  [self readLevel];
  dispatch_async(dispatch_get_main_queue(), ^{
    [self readLevelAgain];
  });
}

@end

@interface VeskTestFactory : NSObject <AUCocoaUIBase> {
  VeskTestView* _view;  // an outlet
}
@end

@implementation VeskTestFactory

- (void)setView:(VeskTestView*)view {
  _view = view;
}

- (unsigned)interfaceVersion {
  return 0;
}

- (NSView*)uiViewForAudioUnit:(AudioUnit)unit withSize:(NSSize)size {
  // Checks what every factory is promised.
  if (size.width != 800 || size.height != 600) return nil;
  NSArray* contents = nil;
  switch (variant_of(unit)) {
    case kThrowsInFactory:
      throw std::runtime_error("no view today");
    case kRaisesInFactory:
      [NSException raise:NSGenericException format:@"no view raised"];
      return nil;
    case kExitsInFactory:
      exit(0);
    case kBreaksItsDisplay:
    case kBreaksItsDisplayOnThread:
      return [[[VeskTestDisplayView alloc] initWithUnit:unit] autorelease];
    case kOpenedBefore:
      if (![[NSBundle bundleForClass:[self class]] loadNibNamed:@"Level"
                                                          owner:self
                                                topLevelObjects:&contents]) {
        return nil;
      }
      [_view setUnit:unit];
      return _view;
    case kLingers:
      return [[[VeskTestLingeringView alloc] initWithUnit:unit] autorelease];
    case kLogs:
      NSLog(@"a plugin's own message");
      [[fallthrough]];
    case kCocoaView:
    case kCocoaViewAndController:
    case kThreeClasses:
      return [[[VeskTestView alloc] initWithUnit:unit] autorelease];
    default:
      break;
  }
  return [[[VeskTestFaultyView alloc] initWithUnit:unit] autorelease];
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
  NSView* view = [[[VeskTestView alloc] initWithUnit:unit] autorelease];
  [view setFrameSize:NSMakeSize(240, 90)];
  switch (variant) {
    case kControllerFromThread:
      [view setFrameSize:NSZeroSize];
      [controller setPreferredContentSize:NSMakeSize(500, 0)];
      break;
    case kControllerPreferredSize:
      [view setFrameSize:NSZeroSize];
      [controller setPreferredContentSize:NSMakeSize(320, 200)];
      break;
    case kControllerNoSize:
      [view setFrameSize:NSZeroSize];
      break;
    default:
      [controller setPreferredContentSize:NSMakeSize(320, 200)];
  }
  [controller setView:view];
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
