#pragma once

#include <CoreFoundation/CoreFoundation.h>
#import <Foundation/Foundation.h>

namespace vesk::platform {

/// The Foundation object that stands for a CoreFoundation one, for code that hands it to AppKit.
/// Nil for null. Not a reference of its own: valid as long as the argument and the innermost
/// autorelease pool are. Main thread.
NSString* ns_string(CFStringRef string);
NSURL* ns_url(CFURLRef url);

}  // namespace vesk::platform
