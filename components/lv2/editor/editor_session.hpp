#pragma once

// One open editor: the unit's side, the X window, and the interface in it.

#include <AudioToolbox/AudioComponent.h>

#include <memory>
#include <string>

#include "components/lv2/editor/plugin_area.hpp"
#include "components/lv2/editor/plugin_interface.hpp"
#include "components/lv2/unit/editor_link.hpp"

struct _XDisplay;

namespace vesk::lv2 {

/// What a view object does, in plain C++: what a plugin throws can only be caught here. Main
/// thread only.
class EditorSession final : private EditorViewer {
 public:
  /// Makes the interface of `unit`'s plugin, in no window yet. Null with a sentence in `error` when
  /// it cannot be had. `toolkit_display` is the window system's own connection.
  static std::unique_ptr<EditorSession> open(AudioUnit unit, _XDisplay* toolkit_display,
                                             std::string& error);
  ~EditorSession();
  EditorSession(const EditorSession&) = delete;
  EditorSession& operator=(const EditorSession&) = delete;

  /// The size that the interface has given itself.
  AreaSize size() const { return size_; }
  /// Asks the interface to have another one; what becomes of it, `size` tells after the next turn.
  void resize(AreaSize size);
  /// Shows it in an X window, or in none.
  void put_into(unsigned long parent, int x, int y);
  void take_out();

  /// Whether it was clicked since the last call.
  bool take_press();
  /// Whether another window is above it.
  bool is_covered() const { return !area_->is_lost() && area_->is_covered(); }
  /// Whether the interface has the keyboard.
  bool has_focus() const { return area_->has_focus(); }

  /// To be called some thirty times a second. False when the editor is to be closed.
  bool turn();
  /// What went wrong, once `turn` has said no; empty when the interface just ended.
  const std::string& failure() const { return failure_; }

 private:
  EditorSession(EditorLink& link, std::unique_ptr<PluginArea> area, _XDisplay* toolkit_display);
  bool open_interface(std::string& error);
  void follow_size();
  void instance_leaves() override;
  void unit_ends() override;

  EditorLink* link_;
  std::unique_ptr<PluginArea> area_;
  std::unique_ptr<PluginInterface> interface_;
  _XDisplay* toolkit_display_;
  AreaSize size_{400, 300};
  bool waits_for_instance_ = false;
  bool wants_keyboard_ = false;
  std::string failure_;
};

}  // namespace vesk::lv2
