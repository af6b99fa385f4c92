// What the toolkit's other classes lack, and what they must not do inside a host.

#import <AppKit/AppKit.h>
#include <AudioToolbox/AUCocoaUIView.h>
#import <CoreAudioKit/AUViewController.h>

@implementation NSApplication (VeskActivationPolicy)

// A host never shows more than its windows, so every policy is kept by doing nothing.
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy {
  return policy >= NSApplicationActivationPolicyRegular &&
         policy <= NSApplicationActivationPolicyProhibited;
}

- (NSApplicationActivationPolicy)activationPolicy {
  return NSApplicationActivationPolicyAccessory;
}

@end

namespace {

/// The sizes that somebody set. A category has no room for them in the controllers.
NSMapTable* preferred_sizes() {
  static NSMapTable* sizes = [[NSMapTable mapTableWithWeakToStrongObjects] retain];
  return sizes;
}

}  // namespace

@implementation NSViewController (VeskPreferredContentSize)

- (NSSize)preferredContentSize {
  NSValue* size = [preferred_sizes() objectForKey:self];
  return size ? [size sizeValue] : NSZeroSize;
}

- (void)setPreferredContentSize:(NSSize)size {
  [preferred_sizes() setObject:[NSValue valueWithSize:size] forKey:self];
}

@end

@implementation AUViewController

- (void)beginRequestWithExtensionContext:(NSExtensionContext*)context {
}

@end

/// A protocol that no class of this image adopts is not made known to the runtime, and then no
/// view factory conforms to it.
@interface VeskCocoaUIProtocolHolder : NSObject <AUCocoaUIBase>
@end

@implementation VeskCocoaUIProtocolHolder

- (unsigned)interfaceVersion {
  return 0;
}

- (NSView*)uiViewForAudioUnit:(AudioUnit)unit withSize:(NSSize)size {
  return nil;
}

@end

/// Notifications between processes would start a daemon that outlives the host and holds on to its
/// standard error. A host has nobody to notify.
@implementation NSDistributedNotificationCenter (VeskInert)

- (void)addObserver:(id)observer
              selector:(SEL)selector
                  name:(NSString*)name
                object:(NSString*)object
    suspensionBehavior:(NSNotificationSuspensionBehavior)behavior {
}

- (void)postNotificationName:(NSString*)name
                      object:(NSString*)object
                    userInfo:(NSDictionary*)info
          deliverImmediately:(BOOL)immediately {
}

- (void)removeObserver:(id)observer name:(NSString*)name object:(NSString*)object {
}

- (void)setSuspended:(BOOL)suspended {
}

@end
