#import "platform/linux/core_audio_kit/panel_painter.hpp"

#include <cmath>

namespace vesk::platform::paint {
namespace {

NSColor* gray(double white) { return [NSColor colorWithCalibratedWhite:white alpha:1]; }

NSColor* accent() { return [NSColor colorWithCalibratedRed:0.35 green:0.66 blue:0.93 alpha:1]; }

constexpr double background_white = 0.145;
constexpr double header_white = 0.115;
constexpr double groove_white = 0.29;
constexpr double field_white = 0.22;
constexpr double text_white = 0.90;
constexpr double quiet_white = 0.60;

void fill_rounded(NSRect rect, double radius, NSColor* color) {
  [color setFill];
  [[NSBezierPath bezierPathWithRoundedRect:rect xRadius:radius yRadius:radius] fill];
}

void fill_circle(double x, double y, double radius, NSColor* color) {
  [color setFill];
  const NSRect square = NSMakeRect(x - radius, y - radius, 2 * radius, 2 * radius);
  [[NSBezierPath bezierPathWithOvalInRect:square] fill];
}

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

enum class Side { left, right };

/// One line in the middle of `area`, its end cut where it is too long.
void line(const Area& area, const std::string& text, NSFont* font, NSColor* color, Side side) {
  NSDictionary* attributes =
      [NSDictionary dictionaryWithObjectsAndKeys:font, NSFontAttributeName, color,
                                                 NSForegroundColorAttributeName, nil];
  NSString* string = fitted([NSString stringWithUTF8String:text.c_str()], attributes, area.width);
  if ([string length] == 0) return;
  const NSSize size = [string sizeWithAttributes:attributes];
  const double x = side == Side::left ? area.x : area.right() - size.width;
  const double y = area.y + (area.height - size.height) / 2;
  [string drawAtPoint:NSMakePoint(std::round(x), std::round(y)) withAttributes:attributes];
}

Area inset(const Area& area, double left, double right) {
  return {area.x + left, area.y, area.width - left - right, area.height};
}

/// The groove of a slider or meter with its lit part.
void groove(const PanelLayout& layout, const PanelLayout::Row& row, double position,
            double thickness, NSColor* lit) {
  const Area area = layout.control_area(row);
  const double middle = area.y + area.height / 2;
  const double left = layout.slider_x(row, 0);
  const double right = layout.slider_x(row, 1);
  const NSRect whole = NSMakeRect(left, middle - thickness / 2, right - left, thickness);
  fill_rounded(whole, thickness / 2, gray(groove_white));
  NSRect part = whole;
  part.size.width = layout.slider_x(row, position) - left;
  if (part.size.width >= thickness) fill_rounded(part, thickness / 2, lit);
}

}  // namespace

NSRect rect_of(const Area& area) { return NSMakeRect(area.x, area.y, area.width, area.height); }

void background(NSRect rect) {
  [gray(background_white) setFill];
  NSRectFill(rect);
}

void header_edge(const PanelLayout& layout) {
  [gray(header_white) setFill];
  NSRectFill(NSMakeRect(0, 0, layout.width(), layout.list().y - 6));
}

void title(const Area& area, const std::string& text) {
  line(area, text, [NSFont boldSystemFontOfSize:17], gray(0.97), Side::left);
}

void maker(const Area& area, const std::string& text) {
  line(area, text, [NSFont systemFontOfSize:12], gray(quiet_white), Side::left);
}

void heading(const Area& area, const std::string& text) {
  const Area lower = {area.x, area.y + 6, area.width, area.height - 6};
  line(lower, text, [NSFont boldSystemFontOfSize:11], accent(), Side::left);
}

void name(const Area& area, const std::string& text) {
  line(area, text, [NSFont systemFontOfSize:12], gray(text_white), Side::left);
}

void value(const Area& area, const std::string& text) {
  line(area, text, [NSFont systemFontOfSize:12], gray(0.78), Side::right);
}

void slider(const PanelLayout& layout, const PanelLayout::Row& row, double position, bool held) {
  groove(layout, row, position, 4, accent());
  const Area area = layout.control_area(row);
  const double x = layout.slider_x(row, position);
  const double y = area.y + area.height / 2;
  fill_circle(x, y, 7, gray(background_white));
  fill_circle(x, y, 6, held ? gray(1) : gray(0.86));
}

void meter(const PanelLayout& layout, const PanelLayout::Row& row, double position) {
  groove(layout, row, position, 8,
         [NSColor colorWithCalibratedRed:0.45 green:0.78 blue:0.45 alpha:1]);
}

void toggle(const Area& area, bool on) {
  const NSRect body = NSMakeRect(area.x + 2, area.y + 2, 30, area.height - 4);
  const double radius = body.size.height / 2;
  fill_rounded(body, radius, on ? accent() : gray(groove_white));
  const double x = on ? NSMaxX(body) - radius : NSMinX(body) + radius;
  fill_circle(x, NSMidY(body), radius - 2, gray(0.95));
}

void field(const Area& area, const std::string& text, bool open) {
  fill_rounded(rect_of(area), 4, gray(open ? field_white + 0.08 : field_white));
  line(inset(area, 9, 22), text, [NSFont systemFontOfSize:12], gray(text_white), Side::left);
  const double x = area.right() - 14;
  const double y = area.y + area.height / 2;
  NSBezierPath* mark = [NSBezierPath bezierPath];
  [mark moveToPoint:NSMakePoint(x - 4, y - 2)];
  [mark lineToPoint:NSMakePoint(x + 4, y - 2)];
  [mark lineToPoint:NSMakePoint(x, y + 3)];
  [mark closePath];
  [gray(quiet_white) setFill];
  [mark fill];
}

void scroll_bar(const PanelLayout& layout) {
  if (!layout.scrolls()) return;
  fill_rounded(rect_of(layout.scroll_track()), 3, gray(background_white + 0.03));
  fill_rounded(rect_of(layout.scroll_thumb()), 3, gray(0.42));
}

void menu_frame(const Area& area) {
  NSRect rect = rect_of(area);
  fill_rounded(NSInsetRect(rect, -1, -1), 5, gray(0.38));
  fill_rounded(rect, 4, gray(field_white - 0.03));
}

void menu_item(const Area& area, const std::string& text, bool selected, bool under_pointer) {
  if (under_pointer) fill_rounded(NSInsetRect(rect_of(area), 3, 0), 3, accent());
  NSColor* color = under_pointer ? gray(0.08) : selected ? accent() : gray(text_white);
  line(inset(area, 9, 8), text, [NSFont systemFontOfSize:12], color, Side::left);
}

}  // namespace vesk::platform::paint
