#pragma once

#import <AppKit/AppKit.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/core_audio_kit/panel_layout.hpp"
#include "platform/linux/core_audio_kit/parameter.hpp"

namespace vesk::platform {

/// What a generic view shows and what happens when it is clicked. It draws all of itself and never
/// waits for a button to be released, so the host goes on with its turns while somebody drags.
///
/// Main thread. Touches the unit only in calls made to it, never in its destructor: a view may
/// outlive the unit that it was made for.
class ParameterPanel {
 public:
  /// `redraw` is told which part of the view has changed.
  ParameterPanel(AudioUnit unit, const PanelParts& parts, bool with_expert,
                 std::function<void(const Area&)> redraw);

  double width() const { return layout_.width(); }
  double height() const { return layout_.height(); }

  void draw(NSRect dirty);
  /// Reads what is in sight again, since a value may have been changed by anybody.
  void follow();
  /// Whether the unit has another number of parameters than the panel shows.
  bool is_outdated() const;

  void press(double x, double y, int clicks, bool fine);
  void drag(double x, double y);
  void release(double x, double y);
  void hover(double x, double y);
  /// Scrolls what is under the pointer, by points.
  void wheel(double x, double y, double distance);

 private:
  struct Shown {
    std::optional<float> value;
    std::string text;
  };
  struct Menu {
    MenuLayout layout;
    std::vector<std::string> names;
    std::size_t selected;
    std::optional<std::size_t> under_pointer;
    std::function<void(std::size_t)> choose;
    double opened_at_y;
    bool chooses_on_release;
  };
  struct Drag {
    const PanelLayout::Row* row;
    double start_x;
    double start_position;
    bool fine;
  };

  const Parameter& parameter_of(const PanelLayout::Row& row) const;
  bool read(const PanelLayout::Row& row);
  void draw_row(const PanelLayout::Row& row);
  void draw_control(const PanelLayout::Row& row);
  void redraw_row(const PanelLayout::Row& row) { redraw_(layout_.row_area(row)); }
  void redraw_list() { redraw_(layout_.list()); }
  void redraw_all() { redraw_({0, 0, width(), height()}); }

  void set(const PanelLayout::Row& row, float value);
  void tell_gesture(const PanelLayout::Row& row, AudioUnitEventType type);
  void set_in_one_gesture(const PanelLayout::Row& row, float value);
  void press_row(const PanelLayout::Row& row, double x, double y, int clicks, bool fine);
  void begin_drag(const PanelLayout::Row& row, double x, bool fine);
  void open_parameter_menu(const PanelLayout::Row& row, double y);
  void open_preset_menu(double y);
  void open_menu(Menu menu);
  bool press_menu(double x, double y);
  void close_menu();
  void scroll_to(double offset);

  AudioUnit unit_;
  PanelParts parts_;
  std::vector<Parameter> parameters_;
  PanelLayout layout_;
  std::function<void(const Area&)> redraw_;
  UnitTitle title_;
  std::vector<FactoryPreset> presets_;
  std::string present_preset_;
  std::vector<Shown> shown_;
  UInt32 list_size_ = 0;
  std::optional<Menu> menu_;
  std::optional<Drag> drag_;
  bool drags_thumb_ = false;
};

}  // namespace vesk::platform
