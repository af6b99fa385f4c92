#import "platform/linux/core_audio_kit/panel_menu.h"

#include <algorithm>
#include <cmath>

#import "platform/linux/core_audio_kit/panel_controls.h"

using namespace vesk::platform;

namespace {

// Points.
constexpr double item_height = 22;
constexpr double menu_edge = 4;
/// A press that moves this far before its release is one gesture: open, move, choose.
constexpr double menu_drag_distance = 6;

}  // namespace

struct VeskChoices {
  std::vector<std::string> names;
  NSInteger selected;
  NSInteger under_pointer;
  std::function<void(NSInteger)> choose;
  NSPoint opened_at;
};

/// The edge of a menu.
@interface VeskMenuFrame : NSView
@end

@implementation VeskMenuFrame

- (void)drawRect:(NSRect)dirty {
  fill_rounded([self bounds], 5, gray(0.38));
  fill_rounded(NSInsetRect([self bounds], 1, 1), 4, gray(0.19));
}

@end

@implementation VeskChoiceList

+ (VeskChoiceList*)openOver:(NSView*)panel
                       from:(NSRect)field
                      names:(std::vector<std::string>)names
                   selected:(NSInteger)selected
                     choose:(std::function<void(NSInteger)>)choose {
  const double whole = static_cast<double>(names.size()) * item_height;
  const double height = std::min(whole + 2 * menu_edge, NSHeight([panel bounds]) - 8);
  double y = NSMaxY(field) + 2;
  if (y + height > NSHeight([panel bounds])) y = std::max(4.0, NSMinY(field) - 2 - height);
  VeskMenuFrame* frame = [[[VeskMenuFrame alloc]
      initWithFrame:NSMakeRect(NSMinX(field), y, NSWidth(field), height)] autorelease];
  VeskScrollView* scroll = [[[VeskScrollView alloc]
      initWithFrame:NSInsetRect([frame bounds], 1, menu_edge)] autorelease];
  VeskChoiceList* list = [[[self alloc]
      initWithFrame:NSMakeRect(0, 0, NSWidth(field) - scroller_width - 2, whole)] autorelease];
  list->_choices = new VeskChoices{std::move(names), selected, selected, std::move(choose),
                                   [[[panel window] currentEvent] locationInWindow]};
  [scroll setBackgroundColor:gray(0.19)];
  [scroll setDocumentView:list];
  [frame addSubview:scroll];
  [panel addSubview:frame];
  [scroll scrollToY:static_cast<double>(selected) * item_height - height / 2];
  [[panel window] makeFirstResponder:list];
  return list;
}

- (void)dealloc {
  delete _choices;
  [super dealloc];
}

- (void)close {
  [[[self enclosingScrollView] superview] removeFromSuperview];
}

- (BOOL)isFlipped {
  return YES;
}

- (BOOL)acceptsFirstResponder {
  return YES;
}

- (NSRect)itemRect:(NSInteger)item {
  return NSMakeRect(0, static_cast<double>(item) * item_height, NSWidth([self bounds]),
                    item_height);
}

- (void)drawRect:(NSRect)dirty {
  [gray(0.19) setFill];
  NSRectFill(dirty);
  const auto count = static_cast<NSInteger>(_choices->names.size());
  const auto first = static_cast<NSInteger>(NSMinY(dirty) / item_height);
  for (NSInteger item = first; item < count && NSMinY([self itemRect:item]) < NSMaxY(dirty);
       ++item) {
    const bool lit = item == _choices->under_pointer;
    const NSRect rect = [self itemRect:item];
    if (lit) fill_rounded(NSInsetRect(rect, 3, 0), 3, accent());
    NSColor* color = lit ? gray(0.08) : item == _choices->selected ? accent() : gray(0.9);
    draw_line(NSInsetRect(rect, 9, 0), ns_text(_choices->names[static_cast<std::size_t>(item)]),
              [NSFont systemFontOfSize:12], color);
  }
}

- (NSInteger)itemUnder:(NSEvent*)event {
  const NSPoint point = [self convertPoint:[event locationInWindow] fromView:nil];
  if (!NSPointInRect(point, [self visibleRect])) return -1;
  return static_cast<NSInteger>(point.y / item_height);
}

- (void)light:(NSInteger)item {
  _choices->under_pointer = item;
  [self setNeedsDisplay:YES];
}

- (void)mouseMoved:(NSEvent*)event {
  [self light:[self itemUnder:event]];
}

- (void)mouseDown:(NSEvent*)event {
  [self light:[self itemUnder:event]];
}

- (void)mouseDragged:(NSEvent*)event {
  [self light:[self itemUnder:event]];
}

- (void)mouseUp:(NSEvent*)event {
  const NSInteger item = [self itemUnder:event];
  if (item >= 0) _choices->choose(item);
}

- (void)trackPointer:(NSEvent*)event {
  const NSPoint point = [event locationInWindow];
  const bool moved = std::fabs(point.y - _choices->opened_at.y) > menu_drag_distance;
  if (moved && [event type] == NSLeftMouseDragged) [self light:[self itemUnder:event]];
  if (moved && [event type] == NSLeftMouseUp) [self mouseUp:event];
}

- (void)keyDown:(NSEvent*)event {
  const auto last = static_cast<NSInteger>(_choices->names.size()) - 1;
  const auto page =
      static_cast<NSInteger>(NSHeight([[self enclosingScrollView] bounds]) / item_height) - 1;
  NSInteger item = _choices->under_pointer;
  switch (key_of(event)) {
    case NSUpArrowFunctionKey:
      item -= 1;
      break;
    case NSDownArrowFunctionKey:
      item += 1;
      break;
    case NSPageUpFunctionKey:
      item -= page;
      break;
    case NSPageDownFunctionKey:
      item += page;
      break;
    case NSHomeFunctionKey:
      item = 0;
      break;
    case NSEndFunctionKey:
      item = last;
      break;
    case ' ':
    case NSCarriageReturnCharacter:
      return _choices->choose(item);
    default:  // Escape and Tab too
      return _choices->choose(-1);
  }
  item = std::clamp<NSInteger>(item, 0, last);
  [self light:item];
  [self scrollRectToVisible:[self itemRect:item]];
}

@end
