#pragma once

/* aumu:Edit:Vesk plays its level as a constant, so that a turned knob can be read from the samples.
 * Its parameter kEditor says what it offers when it is asked for an editor. */

enum EditorParameter {
  kLevel,
  kEditor,
  kCutoff,
  kShape,
  kBright,
  kControllerRequests, /* meter: how often a view controller was asked for */
  kHeldReferences      /* meter: what the reader of the Cocoa UI property failed to release */
};

enum EditorVariant {
  kNoEditor,
  kCocoaView,
  kNonconformingClass,    /* and a controller */
  kLocationOnly,          /* a Cocoa UI property without a class, and a controller */
  kControllerOnMainQueue, /* with a view of its own size */
  kControllerFromThread,  /* an empty view and a preferred size of 500 x 0 */
  kControllerNever,
  kControllerNull,
  kCocoaViewAndController,
  kControllerPreferredSize, /* an empty view and a preferred size of 320 x 200 */
  kThreeClasses,            /* of which only the first may be used */
  kThrowsInFactory,         /* C++ */
  kRaisesInFactory,         /* Objective-C */
  kThrowsInMouseDown,
  kRaisesInDrawing,
  kThrowsInMainQueueTask,
  kLogs,
  kCrashesInMouseDown,
  kBreaksItsDisplay,         /* its own connection to the X server, when it is clicked */
  kBreaksItsDisplayOnThread,
  kVariantCount
};

/* The views' bundle exports this: hands a controller for `variant` to `completion`. */
#define VESK_EDITOR_CONTROLLER_FUNCTION "vesk_test_deliver_controller"
