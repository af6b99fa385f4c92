#pragma once
#pragma clang system_header

/* GNUstep's AppKit and what it lacks of the one that plugin views are written for. The bodies of
 * these additions are in the window module, so they are there whenever a view is. */

#include_next <AppKit/AppKit.h>

enum : NSUInteger { NSEventMaskAny = NSUIntegerMax };

/* The later names of the same numbers. */
#define NSCompositingOperationClear NSCompositeClear
#define NSCompositingOperationCopy NSCompositeCopy
#define NSCompositingOperationSourceOver NSCompositeSourceOver
#define NSCompositingOperationSourceIn NSCompositeSourceIn
#define NSCompositingOperationSourceOut NSCompositeSourceOut
#define NSCompositingOperationSourceAtop NSCompositeSourceAtop
#define NSCompositingOperationDestinationOver NSCompositeDestinationOver
#define NSCompositingOperationDestinationIn NSCompositeDestinationIn
#define NSCompositingOperationDestinationOut NSCompositeDestinationOut
#define NSCompositingOperationDestinationAtop NSCompositeDestinationAtop
#define NSCompositingOperationXOR NSCompositeXOR
#define NSCompositingOperationPlusDarker NSCompositePlusDarker
#define NSCompositingOperationPlusLighter NSCompositePlusLighter

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
/// Makes what is in the nib `name` and connects it to `owner`. Its top-level objects are owned by
/// the array that `top_level_objects` gets, autoreleased. NO when there is no such nib. Main
/// thread.
- (BOOL)loadNibNamed:(NSString*)name owner:(id)owner topLevelObjects:(NSArray**)top_level_objects;
@end

@interface NSWindow (VeskStyleMask)
/// Lets a window be resized, closed or minimised that was not made so, or no longer. Where there is
/// no window manager the window stays as it was made.
- (void)setStyleMask:(NSWindowStyleMask)mask;
@end

@class CALayer;

@interface NSView (VeskBacking)
/// Nil: views are drawn without layers.
@property(nonatomic, readonly) CALayer* layer;
/// Nothing; for overriders to pass on. A screen keeps its scale while a window is on it.
- (void)viewDidChangeBackingProperties;
@end
