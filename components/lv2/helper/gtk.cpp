// Gtk 2 and 3, which have the same functions for what is needed here.

#include <stdlib.h>

#include "components/lv2/helper/toolkit.hpp"
#include "components/lv2/helper/toolkit_library.hpp"

namespace vesk::lv2 {
namespace {

/// The functions as Gtk declares them, with its objects as plain pointers.
struct GtkCalls {
  void (*disable_setlocale)();
  int (*init_check)(int* count, char*** arguments);
  void* (*plug_new)(unsigned long socket);
  unsigned long (*plug_get_id)(void* plug);
  void (*container_add)(void* container, void* widget);
  void (*show_all)(void* widget);
  void (*resize)(void* window, int width, int height);
  int (*events_pending)();
  int (*iterate)();
  void (*flush)();

  bool find(const ToolkitLibrary& library, std::string& error) {
    return library.find(disable_setlocale, "gtk_disable_setlocale", error) &&
           library.find(init_check, "gtk_init_check", error) &&
           library.find(plug_new, "gtk_plug_new", error) &&
           library.find(plug_get_id, "gtk_plug_get_id", error) &&
           library.find(container_add, "gtk_container_add", error) &&
           library.find(show_all, "gtk_widget_show_all", error) &&
           library.find(resize, "gtk_window_resize", error) &&
           library.find(events_pending, "gtk_events_pending", error) &&
           library.find(iterate, "gtk_main_iteration", error) &&
           library.find(flush, "gdk_flush", error);
  }
};

class Gtk final : public Toolkit {
 public:
  explicit Gtk(const GtkCalls& calls) : gtk_(calls) {}

  unsigned long show(LV2UI_Widget widget, unsigned long parent) override {
    plug_ = gtk_.plug_new(parent);
    gtk_.container_add(plug_, widget);
    gtk_.show_all(plug_);
    gtk_.flush();
    return gtk_.plug_get_id(plug_);
  }

  void pump() override {
    for (int left = most_events; left > 0 && gtk_.events_pending() != 0; --left) gtk_.iterate();
  }

  void resize(AreaSize size) override {
    if (plug_ != nullptr) gtk_.resize(plug_, size.width, size.height);
  }

  int pause_ms() const override { return 10; }

 private:
  /// An interface that never stops drawing must not keep the host's words waiting.
  static constexpr int most_events = 500;

  GtkCalls gtk_;
  void* plug_ = nullptr;
};

}  // namespace

std::unique_ptr<Toolkit> open_gtk(const char* name, std::string& error) {
  // Another program's window is an X window. No accessibility bus: it is waited for where there is
  // none.
  setenv("GDK_BACKEND", "x11", 1);
  setenv("NO_AT_BRIDGE", "1", 1);
  ToolkitLibrary library;
  GtkCalls calls;
  if (!library.open(name, error) || !calls.find(library, error)) return nullptr;
  // Interfaces read numbers with a point.
  calls.disable_setlocale();
  if (calls.init_check(nullptr, nullptr) == 0) {
    error = "its toolkit does not start";
    return nullptr;
  }
  return std::make_unique<Gtk>(calls);
}

}  // namespace vesk::lv2
