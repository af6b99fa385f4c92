#pragma once

#import <AppKit/AppKit.h>
#include <AudioToolbox/AudioToolbox.h>

typedef CF_OPTIONS(UInt32, AUGenericViewDisplayFlags) {
  AUViewTitleDisplayFlag = 1,
  AUViewPropertiesDisplayFlag = 2,
  AUViewParametersDisplayFlag = 4,
};

/// A panel with every parameter of a unit: what a unit without an interface of its own is edited
/// with. Follows the unit's values wherever they change. Main thread only.
@interface AUGenericView : NSView {
 @private
  struct AUGenericViewState *_state;
}

@property(nonatomic, readonly) AudioUnit audioUnit;

/// Whether parameters flagged for experts are shown; NO at first.
@property(nonatomic) BOOL showsExpertParameters;

/// With every part shown. Nil when `au` is null or does not answer.
- (AUGenericView *)initWithAudioUnit:(AudioUnit)au;

/// With the parts that `inFlags` names: the title, the unit's name and maker, its parameters.
- (AUGenericView *)initWithAudioUnit:(AudioUnit)inAudioUnit
                        displayFlags:(AUGenericViewDisplayFlags)inFlags;

@end
