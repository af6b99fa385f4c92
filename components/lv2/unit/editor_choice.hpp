#pragma once

// Which of a plugin's interfaces can be shown inside a window of ours.

#include <string>

#include "components/lv2/catalogue/description.hpp"

namespace vesk::lv2 {

/// The interface of `plugin` to show: the first that is an X11 window, else the first that
/// `editor_helper` can show; of those, one that needs nothing that is not offered to it. Null when
/// there is none. Not real-time.
const Editor* embeddable_editor(const Description& plugin);

/// The folder of the bundle that shows interfaces, beside this module; empty where it is missing.
std::string editor_bundle();
/// The program that shows interfaces of other toolkits, beside this module; empty where it is
/// missing.
std::string editor_helper();

}  // namespace vesk::lv2
