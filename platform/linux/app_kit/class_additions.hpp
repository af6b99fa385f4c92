#pragma once

namespace vesk::platform {

/// Gives the toolkit's windows the behaviour that the window manager relies on. Once, before the
/// first window.
void install_window_additions();

/// Keeps the toolkit from offering services to other applications and from looking for theirs.
/// Once, before there is an application object.
void keep_to_this_process();

}  // namespace vesk::platform
