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
  kHeldReferences,     /* meter: what the reader of the Cocoa UI property failed to release */
  kExtra,              /* and those behind it are there while kGrows is bright */
  kExtras = 40
};

enum EditorVariant {
  kNoEditor,
  kCocoaView,
  kGrows,                 /* no editor; its list of parameters is longer while it is bright */
  kControllerOnMainQueue, /* with a view of its own size */
  kControllerFromThread,  /* an empty view and a preferred size of 500 x 0 */
  kControllerTooLate,     /* from a thread after 2.2 s */
  kControllerNull,
  kControllerPreferredSize, /* an empty view and a preferred size of 320 x 200 */
  kControllerNoSize,        /* an empty view and no preferred size, in place of one that had one */
  kControllerWithoutView,   /* the last one without a Cocoa UI property */
  kCocoaViewAndController,
  kNonconformingClass, /* and a controller */
  kLocationOnly,       /* a Cocoa UI property without a class, and a controller */
  kThreeClasses,       /* of which only the first may be used */
  kThrowsInFactory,    /* C++ */
  kRaisesInFactory,    /* Objective-C */
  kExitsInFactory,     /* with status 0 */
  kThrowsInEntering,   /* when its window gets it */
  kThrowsInMouseDown,
  kThrowsInDrawing,
  kRaisesInDrawing,
  kThrowsInUpdate, /* of its window, after its events */
  kThrowsInMainQueueTask,
  kThrowsInTimer,
  kThrowsInClosing, /* while its window closes, before the window manager hears of it */
  kRaisesInClosing,
  kThrowsInLeaving, /* when its closed window is let go */
  kRaisesInLeaving,
  kRunsOutOfMemory, /* when it is clicked: C++ in its left half, Objective-C in the right */
  kTracksMouse,     /* waits for the release in a loop of its own, as many views do */
  kReadsNumber,     /* its level out of a text, where it can read one, at every click */
  kLogs,
  kWatches, /* one more of cutoff at every update of its window, bright while it is active */
  kCrashesInMouseDown,
  kBreaksItsDisplay, /* its own connection to the X server, when it is clicked */
  kBreaksItsDisplayOnThread,
  kLingers, /* a click begins to type 0.75 as the level; timer and tasks that read it never end */
  kOpenedBefore, /* its bundle's code is, by the unit; and its view is in a nib */
  kVariantCount
};

/* The views' bundle exports these: hands a controller for `variant` to `completion`. */
#define VESK_EDITOR_CONTROLLER_FUNCTION "vesk_test_deliver_controller"
/* Says how many of its views and controllers there are (int()). */
#define VESK_EDITOR_LIVE_FUNCTION "vesk_test_live_objects"
