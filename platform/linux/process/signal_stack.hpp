#pragma once

namespace vesk::platform {

/// Gives the calling thread a stack for signal handlers, so that one which overran its own stack
/// can still say so. NULL when there is no memory or a sanitizer brings its own.
void* install_signal_stack();

/// Takes it away again; NULL does nothing. Same thread.
void remove_signal_stack(void* stack);

}  // namespace vesk::platform
