#pragma once

#import <AppKit/AppKit.h>

#include <string>

// The toolkit's controls with the panel's looks and manners. None waits for a button to be released
// in a loop of its own, as the toolkit's do: the host goes on with its turns while somebody drags.

namespace vesk::platform {

/// In points.
constexpr double scroller_width = 12;

/// The first character of a key event, 0 where there is none.
unichar key_of(NSEvent* event);

NSColor* gray(double white);
NSColor* accent();
NSString* ns_text(const std::string& text);
void fill_rounded(NSRect rect, double radius, NSColor* color);

/// One line in the middle of `area`, its end cut where it is too long.
void draw_line(NSRect area, NSString* text, NSFont* font, NSColor* color, bool at_right = false);

/// A groove as wide as `area`, lit up to `position`, 0 to 1.
void draw_groove(NSRect area, double position, double thickness, NSColor* lit);

}  // namespace vesk::platform

/// Whom a slider tells: its action comes between a beginning and an end.
@protocol VeskGestures
- (void)beginGesture;
- (void)endGesture;
- (void)resetValue;
/// How far an arrow key goes, 0 to 1.
- (double)stepFor:(BOOL)fine;
@end

/// From 0 to 1. Its target is a VeskGestures.
@interface VeskSlider : NSSlider {
  double _place;  // where the pointer has taken the knob, beyond its ends too
  double _pointer;
}
@end

/// Acts when it is pressed, or on Space and Return: a switch, or the field of a menu that shows its
/// title and a mark that it opens.
@interface VeskButton : NSButton {
  BOOL _is_switch;
}
- (id)initWithFrame:(NSRect)frame isSwitch:(BOOL)is_switch target:(id)target action:(SEL)action;
@end

/// A line of text to type in.
@interface VeskField : NSTextField
@end

/// A scroll view with a slim scroller at its right, there only when there is more to see.
@interface VeskScrollView : NSScrollView
- (void)scrollToY:(double)y;
- (double)longestScroll;
@end
