#pragma once

namespace vesk::platform {

/// Gives the toolkit's windows the behaviour that the window manager relies on. Once, before the
/// first window.
void install_window_additions();

}  // namespace vesk::platform
