#pragma once

#import <AppKit/AppKit.h>

#include <functional>
#include <string>
#include <vector>

// The toolkit's controls with the panel's looks and manners. None waits for a button to be released
// in a loop of its own, as the toolkit's do: the host goes on with its turns while somebody drags.

namespace vesk::platform {

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

/// The choices of an open menu. Not an NSMenu: that waits in a loop of its own until something is
/// chosen, so that the host would neither hear nor save nor end, and one that is longer than the
/// screen does not scroll.
@interface VeskChoiceList : NSView {
  struct VeskChoices* _choices;
}
/// Opens over `panel`, below `field` or above where there is no room. `choose` is called with the
/// choice, or with a negative number when it was closed without one; either way it is to be closed.
+ (VeskChoiceList*)openOver:(NSView*)panel
                       from:(NSRect)field
                      names:(std::vector<std::string>)names
                   selected:(NSInteger)selected
                     choose:(std::function<void(NSInteger)>)choose;
- (void)close;
/// What the button that opened it goes on to hear of the pointer.
- (void)trackPointer:(NSEvent*)event;
@end
