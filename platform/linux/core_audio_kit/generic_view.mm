#import <CoreAudioKit/AUGenericView.h>
#include <CoreFoundation/CoreFoundation.h>

#include <memory>

#import "platform/linux/core_audio_kit/parameter_panel.hpp"

namespace {

using vesk::platform::Area;
using vesk::platform::PanelParts;
using vesk::platform::ParameterPanel;

/// Values are read this often: nothing announces a change that the host makes, or MIDI.
constexpr CFTimeInterval follow_interval_seconds = 0.033;
/// One notch of a wheel.
constexpr double wheel_points = 42;

}  // namespace

/// What a view holds. Objective-C of this runtime does not construct C++ members.
struct AUGenericViewState {
  AudioUnit unit = nullptr;
  PanelParts parts;
  bool with_expert = false;
  std::unique_ptr<ParameterPanel> panel;
  CFRunLoopTimerRef timer = nullptr;
};

@interface AUGenericView (VeskPanel)
- (void)vesk_makePanel;
- (void)vesk_follow;
@end

namespace {

void follow(CFRunLoopTimerRef, void* view) {
  @autoreleasepool {
    [static_cast<AUGenericView*>(view) vesk_follow];
  }
}

}  // namespace

@implementation AUGenericView

- (AUGenericView*)initWithAudioUnit:(AudioUnit)au {
  return [self initWithAudioUnit:au
                    displayFlags:AUViewTitleDisplayFlag | AUViewPropertiesDisplayFlag |
                                 AUViewParametersDisplayFlag];
}

- (AUGenericView*)initWithAudioUnit:(AudioUnit)inAudioUnit
                       displayFlags:(AUGenericViewDisplayFlags)inFlags {
  if (!inAudioUnit || !AudioComponentInstanceGetComponent(inAudioUnit)) {
    [self release];
    return nil;
  }
  self = [super initWithFrame:NSZeroRect];
  if (!self) return nil;
  _state = new AUGenericViewState;
  _state->unit = inAudioUnit;
  _state->parts = {(inFlags & AUViewTitleDisplayFlag) != 0,
                   (inFlags & AUViewPropertiesDisplayFlag) != 0,
                   (inFlags & AUViewParametersDisplayFlag) != 0};
  [self vesk_makePanel];
  // The timer does not hold the view: dealloc ends it.
  CFRunLoopTimerContext context{};
  context.info = self;
  _state->timer =
      CFRunLoopTimerCreate(nullptr, CFAbsoluteTimeGetCurrent() + follow_interval_seconds,
                           follow_interval_seconds, 0, 0, follow, &context);
  CFRunLoopAddTimer(CFRunLoopGetMain(), _state->timer, kCFRunLoopCommonModes);
  return self;
}

- (void)dealloc {
  if (_state && _state->timer) {
    CFRunLoopTimerInvalidate(_state->timer);
    CFRelease(_state->timer);
  }
  delete _state;
  [super dealloc];
}

- (AudioUnit)audioUnit {
  return _state->unit;
}

- (BOOL)showsExpertParameters {
  return _state->with_expert;
}

- (void)setShowsExpertParameters:(BOOL)shows {
  if (_state->with_expert == static_cast<bool>(shows)) return;
  _state->with_expert = shows;
  [self vesk_makePanel];
}

- (void)vesk_makePanel {
  _state->panel = std::make_unique<ParameterPanel>(
      _state->unit, _state->parts, _state->with_expert, [self](const Area& area) {
        [self setNeedsDisplayInRect:NSMakeRect(area.x, area.y, area.width, area.height)];
      });
  [self setFrameSize:NSMakeSize(_state->panel->width(), _state->panel->height())];
  [self setNeedsDisplay:YES];
}

/// The window tells whether the unit may still be asked: it closes before the unit is disposed of,
/// while the view may live on.
- (void)vesk_follow {
  if (![[self window] isVisible]) return;
  if (_state->panel->is_outdated()) [self vesk_makePanel];
  _state->panel->follow();
}

- (BOOL)isFlipped {
  return YES;
}

- (BOOL)isOpaque {
  return YES;
}

- (BOOL)acceptsFirstMouse:(NSEvent*)event {
  return YES;
}

- (BOOL)acceptsFirstResponder {
  return YES;
}

- (void)viewDidMoveToWindow {
  [[self window] setAcceptsMouseMovedEvents:YES];
}

- (void)drawRect:(NSRect)dirty {
  _state->panel->draw(dirty);
}

- (void)mouseDown:(NSEvent*)event {
  const NSPoint point = [self convertPoint:[event locationInWindow] fromView:nil];
  const bool fine = ([event modifierFlags] & NSShiftKeyMask) != 0;
  _state->panel->press(point.x, point.y, static_cast<int>([event clickCount]), fine);
}

- (void)mouseDragged:(NSEvent*)event {
  const NSPoint point = [self convertPoint:[event locationInWindow] fromView:nil];
  _state->panel->drag(point.x, point.y);
}

- (void)mouseUp:(NSEvent*)event {
  const NSPoint point = [self convertPoint:[event locationInWindow] fromView:nil];
  _state->panel->release(point.x, point.y);
}

- (void)mouseMoved:(NSEvent*)event {
  const NSPoint point = [self convertPoint:[event locationInWindow] fromView:nil];
  _state->panel->hover(point.x, point.y);
}

- (void)scrollWheel:(NSEvent*)event {
  const NSPoint point = [self convertPoint:[event locationInWindow] fromView:nil];
  _state->panel->wheel(point.x, point.y, -[event deltaY] * wheel_points);
}

@end
