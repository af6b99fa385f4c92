#pragma once

namespace vesk::platform {

/// Makes the application object if it is not there yet, so that the window manager's own
/// `sharedApplication` finds it. False without a display to open: a later call tries again. Once
/// one was opened and lost, perhaps while it was opened, there is no other.
bool prepare_application();

}  // namespace vesk::platform
