#pragma once
#pragma clang system_header

/* GNUstep's AppKit and what it lacks of the one that plugin views are written for. The bodies of
 * these additions are in the window module, so they are there whenever a view is. */

#include_next <AppKit/AppKit.h>

enum : NSUInteger { NSEventMaskAny = NSUIntegerMax };

@interface NSApplication (VeskActivationPolicy)
/// Whether the application shows itself beside its windows (icon, menu). A host is accessory: it
/// does not. NO for a policy that does not exist.
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy;
- (NSApplicationActivationPolicy)activationPolicy;
@end

@interface NSViewController (VeskPreferredContentSize)
/// The size that the controller would like its view to have; zero until somebody sets it.
@property(nonatomic) NSSize preferredContentSize;
@end

@interface NSBundle (VeskNibLoading)
/// Makes what is in the nib `name` and connects it to `owner`. Its top-level objects are owned by the
/// array that `top_level_objects` gets, autoreleased. NO when there is no such nib. Main thread.
- (BOOL)loadNibNamed:(NSString*)name
               owner:(id)owner
     topLevelObjects:(NSArray**)top_level_objects;
@end
