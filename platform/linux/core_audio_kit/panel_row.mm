#import "platform/linux/core_audio_kit/panel_row.h"

#include <algorithm>
#include <cmath>

using namespace vesk::platform;

namespace {

// Points.
constexpr double heading_height = 32;
constexpr double control_width = 186;
constexpr double value_x = 386;
constexpr double value_width = 96;

}  // namespace

namespace vesk::platform {

bool is_escape(SEL command) {
  return command == @selector(complete:) || command == @selector(cancelOperation:);
}

id enclosing(Class wanted, id responder) {
  if (![responder isKindOfClass:[NSView class]]) return nil;
  NSView* view = responder;
  while (view && ![view isKindOfClass:wanted]) view = [view superview];
  return view;
}

}  // namespace vesk::platform

@implementation VeskRow

- (id)initWithUnit:(AudioUnit)unit parameter:(const Parameter*)parameter name:(NSString*)name {
  self =
      [super initWithFrame:NSMakeRect(0, 0, panel_width, parameter ? row_height : heading_height)];
  _unit = unit;
  _parameter = parameter;
  _name = [name retain];
  _text = @"";
  _value = NAN;
  if (!parameter) return self;
  const NSRect area = NSMakeRect(control_x, 4, control_width, 20);
  switch (parameter->control) {
    case Control::slider:
      _control = [[[VeskSlider alloc] initWithFrame:area] autorelease];
      [_control setTarget:self];
      [_control setAction:@selector(slide:)];
      _field =
          [[[VeskField alloc] initWithFrame:NSMakeRect(value_x, 5, value_width, 19)] autorelease];
      [_field setAlignment:NSRightTextAlignment];
      [_field setDelegate:self];
      [self addSubview:_field];
      break;
    case Control::toggle:
      _control = [[[VeskButton alloc] initWithFrame:NSMakeRect(control_x, 4, 34, 20)
                                           isSwitch:YES
                                             target:self
                                             action:@selector(toggle:)] autorelease];
      break;
    case Control::menu:
      _control = [[[VeskButton alloc] initWithFrame:area
                                           isSwitch:NO
                                             target:self
                                             action:@selector(openMenu:)] autorelease];
      break;
    case Control::meter:
      break;
  }
  if (_control) [self addSubview:_control];
  return self;
}

- (void)dealloc {
  [_name release];
  [_text release];
  [super dealloc];
}

- (void)retire {
  [_control setTarget:nil];
  [_field setDelegate:nil];
}

- (BOOL)isFlipped {
  return YES;
}

- (void)drawRect:(NSRect)dirty {
  if (!_parameter) {
    const NSRect area = NSMakeRect(margin, 6, panel_width - 2 * margin, heading_height - 6);
    return draw_line(area, _name, [NSFont boldSystemFontOfSize:11], accent());
  }
  NSFont* font = [NSFont systemFontOfSize:12];
  draw_line(NSMakeRect(margin, 0, control_x - margin - 8, row_height), _name, font, gray(0.9));
  if (_parameter->control == Control::meter) {
    const double position = std::isnan(_value) ? 0 : position_of(_unit, *_parameter, _value);
    draw_groove(NSMakeRect(control_x, 4, control_width, 20), position, 8,
                [NSColor colorWithCalibratedRed:0.45 green:0.78 blue:0.45 alpha:1]);
  }
  if (!_field && _parameter->control != Control::menu)
    draw_line(NSMakeRect(value_x, 0, value_width - 4, row_height), _text, font, gray(0.78), true);
}

- (BOOL)refresh {
  if (!_parameter) return NO;
  const std::optional<float> value = read_value(_unit, *_parameter);
  if (value == _value || (!value && std::isnan(_value) && [_text length] > 0)) return NO;
  _value = value.value_or(NAN);
  [_text release];
  _text = [(value ? ns_text(value_text(_unit, *_parameter, *value)) : @"–") retain];
  if (_parameter->control == Control::slider) {
    [_control setDoubleValue:value ? position_of(_unit, *_parameter, *value) : 0];
    if (![_field currentEditor]) [_field setStringValue:_text];
  } else if (_parameter->control == Control::toggle) {
    [(NSButton*)_control
        setState:_value > (_parameter->minimum + _parameter->maximum) / 2 ? NSOnState : NSOffState];
  } else if (_parameter->control == Control::menu) {
    [(NSButton*)_control setTitle:_text];
  }
  [self setNeedsDisplay:YES];
  return YES;
}

- (void)tell:(AudioUnitEventType)type {
  AudioUnitEvent event{};
  event.mEventType = type;
  event.mArgument.mParameter = _parameter->address(_unit);
  AUEventListenerNotify(nullptr, nullptr, &event);
}

/// Hosts and other views record a movement from its beginning to its end.
- (void)beginGesture {
  [self endGesture];
  [self tell:kAudioUnitEvent_BeginParameterChangeGesture];
  _in_gesture = YES;
}

- (void)endGesture {
  if (!_in_gesture) return;
  _in_gesture = NO;
  [self tell:kAudioUnitEvent_EndParameterChangeGesture];
}

- (void)set:(float)value {
  const bool alone = !_in_gesture;
  if (alone) [self beginGesture];
  const AudioUnitParameter address = _parameter->address(_unit);
  AUParameterSet(nullptr, nullptr, &address, value, 0);
  [self refresh];
  if (alone) [self endGesture];
}

- (void)resetValue {
  [self set:_parameter->initial];
}

- (double)stepFor:(BOOL)fine {
  return key_step(*_parameter, fine);
}

- (void)slide:(NSSlider*)slider {
  [self set:value_at(_unit, *_parameter, static_cast<float>([slider doubleValue]))];
}

- (void)toggle:(id)sender {
  [self set:[(NSButton*)_control state] == NSOnState ? _parameter->minimum : _parameter->maximum];
}

- (void)openMenu:(id)sender {
  const float present = read_value(_unit, *_parameter).value_or(_parameter->minimum);
  [enclosing([AUGenericView class], self)
      vesk_openMenuFrom:_control
                  names:_parameter->value_names
               selected:std::lround(present - _parameter->minimum)
                 choose:[self](NSInteger item) {
                   const float value = _parameter->minimum + static_cast<float>(item);
                   [self set:std::min(value, _parameter->maximum)];
                 }];
}

/// A double click beside the control: on it, a switch or a menu is often clicked twice.
- (void)mouseDown:(NSEvent*)event {
  if ([event clickCount] == 2 && _control) [self resetValue];
}

- (void)controlTextDidEndEditing:(NSNotification*)notification {
  NSString* typed = [_field stringValue];
  // What was not changed is not set: its digits may be fewer than the value's.
  if (![typed isEqual:_text] && [[self window] isVisible])
    if (const auto value = value_of_text(_unit, *_parameter, [typed UTF8String])) [self set:*value];
  [_field setStringValue:_text];
}

- (BOOL)control:(NSControl*)control textView:(NSTextView*)view doCommandBySelector:(SEL)selector {
  if (!is_escape(selector)) return NO;
  [_field abortEditing];
  [_field setStringValue:_text];
  [[self window] makeFirstResponder:_control];
  return YES;
}

@end
