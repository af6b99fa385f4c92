#pragma once

#import <AppKit/AppKit.h>

namespace vesk::platform {

/// What title bars and task bars show beside an editor's title: a turned knob. The caller's to
/// release.
NSImage* make_icon();

}  // namespace vesk::platform
