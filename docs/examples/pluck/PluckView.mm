// The editor of the plucked string: a bar for each parameter, to be clicked and dragged.
//
// All classes of a process share one set of names, so every one here begins with the plugin's own.

#import <AppKit/AppKit.h>
#import <AudioToolbox/AUCocoaUIView.h>
#include <AudioToolbox/AudioToolbox.h>
#include <CoreFoundation/CoreFoundation.h>

#include <cmath>

#include "pluck.h"

namespace {

constexpr CGFloat kWidth = 320;
constexpr CGFloat kRowHeight = 44;
constexpr CGFloat kMargin = 16;
constexpr CGFloat kHeight = static_cast<int>(kParameterCount) * kRowHeight + kMargin;
constexpr CGFloat kBarHeight = 14;
constexpr CFTimeInterval kLookSeconds = 0.04;

constexpr struct {
  const char* name;
  const char* format;
} kRows[kParameterCount] = {{"Decay", "%.2f s"}, {"Brightness", "%.0f %%"}, {"Gain", "%.1f dB"}};

AudioUnitParameter parameter_of(AudioUnit unit, AudioUnitParameterID id) {
  return {unit, id, kAudioUnitScope_Global, 0};
}

NSRect bar_of(AudioUnitParameterID id) {
  return NSMakeRect(kMargin, id * kRowHeight + kMargin + 14, kWidth - 2 * kMargin, kBarHeight);
}

}  // namespace

@interface PluckView : NSView {
  AudioUnit _unit;
  float _shown[kParameterCount];
  int _held;  // the parameter under the pressed button, or -1
  CFRunLoopTimerRef _timer;
}
- (id)initWithUnit:(AudioUnit)unit;
- (void)look;
@end

static void lookAgain(CFRunLoopTimerRef, void* view) {
  @autoreleasepool {
    [static_cast<PluckView*>(view) look];
  }
}

@implementation PluckView

- (id)initWithUnit:(AudioUnit)unit {
  self = [super initWithFrame:NSMakeRect(0, 0, kWidth, kHeight)];
  if (!self) return nil;
  _unit = unit;
  _held = -1;
  for (float& value : _shown) value = NAN;
  // Looks at the values itself: what the host or an automation sets is announced to nobody. The
  // timer does not hold the view, which ends it when it goes.
  CFRunLoopTimerContext context = {};
  context.info = self;
  _timer = CFRunLoopTimerCreate(nullptr, CFAbsoluteTimeGetCurrent(), kLookSeconds, 0, 0, lookAgain,
                                &context);
  CFRunLoopAddTimer(CFRunLoopGetMain(), _timer, kCFRunLoopCommonModes);
  return self;
}

- (void)dealloc {
  if (_timer) {
    CFRunLoopTimerInvalidate(_timer);
    CFRelease(_timer);
  }
  [super dealloc];
}

// The unit may be gone while the view still waits to be released, but not before its window has
// closed.
- (void)look {
  if (![[self window] isVisible]) return;
  for (AudioUnitParameterID id = 0; id < kParameterCount; ++id) {
    AudioUnitParameterValue value = 0;
    AudioUnitGetParameter(_unit, id, kAudioUnitScope_Global, 0, &value);
    if (value == _shown[id]) continue;
    _shown[id] = value;
    [self setNeedsDisplay:YES];
  }
}

- (BOOL)isFlipped {
  return YES;
}

- (BOOL)acceptsFirstMouse:(NSEvent*)event {
  return YES;
}

- (void)drawRect:(NSRect)dirty {
  [[NSColor colorWithCalibratedWhite:0.16 alpha:1] setFill];
  NSRectFill(dirty);
  NSDictionary* style = [NSDictionary
      dictionaryWithObjectsAndKeys:[NSFont systemFontOfSize:11], NSFontAttributeName,
                                   [NSColor whiteColor], NSForegroundColorAttributeName, nil];
  for (AudioUnitParameterID id = 0; id < kParameterCount; ++id) {
    const AudioUnitParameter parameter = parameter_of(_unit, id);
    const NSRect bar = bar_of(id);
    NSString* name = [NSString stringWithUTF8String:kRows[id].name];
    NSString* format = [NSString stringWithUTF8String:kRows[id].format];
    NSString* value = [NSString stringWithFormat:format, static_cast<double>(_shown[id])];
    [name drawAtPoint:NSMakePoint(bar.origin.x, bar.origin.y - 16) withAttributes:style];
    const NSSize size = [value sizeWithAttributes:style];
    [value drawAtPoint:NSMakePoint(NSMaxX(bar) - size.width, bar.origin.y - 16)
        withAttributes:style];
    [[NSColor colorWithCalibratedWhite:0.28 alpha:1] setFill];
    NSRectFill(bar);
    // The place along the bar goes by the parameter's display curve, logarithmic for the decay.
    const float place = AUParameterValueToLinear(_shown[id], &parameter);
    [[NSColor colorWithCalibratedRed:0.95 green:0.65 blue:0.25 alpha:1] setFill];
    NSRectFill(NSMakeRect(bar.origin.x, bar.origin.y, place * bar.size.width, bar.size.height));
  }
}

- (void)setFrom:(NSEvent*)event {
  const NSPoint point = [self convertPoint:[event locationInWindow] fromView:nil];
  const NSRect bar = bar_of(static_cast<AudioUnitParameterID>(_held));
  const double place = (point.x - bar.origin.x) / bar.size.width;
  const AudioUnitParameter parameter =
      parameter_of(_unit, static_cast<AudioUnitParameterID>(_held));
  const float value =
      AUParameterValueFromLinear(static_cast<float>(std::fmin(std::fmax(place, 0), 1)), &parameter);
  // Sets it and tells the others who show it.
  AUParameterSet(nullptr, nullptr, &parameter, value, 0);
  [self look];
}

// A host that records automation wants to know when the hand is on a control.
- (void)tell:(AudioUnitEventType)type {
  AudioUnitEvent event = {};
  event.mEventType = type;
  event.mArgument.mParameter = parameter_of(_unit, static_cast<AudioUnitParameterID>(_held));
  AUEventListenerNotify(nullptr, nullptr, &event);
}

- (void)mouseDown:(NSEvent*)event {
  const NSPoint point = [self convertPoint:[event locationInWindow] fromView:nil];
  for (AudioUnitParameterID id = 0; id < kParameterCount; ++id)
    if (NSPointInRect(point, NSInsetRect(bar_of(id), -4, -4))) _held = static_cast<int>(id);
  if (_held < 0) return;
  [self tell:kAudioUnitEvent_BeginParameterChangeGesture];
  [self setFrom:event];
}

- (void)mouseDragged:(NSEvent*)event {
  if (_held >= 0) [self setFrom:event];
}

- (void)mouseUp:(NSEvent*)event {
  if (_held < 0) return;
  [self tell:kAudioUnitEvent_EndParameterChangeGesture];
  _held = -1;
}

@end

@interface PluckViewFactory : NSObject <AUCocoaUIBase>
@end

@implementation PluckViewFactory

- (unsigned)interfaceVersion {
  return 0;
}

- (NSView*)uiViewForAudioUnit:(AudioUnit)unit withSize:(NSSize)preferred {
  return [[[PluckView alloc] initWithUnit:unit] autorelease];
}

@end
