#pragma once

#import <CoreAudioKit/AUGenericView.h>

#include <functional>
#include <string>
#include <vector>

#import "platform/linux/core_audio_kit/panel_controls.h"
#include "platform/linux/core_audio_kit/parameter.hpp"

namespace vesk::platform {

// Points.
constexpr double panel_width = 500;
constexpr double margin = 18;
constexpr double row_height = 28;
constexpr double control_x = 188;

/// What the toolkit's field editor makes of the key, which elsewhere would be cancelOperation.
bool is_escape(SEL command);

/// The nearest view of a class around `responder`, itself included; nil for what is no view.
id enclosing(Class wanted, id responder);

}  // namespace vesk::platform

@interface AUGenericView (VeskMenus)
/// Opens a menu below `button`, and calls `choose` with what is chosen in it.
- (void)vesk_openMenuFrom:(NSView*)button
                    names:(std::vector<std::string>)names
                 selected:(NSInteger)selected
                   choose:(std::function<void(NSInteger)>)choose;
/// Asks the unit which files its plugin has, and shows them.
- (void)vesk_showFiles;
@end

/// A parameter's name, control and value, or without a parameter a heading.
@interface VeskRow : NSView <VeskGestures, NSTextFieldDelegate> {
 @public
  AudioUnit _unit;
  const vesk::platform::Parameter* _parameter;  // null for a heading
  NSString* _name;
  NSString* _text;
  float _value;  // no number before it was read
  BOOL _in_gesture;
  NSControl* _control;  // null for a meter
  VeskField* _field;    // of a slider
}
- (id)initWithUnit:(AudioUnit)unit
         parameter:(const vesk::platform::Parameter*)parameter
              name:(NSString*)name;
/// Shows the present value where it is another than before.
- (BOOL)refresh;
- (void)set:(float)value;
/// Parts it from its control, which the window may hold until a button is released.
- (void)retire;
@end
