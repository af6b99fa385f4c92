// Qt 5. Its classes are called by the names that its libraries export, which have been the same for
// all of Qt 5 and will not change any more: so nothing of it is needed to build this program.

#include <stdlib.h>

#include <cstddef>

#include "components/lv2/helper/toolkit.hpp"
#include "components/lv2/helper/toolkit_library.hpp"

namespace vesk::lv2 {
namespace {

struct Size {  // QSize
  int width;
  int height;
};

struct QtCalls {
  void (*make_application)(void* self, int& count, char** arguments, int version);
  void (*process_events)(int flags);
  unsigned long long (*window_id)(const void* widget);
  void* (*window_handle)(const void* widget);
  void (*show)(void* widget);
  void (*resize)(void* widget, const Size& size);
  void* (*foreign_window)(unsigned long long id);
  void (*set_parent)(void* window, void* parent);

  bool find(const ToolkitLibrary& library, std::string& error) {
    return library.find(make_application, "_ZN12QApplicationC1ERiPPci", error) &&
           library.find(process_events,
                        "_ZN16QCoreApplication13processEventsE6QFlagsIN10QEventLoop17Process"
                        "EventsFlagEE",
                        error) &&
           library.find(window_id, "_ZNK7QWidget5winIdEv", error) &&
           library.find(window_handle, "_ZNK7QWidget12windowHandleEv", error) &&
           library.find(show, "_ZN7QWidget4showEv", error) &&
           library.find(resize, "_ZN7QWidget6resizeERK5QSize", error) &&
           library.find(foreign_window, "_ZN7QWindow9fromWinIdEy", error) &&
           library.find(set_parent, "_ZN7QWindow9setParentEPS_", error);
  }
};

class Qt5 final : public Toolkit {
 public:
  explicit Qt5(const QtCalls& calls) : qt_(calls) {
    qt_.make_application(application_, argument_count_, arguments_, version);
  }

  unsigned long show(LV2UI_Widget widget, unsigned long parent) override {
    widget_ = widget;
    const auto id = static_cast<unsigned long>(qt_.window_id(widget));
    void* window = qt_.window_handle(widget);
    void* area = qt_.foreign_window(parent);
    if (window != nullptr && area != nullptr) qt_.set_parent(window, area);
    qt_.show(widget);
    pump();
    return id;
  }

  void pump() override { qt_.process_events(0); }

  void resize(AreaSize size) override {
    if (widget_ != nullptr) qt_.resize(widget_, {size.width, size.height});
  }

  int pause_ms() const override { return 10; }

 private:
  static constexpr int version = 0x050000;

  QtCalls qt_;
  /// A QApplication is two pointers; it stays for the life of the process.
  alignas(std::max_align_t) std::byte application_[64] = {};
  char name_[12] = "vesk-lv2-ui";
  char* arguments_[2] = {name_, nullptr};
  int argument_count_ = 1;
  void* widget_ = nullptr;
};

}  // namespace

std::unique_ptr<Toolkit> open_qt5(std::string& error) {
  // Another program's window is an X window. Interfaces read numbers with a point, and Qt takes the
  // locale of the environment.
  setenv("QT_QPA_PLATFORM", "xcb", 1);
  setenv("LC_NUMERIC", "C", 1);
  unsetenv("LC_ALL");
  ToolkitLibrary library;
  QtCalls calls;
  if (!library.open("libQt5Widgets.so.5", error) || !calls.find(library, error)) return nullptr;
  return std::make_unique<Qt5>(calls);
}

}  // namespace vesk::lv2
