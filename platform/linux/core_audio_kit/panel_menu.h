#pragma once

#import <AppKit/AppKit.h>

#include <functional>
#include <string>
#include <vector>

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
