#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/scratch_folder.hpp"

namespace vesk::tests {

/// An X server without a screen, and a folder for the settings of what is shown on it. Names both
/// in this process's environment, so that its children find them.
class VirtualDisplay {
 public:
  /// Without `with_gl` it cannot show OpenGL.
  explicit VirtualDisplay(bool with_gl = true);
  ~VirtualDisplay();
  VirtualDisplay(const VirtualDisplay&) = delete;
  VirtualDisplay& operator=(const VirtualDisplay&) = delete;

  bool is_running() const { return pid_ > 0; }
  /// Runs a real window manager, openbox, from here on. False when it does not come up.
  bool start_window_manager();
  /// Whether the toolkit keeps `name` in the settings folder.
  bool keeps(const std::string& name) const;
  /// Changes what the toolkit keeps for `program` in its settings, while no such process uses them.
  void change_settings(const std::string& program, const std::string& pattern,
                       const std::string& replacement);
  /// Leaves the mark by which a window manager is known; one that `ended` left its mark behind.
  void pretend_window_manager(bool ended = false);
  /// The colour on screen at a point, as the server has it.
  unsigned long colour_at(int x, int y);
  /// What another program says of a window in numbers; empty when it says nothing.
  std::vector<unsigned long> property(unsigned long window, const char* name);
  /// Takes the keyboard away from whoever has it.
  void take_focus();
  /// What is shown on it, the lowest window first.
  std::vector<unsigned long> stacked_windows();
  /// Takes the server away from whoever is using it.
  void kill();

 private:
  void* connection();
  void end(int signal);

  ScratchFolder settings_;
  pid_t pid_ = -1;
  pid_t manager_ = -1;
  void* connection_ = nullptr;  ///< this process's own, an Xlib Display
};

struct WindowPlace {
  std::string id;
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  bool is_managed = false;  ///< a window manager draws what is around the view
};

/// The window on screen whose title holds `title` (a regular expression), waited for up to 10 s.
std::optional<WindowPlace> find_window(const std::string& title);
/// The same without a wait.
std::optional<WindowPlace> look_for_window(const std::string& title);
std::string title_of(const WindowPlace& window);

/// What `command`, run by the shell, writes to its standard output.
std::string output_of(const std::string& command);

/// The point on screen for one inside the view that `window` shows.
std::pair<int, int> on_screen(const WindowPlace& window, int x, int y);

// Real pointer events from another process, at points inside the view that the window shows. What
// draws a title bar without a window manager is in `window` as well.
void click(const WindowPlace& window, int x, int y, int count = 1);
void press(const WindowPlace& window, int x, int y);
void drag(const WindowPlace& window, int from_x, int from_y, int to_x, int to_y);
/// Closes the window as its user would.
void click_close_box(const WindowPlace& window);

/// The size of the view in `window`, without the drawn title bar and edges.
int view_width(const WindowPlace& window);
int view_height(const WindowPlace& window);

}  // namespace vesk::tests
