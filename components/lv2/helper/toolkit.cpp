#include "components/lv2/helper/toolkit.hpp"

namespace vesk::lv2 {

std::unique_ptr<Toolkit> Toolkit::open(InterfaceKind kind, std::string& error) {
  switch (kind) {
    case InterfaceKind::gtk2:
      return open_gtk("libgtk-x11-2.0.so.0", error);
    case InterfaceKind::gtk3:
      return open_gtk("libgtk-3.so.0", error);
    case InterfaceKind::qt5:
      return open_qt5(error);
    case InterfaceKind::external:
      return open_external();
    default:
      error = "it is of an unknown kind";
      return nullptr;
  }
}

}  // namespace vesk::lv2
