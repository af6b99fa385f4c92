#pragma once

/* For a view that cannot go on and has caught what it would have thrown: a toolkit inside it that
 * failed, code that must not be left by an exception. (A view may as well throw out of whatever
 * AppKit called it for; what it throws in a timer closes every editor, since timers belong to no
 * window.) */

#ifdef __OBJC__
#import <AppKit/AppKit.h>

@interface NSWindow (VeskEditorFailure)
/* Closes the editor in this window at the end of the present turn of the main loop, as one that
 * threw: its state is saved, and one line with `reason` goes to standard error. Of several failures
 * in one turn only the first is told. Main thread. */
- (void)vesk_failEditor:(NSString *)reason;
@end
#endif
