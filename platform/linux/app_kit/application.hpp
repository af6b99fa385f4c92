#pragma once

namespace vesk::platform {

/// Makes the application object if it is not there yet, so that the window manager's own
/// `sharedApplication` finds it. False without a display to open, or after its loss; a later call
/// tries again.
bool prepare_application();

}  // namespace vesk::platform
