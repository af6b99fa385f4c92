#pragma once

#import <AppKit/AppKit.h>
#import <Foundation/NSExtensionRequestHandling.h>

typedef NSViewController AUViewControllerBase;

/// What a unit that answers the request for a view controller hands out, or a base for it.
@interface AUViewController : AUViewControllerBase <NSExtensionRequestHandling>
@end
