#pragma once

/* The factory of a unit's own editor view. The class's name and place come from the property
 * kAudioUnitProperty_CocoaUI (struct AudioUnitCocoaViewInfo in AudioUnitProperties.h). */

#include <AudioToolbox/AUComponent.h>

#ifdef __OBJC__
#import <AppKit/AppKit.h>

@protocol AUCocoaUIBase
/* The version of this protocol: 0. */
- (unsigned)interfaceVersion;
/* An autoreleased view for `inAudioUnit`, near `inPreferredSize` points; main thread. */
- (NSView *)uiViewForAudioUnit:(AudioUnit)inAudioUnit withSize:(NSSize)inPreferredSize;
@end
#endif
