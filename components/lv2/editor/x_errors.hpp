#pragma once

// What keeps a plugin's mistakes with X from ending the process. Main thread, but for the count.

struct _XDisplay;

namespace vesk::lv2 {

/// Xlib ends the process at the first protocol error, and toolkits inside interfaces put handlers
/// of their own in the place of others'. Makes errors count and nothing else, those on the
/// window system's own display `toolkit` apart, which go where they went before. To be called
/// again before anything of a plugin runs.
void count_x_errors(_XDisplay* toolkit);

/// Errors so far, of all interfaces.
unsigned long x_error_count();

/// Opens a display for ourselves: its loss makes calls with it return at once, and no more. Null
/// when it does not answer. To be closed with `close_display`, lost or not.
_XDisplay* open_display();
/// Whether the server of one of these has gone.
bool any_display_has_gone();
void close_display(_XDisplay* display);
/// Whether its server has gone, noticed or not.
bool display_has_gone(_XDisplay* display);

/// Runs `work(context)`, code that uses displays of its own. False when one of them was lost, or
/// the code crashed when one of ours was: then `work` was left in the middle, and what it belongs
/// to must not be used again. (Xlib ends the process when its handler for a lost connection
/// returns.)
bool survives_display_loss(void (*work)(void* context), void* context);

}  // namespace vesk::lv2
