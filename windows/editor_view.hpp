#pragma once

#import <AppKit/AppKit.h>

#include "windows/strong.hpp"

struct ComponentInstanceRecord;

namespace vesk::host {

struct EditorView {
  /// What the window shows; empty when no source gave a view.
  Strong<NSView> view;
  /// The controller that the unit delivered, if any; to be kept as long as the window.
  Strong<NSViewController> controller;
};

/// The view to edit `unit` with: its Cocoa UI, else the view of its extension view controller,
/// else a generic panel of its parameters. Main thread, with the application object there. Runs
/// the run loop for up to 2 s while the unit makes its controller.
EditorView editor_view(ComponentInstanceRecord* unit);

/// The generic panel of its parameters; empty where it cannot be made.
EditorView panel_view(ComponentInstanceRecord* unit);

/// The view that the first class of the unit's Cocoa UI property makes; empty where there is none.
Strong<NSView> cocoa_view(ComponentInstanceRecord* unit);

/// The view controller that the unit delivers within 2 s; empty where it does not.
Strong<NSViewController> extension_controller(ComponentInstanceRecord* unit);

}  // namespace vesk::host
