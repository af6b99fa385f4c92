#pragma once

// What shows an interface of one kind inside an X window of another process.

#include <lv2/ui/ui.h>

#include <memory>
#include <string>

#include "components/lv2/catalogue/interface_kind.hpp"
#include "components/lv2/editor/running_interface.hpp"

namespace vesk::lv2 {

/// Main thread only.
class Toolkit {
 public:
  /// The toolkit for `kind`, ready for interfaces to be made with it. It is opened now, as the
  /// library that the interface itself needs: nothing of it is there when this program is built.
  /// Null with a sentence in `error`.
  static std::unique_ptr<Toolkit> open(InterfaceKind kind, std::string& error);
  virtual ~Toolkit() = default;

  /// Puts the interface's widget into the X window `parent`, to be seen. The X window that does it,
  /// or 0 for one that takes care of itself.
  virtual unsigned long show(LV2UI_Widget widget, unsigned long parent) = 0;
  /// Handles what has happened.
  virtual void pump() = 0;
  /// Gives the widget another size, if it has one that is its own.
  virtual void resize(AreaSize size) = 0;
  /// How long what happens may wait to be handled.
  virtual int pause_ms() const = 0;
};

std::unique_ptr<Toolkit> open_gtk(const char* library, std::string& error);
std::unique_ptr<Toolkit> open_qt5(std::string& error);
std::unique_ptr<Toolkit> open_external();
/// The next window that an external interface makes is to be made in `parent`.
void take_in_window(unsigned long parent);

}  // namespace vesk::lv2
