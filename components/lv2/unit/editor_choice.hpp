#pragma once

// Which of a plugin's interfaces can be shown inside a window of ours.

#include <string>

#include "components/lv2/catalogue/description.hpp"

namespace vesk::lv2 {

/// The first interface of `plugin` that is an X11 window and needs nothing that is not offered to
/// it; null when there is none. Interfaces of other toolkits (Gtk 2, Qt 5) would bring a second
/// main loop, external ones a window of their own. Not real-time.
const Editor* embeddable_editor(const Description& plugin);

/// The folder of the bundle that shows interfaces, beside this module; empty where it is missing.
std::string editor_bundle();

}  // namespace vesk::lv2
