#pragma once

#import <AppKit/AppKit.h>

/// Tells the window manager that a plugin's window closes.
@interface VeskWindowDelegate : NSObject <NSWindowDelegate> {
  unsigned int _plugin;
  void (^_onClose)(unsigned int);
}

/// The index of the plugin whose window it serves.
@property(nonatomic, assign) unsigned int plugin;

/// Called with `plugin` while the window closes; nil for nothing.
@property(nonatomic, copy) void (^onClose)(unsigned int);

@end
