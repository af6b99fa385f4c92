#pragma once

// An X window of ours in which a plugin's interface makes its own.

#include <memory>
#include <optional>

#include "components/lv2/editor/running_interface.hpp"

struct _XDisplay;
union _XEvent;

namespace vesk::lv2 {

/// On a connection of its own, so that nothing of the toolkit's is waited for or changed. It is
/// made outside of any window and unseen: an interface can thus be made, and its size be known,
/// before the window it goes into. Main thread only.
class PluginArea {
 public:
  /// Null when the display does not answer.
  static std::unique_ptr<PluginArea> open();
  ~PluginArea();
  PluginArea(const PluginArea&) = delete;
  PluginArea& operator=(const PluginArea&) = delete;

  /// The X window's id.
  unsigned long window() const { return window_; }
  /// Whether the display can show OpenGL.
  bool has_glx() const;
  /// Whether the server has gone.
  bool is_lost() const;

  /// Shows the area in the X window `parent`, its upper left corner at (x, y).
  void put_into(unsigned long parent, int x, int y);
  /// Takes it out of its window again, which may then end.
  void take_out();
  void resize(AreaSize size);

  /// The size of the window that the interface has made in here; nothing while it has none, or one
  /// that is not laid out yet, and nothing when no window in here has changed since the last call.
  std::optional<AreaSize> new_content_size();

  /// Whether anybody has pressed a button, a key or a finger in here since the area was made. What
  /// happened before the call is always counted.
  bool is_touched();
  /// Whether a button or a finger has been pressed in here since the last call.
  bool take_press();
  /// Gives the keyboard to the interface's window, for one that does not take it.
  void give_keyboard();
  /// Whether what is in here has the keyboard.
  bool has_focus() const { return has_focus_; }
  /// Whether other windows are above the one it is in; menus and the like are not counted.
  bool is_covered() const;
  /// Reads what the server has sent.
  void read_events();

 private:
  explicit PluginArea(_XDisplay* display);
  void watch_input();
  void take(_XEvent& event);
  unsigned long content() const;

  _XDisplay* display_;
  unsigned long window_ = 0;
  unsigned long parent_ = 0;
  int x_ = 0;
  int y_ = 0;
  AreaSize size_{1, 1};
  int input_extension_ = -1;
  bool pointer_is_inside_ = false;
  bool has_focus_ = false;
  bool touched_ = false;
  bool pressed_ = false;
  bool content_changed_ = false;
};

}  // namespace vesk::lv2
