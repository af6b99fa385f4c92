// The view that shows a plugin's own interface inside a window of the toolkit's.

#import <AppKit/AppKit.h>
#import <AudioToolbox/AUCocoaUIView.h>
#import <GNUstepGUI/GSDisplayServer.h>
#import <vesk/editor_failure.h>

#include "components/lv2/editor/editor_session.hpp"
#include "components/lv2/editor/interface_features.hpp"
#include "components/lv2/unit/editor_link.hpp"

using vesk::lv2::AreaSize;
using vesk::lv2::EditorSession;

@interface VeskLV2EditorView : NSView {
  EditorSession* _session;
  NSTimer* _timer;
  AreaSize _followed;
  BOOL _isFollowing;
}
- (id)initWithSession:(EditorSession*)session;
- (void)takeTurn;
@end

/// Holds the view without keeping it: a timer keeps its target.
@interface VeskLV2Turns : NSObject {
 @public
  VeskLV2EditorView* _view;
}
- (void)tick:(NSTimer*)timer;
@end

@implementation VeskLV2Turns

- (void)tick:(NSTimer*)timer {
  [_view takeTurn];
}

@end

@implementation VeskLV2EditorView

- (id)initWithSession:(EditorSession*)session {
  const AreaSize size = session->size();
  self = [super initWithFrame:NSMakeRect(0, 0, size.width, size.height)];
  _session = session;
  _followed = size;
  VeskLV2Turns* turns = [[[VeskLV2Turns alloc] init] autorelease];
  turns->_view = self;
  _timer = [[NSTimer timerWithTimeInterval:1 / vesk::lv2::turns_per_second
                                    target:turns
                                  selector:@selector(tick:)
                                  userInfo:nil
                                   repeats:YES] retain];
  for (NSString* mode in @[ NSDefaultRunLoopMode, NSEventTrackingRunLoopMode ])
    [[NSRunLoop currentRunLoop] addTimer:_timer forMode:mode];
  return self;
}

- (void)dealloc {
  [[NSNotificationCenter defaultCenter] removeObserver:self];
  [_timer invalidate];
  [_timer release];
  _session->take_out();
  delete _session;
  [super dealloc];
}

- (BOOL)isOpaque {
  return YES;
}

- (void)viewWillMoveToWindow:(NSWindow*)window {
  NSNotificationCenter* center = [NSNotificationCenter defaultCenter];
  [center removeObserver:self name:NSWindowWillCloseNotification object:nil];
  // A closed window may end with all that is in it before this view does.
  _session->take_out();
  if (window) {
    [center addObserver:self
               selector:@selector(windowWillClose:)
                   name:NSWindowWillCloseNotification
                 object:window];
  }
  [super viewWillMoveToWindow:window];
}

- (void)windowWillClose:(NSNotification*)notification {
  _session->take_out();
}

- (void)place {
  NSWindow* window = [self window];
  if (![window isVisible]) return;
  const auto parent = reinterpret_cast<unsigned long>(
      [GSServerForWindow(window) windowDevice:static_cast<int>([window windowNumber])]);
  if (!parent) return;
  // What fills the X window is the content where a window manager draws the title bar, and the
  // outermost view, with the title bar in it, where the toolkit does.
  NSView* filling = [window contentView];
  while (![GSCurrentServer() handlesWindowDecorations] && [filling superview])
    filling = [filling superview];
  const NSRect whole = [filling convertRect:[filling bounds] toView:nil];
  const NSRect frame = [self convertRect:[self bounds] toView:nil];
  const CGFloat left = NSMinX(frame) - NSMinX(whole);
  const CGFloat top = NSMaxY(whole) - NSMaxY(frame);
  _session->put_into(parent, static_cast<int>(left), static_cast<int>(top));
}

- (void)takeTurn {
  if (!_session->turn()) {
    [_timer invalidate];
    if (_session->failure().empty()) {
      [[self window] close];
    } else {
      NSString* reason = [NSString stringWithUTF8String:_session->failure().c_str()];
      [[self window] vesk_failEditor:reason ? reason : @"unknown exception"];
    }
    return;
  }
  [self followSize];
  [self place];
  if (_session->take_press()) [self comeForward];
}

/// The toolkit does not see a click on the interface's own X window, and a window manager, which
/// does, is not always there.
- (void)comeForward {
  NSWindow* window = [self window];
  if ([GSServerForWindow(window) handlesWindowDecorations]) return;
  // Not above a menu that the click has opened.
  if (_session->is_covered()) [window orderFront:nil];
  if (_session->has_focus()) return;
  [NSApp activateIgnoringOtherApps:YES];
  [window makeKeyWindow];
}

/// The window grows and shrinks at its lower right corner, and only with the interface: whoever
/// forces another size on it would be fought otherwise.
- (void)followSize {
  const AreaSize area = _session->size();
  if (area == _followed) return;
  _followed = area;
  const NSSize size = NSMakeSize(area.width, area.height);
  NSWindow* window = [self window];
  if (NSEqualSizes(size, [self frame].size)) return;
  _isFollowing = YES;
  if ([window contentView] == self) {
    // In one step: the window has its new frame only when the server has said so.
    NSRect content = [window contentRectForFrameRect:[window frame]];
    content.origin.y = NSMaxY(content) - size.height;
    content.size = size;
    [window setFrame:[window frameRectForContentRect:content] display:YES];
  } else {
    [self setFrameSize:size];
  }
  _isFollowing = NO;
}

- (void)tellSize:(NSSize)size {
  if (!_session || _isFollowing || size.width < 1 || size.height < 1) return;
  const AreaSize area{static_cast<int>(size.width), static_cast<int>(size.height)};
  if (area != _session->size()) _session->resize(area);
}

- (void)setFrameSize:(NSSize)size {
  [super setFrameSize:size];
  [self tellSize:size];
}

- (void)setFrame:(NSRect)frame {
  [super setFrame:frame];
  [self tellSize:frame.size];
}

@end

@interface VeskLV2ViewFactory : NSObject <AUCocoaUIBase>
@end

@implementation VeskLV2ViewFactory

- (unsigned)interfaceVersion {
  return 0;
}

- (NSView*)uiViewForAudioUnit:(AudioUnit)unit withSize:(NSSize)size {
  auto* display = static_cast<_XDisplay*>([GSCurrentServer() serverDevice]);
  std::string error;
  auto session = EditorSession::open(unit, display, error);
  // What raises is told, and the generic panel comes in the place of its view.
  if (!session) {
    [NSException raise:NSGenericException
                format:@"its own interface cannot be shown: %s", error.c_str()];
  }
  return [[[VeskLV2EditorView alloc] initWithSession:session.release()] autorelease];
}

@end
