#pragma once

namespace vesk::lv2 {

/// Several plugins make a Qt application object of their own, which ends the process when no
/// display answers it. Tells Qt to do without one in that case, unless the environment says
/// already what to use. Call before such a library is opened, while no other thread reads the
/// environment.
void choose_qt_platform();

}  // namespace vesk::lv2
