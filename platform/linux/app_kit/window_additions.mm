// Where GNUstep's windows behave otherwise than the AppKit that the window manager is written for.

#import <AppKit/AppKit.h>
#import <GNUstepGUI/GSDisplayServer.h>
#include <objc/runtime.h>
#import <vesk/editor_failure.h>

#include <cstdio>

#import "platform/linux/app_kit/class_additions.hpp"
#import "platform/linux/app_kit/editors.hpp"
#include "platform/linux/app_kit/thrown.hpp"

namespace {

NSString* frame_key(NSString* name) { return [@"NSWindow Frame " stringByAppendingString:name]; }

bool is_on_a_screen(NSRect frame) {
  for (NSScreen* screen in [NSScreen screens])
    if (NSIntersectsRect(frame, [screen frame])) return true;
  return false;
}

constexpr CGFloat cascade_step = 24;  // a title bar's height

/// Whether a window with `frame` would cover most of the title bar of an editor below it.
bool hides_a_title(NSRect frame, NSWindow* above) {
  for (NSWindow* window in [NSApp windows]) {
    if (window == above || !vesk::platform::plugin_of(window) || ![window isVisible]) continue;
    NSRect title = [window frame];
    title.origin.y = NSMaxY(title) - cascade_step;
    title.size.height = cascade_step;
    const NSSize hidden = NSIntersectionRect(frame, title).size;
    if (hidden.width * hidden.height > NSWidth(title) * NSHeight(title) / 2) return true;
  }
  return false;
}

void exchange(SEL original, SEL replacement) {
  const Method method = class_getInstanceMethod([NSWindow class], original);
  if (!method) return;
  method_exchangeImplementations(method, class_getInstanceMethod([NSWindow class], replacement));
}

/// A window's closing. What a view throws when it hears of it must keep neither the window on
/// screen nor the window manager from hearing of it too.
class Departure {
 public:
  explicit Departure(NSWindow* window) : window_([window retain]) {}
  ~Departure() {
    if (!is_done_ && [window_ isVisible]) leave();
    [window_ release];
  }
  void end() { is_done_ = true; }
  Departure(const Departure&) = delete;
  Departure& operator=(const Departure&) = delete;

 private:
  void leave() {
    if (vesk::platform::plugin_of(window_)) [[window_ delegate] windowWillClose:nil];
    [window_ orderOut:nil];
  }

  NSWindow* window_;
  bool is_done_ = false;
};

}  // namespace

// Each exchanged with the method that it is named after, so that the call of itself in it is one
// of the original.
@interface NSWindow (VeskReplacements)
- (BOOL)vesk_setFrameAutosaveName:(NSString*)name;
- (void)vesk_saveFrameUsingName:(NSString*)name;
- (BOOL)vesk_setFrameUsingName:(NSString*)name;
- (void)vesk_center;
- (void)vesk_setContentView:(NSView*)view;
- (BOOL)vesk_isVisible;
- (void)vesk_close;
- (void)vesk_update;
- (void)vesk_handleAutodisplay;
@end

@implementation NSWindow (VeskReplacements)

/// A window stays where it is put, off every screen too.
- (NSRect)constrainFrameRect:(NSRect)frame toScreen:(NSScreen*)screen {
  return frame;
}

/// The original saves the present frame under a name that has none yet, so that the window would
/// seem to have been placed once.
- (BOOL)vesk_setFrameAutosaveName:(NSString*)name {
  NSUserDefaults* defaults = [NSUserDefaults standardUserDefaults];
  const bool is_new = [name length] > 0 && ![defaults objectForKey:frame_key(name)];
  const BOOL accepted = [self vesk_setFrameAutosaveName:name];
  if (is_new) [defaults removeObjectForKey:frame_key(name)];
  return accepted;
}

/// A place that nobody can see is not worth remembering.
- (void)vesk_saveFrameUsingName:(NSString*)name {
  if (is_on_a_screen([self frame])) [self vesk_saveFrameUsingName:name];
}

/// Nor is one on a screen that is no longer there: it counts as never saved. A window that is
/// higher now, or lower, has its upper edge where it was, and not its lower one.
- (BOOL)vesk_setFrameUsingName:(NSString*)name {
  if (![self vesk_setFrameUsingName:name]) return NO;
  NSString* saved = [[NSUserDefaults standardUserDefaults] stringForKey:frame_key(name)];
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  if (saved && sscanf([saved UTF8String], "%lf %lf %lf %lf", &x, &y, &width, &height) == 4)
    [self setFrameTopLeftPoint:NSMakePoint(x, y + height)];
  return is_on_a_screen([self frame]);
}

/// The original puts one editor exactly on top of another.
- (void)vesk_center {
  [self vesk_center];
  const NSRect screen = [[self screen] visibleFrame];
  NSRect frame = [self frame];
  while (hides_a_title(frame, self)) {
    frame = NSOffsetRect(frame, cascade_step, -cascade_step);
    if (!NSContainsRect(screen, frame)) return;
    [self setFrameOrigin:frame.origin];
  }
}

/// A minimised window is one that its user keeps: its editor is open.
- (BOOL)vesk_isVisible {
  return [self vesk_isVisible] || [self isMiniaturized];
}

- (void)vesk_setContentView:(NSView*)view {
  vesk::platform::EditorTurn turn(self);
  [self retain];
  [self vesk_setContentView:view];
  // Not reached when a view throws as it comes or leaves. It would do so again as the window ends,
  // in the middle of an autorelease pool: such a window is kept for good.
  [self release];
  turn.end();
}

- (void)vesk_close {
  vesk::platform::EditorTurn turn(self);
  Departure departure(self);
  // What is being typed is told to the view while it still has its unit.
  [self makeFirstResponder:nil];
  [self vesk_close];
  departure.end();
  turn.end();
}

- (void)vesk_update {
  vesk::platform::EditorTurn turn(self);
  [self vesk_update];
  turn.end();
}

/// What the run loop draws with. It logs what Objective-C raises and goes on, and the view would be
/// drawn in vain again and again; what C++ throws past it leaves it unable to draw any window. Both
/// are kept for the guard instead.
- (void)vesk_handleAutodisplay {
  vesk::platform::EditorTurn turn(self);
  const auto reason = vesk::platform::thrown_by([self] {
    @try {
      [self vesk_handleAutodisplay];
    } @catch (NSException* exception) {
      vesk::platform::keep_failure(self, exception);
    }
  });
  if (reason) [self vesk_failEditor:[NSString stringWithUTF8String:reason->c_str()]];
  turn.end();
}

@end

@implementation NSWindow (VeskStyleMask)

- (void)setStyleMask:(NSWindowStyleMask)mask {
  GSDisplayServer* server = GSServerForWindow(self);
  // The toolkit's own title bars are made once, for one style.
  if (!server || ![server handlesWindowDecorations]) return;
  const NSRect content = [self contentRectForFrameRect:[self frame]];
  _styleMask = mask;
  [server stylewindow:static_cast<unsigned>(mask):static_cast<int>([self windowNumber])];
  // What a window manager draws around it may have another size.
  [self setFrame:[self frameRectForContentRect:content] display:NO];
}

@end

@implementation NSWindow (VeskEditorFailure)

- (void)vesk_failEditor:(NSString*)reason {
  vesk::platform::keep_failure(self, [NSException exceptionWithName:NSGenericException
                                                             reason:reason
                                                           userInfo:nil]);
}

@end

/// Writes the frames out when a window closes; a host may live for hours and end abruptly.
@interface VeskFrameKeeper : NSObject
@end

@implementation VeskFrameKeeper

+ (void)windowWillClose:(NSNotification*)notification {
  [[NSUserDefaults standardUserDefaults] synchronize];
}

@end

namespace vesk::platform {

void install_window_additions() {
  exchange(@selector(setFrameAutosaveName:), @selector(vesk_setFrameAutosaveName:));
  exchange(@selector(saveFrameUsingName:), @selector(vesk_saveFrameUsingName:));
  exchange(@selector(setFrameUsingName:), @selector(vesk_setFrameUsingName:));
  exchange(@selector(center), @selector(vesk_center));
  exchange(@selector(setContentView:), @selector(vesk_setContentView:));
  exchange(@selector(isVisible), @selector(vesk_isVisible));
  exchange(@selector(close), @selector(vesk_close));
  exchange(@selector(update), @selector(vesk_update));
  exchange(NSSelectorFromString(@"_handleAutodisplay"), @selector(vesk_handleAutodisplay));
  [[NSNotificationCenter defaultCenter] addObserver:[VeskFrameKeeper class]
                                           selector:@selector(windowWillClose:)
                                               name:NSWindowWillCloseNotification
                                             object:nil];
}

}  // namespace vesk::platform
