#import "windows/window_delegate.h"

#include <Block.h>

@implementation VeskWindowDelegate

@synthesize plugin = _plugin;

// Written out: not every Objective-C runtime knows a block as an object that can be sent `copy`.
- (void (^)(unsigned int))onClose {
  return _onClose;
}

- (void)setOnClose:(void (^)(unsigned int))onClose {
  auto outgoing = _onClose;
  _onClose = Block_copy(onClose);
  if (outgoing) Block_release(outgoing);
}

- (void)dealloc {
  if (_onClose) Block_release(_onClose);
  [super dealloc];
}

- (void)windowWillClose:(NSNotification*)notification {
  if (_onClose) _onClose(_plugin);
}

@end
