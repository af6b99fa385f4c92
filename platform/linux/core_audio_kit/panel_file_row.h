#pragma once

#import "platform/linux/core_audio_kit/panel_row.h"
#include "platform/unit_extras.hpp"

/// A file that the plugin is told of: what it is for, and the file, which opens a list of the files
/// beside it. Not an NSOpenPanel: that waits in a loop of its own until something is chosen.
@interface VeskFileRow : NSView {
 @public
  AudioUnit _unit;
  NSString* _key;
  NSString* _label;
  NSString* _path;  // empty: none
  VeskButton* _button;
}
- (id)initWithUnit:(AudioUnit)unit file:(const vesk::platform::UnitFile&)file;
/// Shows what the plugin has now.
- (void)show:(const vesk::platform::UnitFile&)file;
/// Parts it from its button, which the window may hold until it is released.
- (void)retire;
@end
