#import "platform/linux/core_audio_kit/panel_controls.h"

#include <algorithm>
#include <cmath>

using namespace vesk::platform;

namespace vesk::platform {
namespace {

constexpr double knob_radius = 6;
/// How much slower a knob moves under Shift.
constexpr double fine_factor = 0.1;
constexpr double shortest_thumb = 28;

/// `string`, or as much of its head as fits into `width` with an ellipsis behind it.
NSString* fitted(NSString* string, NSDictionary* attributes, double width) {
  if ([string sizeWithAttributes:attributes].width <= width) return string;
  for (NSUInteger length = [string length]; length > 1; --length) {
    NSString* head = [string substringToIndex:length - 1];
    NSString* candidate = [head stringByAppendingString:@"\u2026"];
    if ([candidate sizeWithAttributes:attributes].width <= width) return candidate;
  }
  return @"";
}

bool has_focus(NSView* view) { return [[view window] firstResponder] == view; }

bool is_fine(NSEvent* event) { return ([event modifierFlags] & NSShiftKeyMask) != 0; }

}  // namespace

unichar key_of(NSEvent* event) {
  NSString* characters = [event characters];
  return [characters length] > 0 ? [characters characterAtIndex:0] : 0;
}

NSColor* gray(double white) { return [NSColor colorWithCalibratedWhite:white alpha:1]; }

NSColor* accent() { return [NSColor colorWithCalibratedRed:0.35 green:0.66 blue:0.93 alpha:1]; }

NSString* ns_text(const std::string& text) {
  NSString* string = [NSString stringWithUTF8String:text.c_str()];
  return string ? string : @"";
}

void fill_rounded(NSRect rect, double radius, NSColor* color) {
  [color setFill];
  [[NSBezierPath bezierPathWithRoundedRect:rect xRadius:radius yRadius:radius] fill];
}

void draw_line(NSRect area, NSString* text, NSFont* font, NSColor* color, bool at_right) {
  NSDictionary* attributes =
      [NSDictionary dictionaryWithObjectsAndKeys:font, NSFontAttributeName, color,
                                                 NSForegroundColorAttributeName, nil];
  NSString* string = fitted(text, attributes, NSWidth(area));
  if ([string length] == 0) return;
  const NSSize size = [string sizeWithAttributes:attributes];
  const double x = at_right ? NSMaxX(area) - size.width : NSMinX(area);
  const double y = NSMidY(area) - size.height / 2;
  [string drawAtPoint:NSMakePoint(std::round(x), std::round(y)) withAttributes:attributes];
}

void draw_groove(NSRect area, double position, double thickness, NSColor* lit) {
  NSRect part = NSMakeRect(NSMinX(area) + knob_radius, NSMidY(area) - thickness / 2,
                           NSWidth(area) - 2 * knob_radius, thickness);
  fill_rounded(part, thickness / 2, gray(0.29));
  part.size.width *= position;
  if (part.size.width >= thickness) fill_rounded(part, thickness / 2, lit);
}

}  // namespace vesk::platform

@implementation VeskSlider

- (void)drawRect:(NSRect)dirty {
  const NSRect area = [self bounds];
  const double travel = NSWidth(area) - 2 * knob_radius;
  const NSRect knob = NSMakeRect(travel * [self doubleValue], NSMidY(area) - knob_radius,
                                 2 * knob_radius, 2 * knob_radius);
  const bool focused = has_focus(self);
  draw_groove(area, [self doubleValue], 4, accent());
  fill_rounded(NSInsetRect(knob, -2, -2), knob_radius + 2, focused ? accent() : gray(0.145));
  fill_rounded(knob, knob_radius, gray(focused ? 1 : 0.86));
}

- (void)setPlace:(double)place {
  if (![self target]) return;  // its row is gone while the button is still down
  _place = place;
  [self setDoubleValue:std::clamp(place, 0.0, 1.0)];
  [self sendAction:[self action] to:[self target]];
}

- (void)mouseDown:(NSEvent*)event {
  [[self window] makeFirstResponder:self];
  if ([event clickCount] == 2) return [[self target] resetValue];
  const double travel = NSWidth([self bounds]) - 2 * knob_radius;
  _pointer = [self convertPoint:[event locationInWindow] fromView:nil].x;
  _place = [self doubleValue];
  [[self target] beginGesture];
  // On the knob it is taken where it was grasped; beside it, it comes to the pointer.
  const bool grasped = std::fabs(knob_radius + _place * travel - _pointer) <= knob_radius + 2;
  if (!grasped && !is_fine(event)) [self setPlace:(_pointer - knob_radius) / travel];
}

- (void)mouseDragged:(NSEvent*)event {
  const double pointer = [self convertPoint:[event locationInWindow] fromView:nil].x;
  const double way = (pointer - _pointer) / (NSWidth([self bounds]) - 2 * knob_radius);
  _pointer = pointer;
  [self setPlace:_place + way * (is_fine(event) ? fine_factor : 1)];
}

- (void)mouseUp:(NSEvent*)event {
  [[self target] endGesture];
}

- (void)moveTo:(double)place {
  [[self target] beginGesture];
  [self setPlace:place];
  [[self target] endGesture];
}

- (void)keyDown:(NSEvent*)event {
  const double step = [[self target] stepFor:is_fine(event)];
  switch (key_of(event)) {
    case NSLeftArrowFunctionKey:
    case NSDownArrowFunctionKey:
      return [self moveTo:[self doubleValue] - step];
    case NSRightArrowFunctionKey:
    case NSUpArrowFunctionKey:
      return [self moveTo:[self doubleValue] + step];
    case NSHomeFunctionKey:
      return [self moveTo:0];
    case NSEndFunctionKey:
      return [self moveTo:1];
    default:
      [[self nextResponder] keyDown:event];
  }
}

/// The wheel scrolls the list, over a slider too: nobody should change a value by looking for
/// another. The slider that was chosen before, which shows it, is the exception.
- (void)scrollWheel:(NSEvent*)event {
  if (!has_focus(self)) return [[self nextResponder] scrollWheel:event];
  [self moveTo:[self doubleValue] + [event deltaY] * [[self target] stepFor:is_fine(event)]];
}

@end

@implementation VeskButton

- (id)initWithFrame:(NSRect)frame isSwitch:(BOOL)is_switch target:(id)target action:(SEL)action {
  self = [super initWithFrame:frame];
  _is_switch = is_switch;
  [self setTarget:target];
  [self setAction:action];
  return self;
}

- (BOOL)isFlipped {
  return YES;
}

- (void)drawRect:(NSRect)dirty {
  const NSRect area = [self bounds];
  if (_is_switch) {
    const bool on = [self state] == NSOnState;
    const NSRect body = NSInsetRect(area, 2, 2);
    NSRect knob = NSInsetRect(body, 2, 2);
    knob.size.width = NSHeight(knob);
    if (on) knob.origin.x = NSMaxX(body) - 2 - NSWidth(knob);
    if (has_focus(self)) fill_rounded(area, NSHeight(area) / 2, gray(0.8));
    fill_rounded(body, NSHeight(body) / 2, on ? accent() : gray(0.29));
    return fill_rounded(knob, NSHeight(knob) / 2, gray(0.95));
  }
  if (has_focus(self)) fill_rounded(area, 5, accent());
  fill_rounded(NSInsetRect(area, 1, 1), 4, gray(0.22));
  draw_line(NSMakeRect(9, 0, NSWidth(area) - 31, NSHeight(area)), [self title],
            [NSFont systemFontOfSize:12], gray(0.9));
  const double x = NSMaxX(area) - 14;
  const double y = NSMidY(area);
  NSBezierPath* mark = [NSBezierPath bezierPath];
  [mark moveToPoint:NSMakePoint(x - 4, y - 2)];
  [mark lineToPoint:NSMakePoint(x + 4, y - 2)];
  [mark lineToPoint:NSMakePoint(x, y + 3)];
  [gray(0.6) setFill];
  [mark fill];
}

- (void)mouseDown:(NSEvent*)event {
  [[self window] makeFirstResponder:self];
  [self sendAction:[self action] to:[self target]];
}

- (void)keyDown:(NSEvent*)event {
  const unichar key = key_of(event);
  if (key != ' ' && key != NSCarriageReturnCharacter) return [[self nextResponder] keyDown:event];
  [self sendAction:[self action] to:[self target]];
}

@end

@interface VeskFieldCell : NSTextFieldCell
@end

@implementation VeskFieldCell

- (NSRect)drawingRectForBounds:(NSRect)bounds {
  return NSInsetRect(bounds, 4, 1);
}

- (NSText*)setUpFieldEditorAttributes:(NSText*)text {
  NSTextView* editor = (NSTextView*)[super setUpFieldEditorAttributes:text];
  [editor setDrawsBackground:YES];
  [editor setBackgroundColor:gray(0.22)];
  [editor setInsertionPointColor:gray(1)];
  NSColor* selection = [NSColor colorWithCalibratedRed:0.2 green:0.38 blue:0.55 alpha:1];
  [editor setSelectedTextAttributes:[NSDictionary
                                        dictionaryWithObjectsAndKeys:selection,
                                                                     NSBackgroundColorAttributeName,
                                                                     gray(1),
                                                                     NSForegroundColorAttributeName,
                                                                     nil]];
  return editor;
}

@end

@implementation VeskField

+ (Class)cellClass {
  return [VeskFieldCell class];
}

- (id)initWithFrame:(NSRect)frame {
  self = [super initWithFrame:frame];
  [self setBezeled:NO];
  [self setBordered:NO];
  [self setDrawsBackground:NO];
  [self setBackgroundColor:gray(0.22)];
  [self setTextColor:gray(0.9)];
  [self setFont:[NSFont systemFontOfSize:12]];
  return self;
}

/// A click takes the whole text. Only one into a text that is being typed goes the toolkit's way,
/// which waits for the release.
- (void)mouseDown:(NSEvent*)event {
  [self selectText:self];
}

@end

@interface VeskScroller : NSScroller {
  double _grasp;  // from the thumb's top to the pointer
}
@end

@implementation VeskScroller

/// The toolkit makes its scrollers wider than they are asked to be.
- (NSRect)track {
  return NSMakeRect(3, 2, scroller_width - 6, NSHeight([self bounds]) - 4);
}

- (NSRect)thumb {
  const NSRect track = [self track];
  const double length = std::max(shortest_thumb, NSHeight(track) * [self knobProportion]);
  return NSMakeRect(NSMinX(track), NSMinY(track) + (NSHeight(track) - length) * [self doubleValue],
                    NSWidth(track), length);
}

- (void)drawRect:(NSRect)dirty {
  [gray(0.145) setFill];
  NSRectFill(dirty);
  fill_rounded([self track], 3, gray(0.175));
  fill_rounded([self thumb], 3, gray(0.42));
}

- (void)mouseDown:(NSEvent*)event {
  const double y = [self convertPoint:[event locationInWindow] fromView:nil].y;
  const NSRect thumb = [self thumb];
  const bool grasped = y >= NSMinY(thumb) && y < NSMaxY(thumb);
  _grasp = grasped ? y - NSMinY(thumb) : NSHeight(thumb) / 2;
  [self mouseDragged:event];
}

- (void)mouseDragged:(NSEvent*)event {
  const double y = [self convertPoint:[event locationInWindow] fromView:nil].y;
  const double travel = NSHeight([self bounds]) - 4 - NSHeight([self thumb]);
  VeskScrollView* view = (VeskScrollView*)[self superview];
  if (travel > 0) [view scrollToY:(y - _grasp - 2) / travel * [view longestScroll]];
}

- (void)mouseUp:(NSEvent*)event {
}

@end

@implementation VeskScrollView

- (id)initWithFrame:(NSRect)frame {
  self = [super initWithFrame:frame];
  [self setBorderType:NSNoBorder];
  [self setVerticalScroller:[[[VeskScroller alloc] initWithFrame:NSMakeRect(0, 0, 12, 48)]
                                autorelease]];
  [self setHasVerticalScroller:YES];
  [self setBackgroundColor:gray(0.145)];
  [[self contentView] setCopiesOnScroll:NO];
  [self setLineScroll:42];
  return self;
}

- (double)longestScroll {
  return std::max(0.0, NSHeight([[self documentView] frame]) - NSHeight([self bounds]));
}

- (void)tile {
  NSRect content = [self bounds];
  content.size.width -= scroller_width;
  [[self contentView] setFrame:content];
  [[self verticalScroller]
      setFrame:NSMakeRect(NSMaxX(content), NSMinY(content), scroller_width, NSHeight(content))];
  [self reflectScrolledClipView:[self contentView]];
}

- (void)reflectScrolledClipView:(NSClipView*)clip {
  [super reflectScrolledClipView:clip];
  [[self verticalScroller] setHidden:[self longestScroll] == 0];
}

- (void)scrollToY:(double)y {
  [[self contentView] scrollToPoint:NSMakePoint(0, std::clamp(y, 0.0, [self longestScroll]))];
  [self reflectScrolledClipView:[self contentView]];
}

@end
