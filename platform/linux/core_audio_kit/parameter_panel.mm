#import "platform/linux/core_audio_kit/parameter_panel.hpp"

#include <algorithm>
#include <cmath>

#import "platform/linux/core_audio_kit/panel_painter.hpp"

namespace vesk::platform {
namespace {

/// How much slower a knob moves under Shift.
constexpr double fine_factor = 0.1;
/// A press that moves this far before its release is one gesture: open, move, choose.
constexpr double menu_drag_distance = 6;

UInt32 parameter_list_size(AudioUnit unit) {
  UInt32 size = 0;
  const OSStatus status = AudioUnitGetPropertyInfo(unit, kAudioUnitProperty_ParameterList,
                                                   kAudioUnitScope_Global, 0, &size, nullptr);
  return status == noErr ? size : 0;
}

}  // namespace

ParameterPanel::ParameterPanel(AudioUnit unit, const PanelParts& parts, bool with_expert,
                               std::function<void(const Area&)> redraw)
    : unit_(unit),
      parts_(parts),
      parameters_(read_parameters(unit, with_expert)),
      layout_(parameters_, parts),
      redraw_(std::move(redraw)),
      title_(read_title(unit)),
      shown_(parameters_.size()),
      list_size_(parameter_list_size(unit)) {
  if (parts_.properties) presets_ = read_factory_presets(unit);
  if (!presets_.empty()) present_preset_ = read_present_preset(unit);
}

bool ParameterPanel::is_outdated() const { return parameter_list_size(unit_) != list_size_; }

const Parameter& ParameterPanel::parameter_of(const PanelLayout::Row& row) const {
  return parameters_[*row.parameter];
}

/// True when something else is to be shown than before.
bool ParameterPanel::read(const PanelLayout::Row& row) {
  Shown& shown = shown_[*row.parameter];
  const std::optional<float> value = read_value(unit_, parameter_of(row));
  if (value == shown.value && !shown.text.empty()) return false;
  shown.value = value;
  shown.text = value ? value_text(unit_, parameter_of(row), *value) : "–";
  return true;
}

void ParameterPanel::follow() {
  for (const PanelLayout::Row& row : layout_.rows())
    if (row.parameter && layout_.is_visible(row) && read(row)) redraw_row(row);
  if (presets_.empty()) return;
  std::string present = read_present_preset(unit_);
  if (present == present_preset_) return;
  present_preset_ = std::move(present);
  redraw_(layout_.preset());
}

void ParameterPanel::draw(NSRect dirty) {
  paint::background(dirty);
  [NSGraphicsContext saveGraphicsState];
  NSRectClip(NSIntersectionRect(dirty, paint::rect_of(layout_.list())));
  for (const PanelLayout::Row& row : layout_.rows()) {
    if (!layout_.is_visible(row)) continue;
    if (NSIntersectsRect(dirty, paint::rect_of(layout_.row_area(row)))) draw_row(row);
  }
  paint::scroll_bar(layout_);
  [NSGraphicsContext restoreGraphicsState];

  if (parts_.title || parts_.properties) paint::header_edge(layout_);
  if (parts_.title) paint::title(layout_.title(), title_.name);
  if (parts_.properties) paint::maker(layout_.maker(), title_.maker);
  if (!presets_.empty())
    paint::field(layout_.preset(), present_preset_.empty() ? "Presets" : present_preset_, false);
  if (!menu_) return;
  paint::menu_frame(menu_->layout.area());
  NSRectClip(paint::rect_of(menu_->layout.area()));
  for (std::size_t item = 0; item < menu_->names.size(); ++item) {
    paint::menu_item(menu_->layout.item_area(item), menu_->names[item], item == menu_->selected,
                     item == menu_->under_pointer);
  }
}

void ParameterPanel::draw_row(const PanelLayout::Row& row) {
  if (!row.parameter) {
    paint::heading(layout_.name_area(row), row.heading);
    return;
  }
  read(row);
  paint::name(layout_.name_area(row), parameter_of(row).name);
  draw_control(row);
  if (parameter_of(row).control != Control::menu)
    paint::value(layout_.value_area(row), shown_[*row.parameter].text);
}

void ParameterPanel::draw_control(const PanelLayout::Row& row) {
  const Parameter& parameter = parameter_of(row);
  const Shown& shown = shown_[*row.parameter];
  const float value = shown.value.value_or(parameter.minimum);
  const Area area = layout_.control_area(row);
  switch (parameter.control) {
    case Control::slider:
      paint::slider(layout_, row, position_of(unit_, parameter, value),
                    drag_ && drag_->row == &row);
      break;
    case Control::meter:
      paint::meter(layout_, row, position_of(unit_, parameter, value));
      break;
    case Control::toggle:
      paint::toggle(area, value > (parameter.minimum + parameter.maximum) / 2);
      break;
    case Control::menu:
      paint::field(area, shown.text, false);
      break;
  }
}

void ParameterPanel::set(const PanelLayout::Row& row, float value) {
  const AudioUnitParameter address = parameter_of(row).address(unit_);
  AUParameterSet(nullptr, nullptr, &address, value, 0);
  if (read(row)) redraw_row(row);
}

/// Hosts and other views record a movement from its beginning to its end.
void ParameterPanel::tell_gesture(const PanelLayout::Row& row, AudioUnitEventType type) {
  AudioUnitEvent event{};
  event.mEventType = type;
  event.mArgument.mParameter = parameter_of(row).address(unit_);
  AUEventListenerNotify(nullptr, nullptr, &event);
}

void ParameterPanel::set_in_one_gesture(const PanelLayout::Row& row, float value) {
  tell_gesture(row, kAudioUnitEvent_BeginParameterChangeGesture);
  set(row, value);
  tell_gesture(row, kAudioUnitEvent_EndParameterChangeGesture);
}

void ParameterPanel::press(double x, double y, int clicks, bool fine) {
  if (press_menu(x, y)) return;
  if (!presets_.empty() && layout_.preset().contains(x, y)) {
    open_preset_menu(y);
  } else if (layout_.scrolls() && layout_.list().contains(x, y) && x >= layout_.scroll_track().x) {
    drags_thumb_ = true;
    drag(x, y);
  } else if (const PanelLayout::Row* row = layout_.row_at(x, y); row && row->parameter) {
    press_row(*row, x, y, clicks, fine);
  }
}

void ParameterPanel::press_row(const PanelLayout::Row& row, double x, double y, int clicks,
                               bool fine) {
  const Parameter& parameter = parameter_of(row);
  if (parameter.control == Control::meter) return;
  const bool on_control = layout_.control_area(row).contains(x, y);
  // A switch or a menu is often clicked twice in a row: there, only beside it.
  const bool resets = clicks == 2 && (parameter.control == Control::slider || !on_control);
  if (resets) {
    set_in_one_gesture(row, parameter.initial);
  } else if (on_control && parameter.control == Control::slider) {
    begin_drag(row, x, fine);
  } else if (on_control && parameter.control == Control::toggle) {
    const bool on =
        read_value(unit_, parameter).value_or(0) > (parameter.minimum + parameter.maximum) / 2;
    set_in_one_gesture(row, on ? parameter.minimum : parameter.maximum);
  } else if (on_control) {
    open_parameter_menu(row, y);
  }
}

void ParameterPanel::begin_drag(const PanelLayout::Row& row, double x, bool fine) {
  const float present = read_value(unit_, parameter_of(row)).value_or(parameter_of(row).minimum);
  drag_ = Drag{&row, x, position_of(unit_, parameter_of(row), present), fine};
  tell_gesture(row, kAudioUnitEvent_BeginParameterChangeGesture);
  drag(x, 0);
  redraw_row(row);
}

void ParameterPanel::drag(double x, double y) {
  if (drags_thumb_) {
    scroll_to(layout_.scroll_for_thumb(y));
  } else if (drag_) {
    const PanelLayout::Row& row = *drag_->row;
    double position = layout_.slider_position(row, x);
    if (drag_->fine) {
      const double travel = layout_.slider_x(row, 1) - layout_.slider_x(row, 0);
      position = drag_->start_position + (x - drag_->start_x) / travel * fine_factor;
    }
    set(row, value_at(unit_, parameter_of(row), static_cast<float>(position)));
  } else if (menu_) {
    if (std::fabs(y - menu_->opened_at_y) > menu_drag_distance) menu_->chooses_on_release = true;
    hover(x, y);
  }
}

void ParameterPanel::release(double x, double y) {
  drags_thumb_ = false;
  if (drag_) {
    const PanelLayout::Row& row = *drag_->row;
    drag_.reset();
    tell_gesture(row, kAudioUnitEvent_EndParameterChangeGesture);
    redraw_row(row);
  }
  if (!menu_ || !menu_->chooses_on_release) return;
  if (const auto item = menu_->layout.item_at(x, y)) {
    const auto choose = menu_->choose;
    close_menu();
    choose(*item);
  }
}

void ParameterPanel::hover(double x, double y) {
  if (!menu_) return;
  const auto item = menu_->layout.item_at(x, y);
  if (item == menu_->under_pointer) return;
  menu_->under_pointer = item;
  redraw_(menu_->layout.area());
}

void ParameterPanel::wheel(double x, double y, double distance) {
  if (menu_) {
    if (menu_->layout.scroll_by(distance)) redraw_(menu_->layout.area());
    hover(x, y);
  } else if (!drag_) {
    scroll_to(layout_.scroll() + distance);
  }
}

void ParameterPanel::scroll_to(double offset) {
  if (layout_.scroll_to(offset)) redraw_list();
}

void ParameterPanel::open_parameter_menu(const PanelLayout::Row& row, double y) {
  const Parameter& parameter = parameter_of(row);
  const float present = read_value(unit_, parameter).value_or(parameter.minimum);
  const auto selected = static_cast<std::size_t>(std::lround(present - parameter.minimum));
  open_menu(
      {MenuLayout(layout_.control_area(row), parameter.value_names.size(), selected, height()),
       parameter.value_names, selected, std::nullopt,
       [this, &row](std::size_t item) {
         const Parameter& chosen = parameter_of(row);
         const float value = chosen.minimum + static_cast<float>(item);
         set_in_one_gesture(row, std::min(value, chosen.maximum));
       },
       y, false});
}

void ParameterPanel::open_preset_menu(double y) {
  std::vector<std::string> names;
  names.reserve(presets_.size());
  for (const FactoryPreset& preset : presets_) names.push_back(preset.name);
  const auto selected = static_cast<std::size_t>(
      std::find(names.begin(), names.end(), present_preset_) - names.begin());
  open_menu({MenuLayout(layout_.preset(), names.size(), selected, height()), names, selected,
             std::nullopt,
             [this](std::size_t item) {
               choose_preset(unit_, presets_[item]);
               follow();
             },
             y, false});
}

void ParameterPanel::open_menu(Menu menu) {
  menu_ = std::move(menu);
  redraw_all();
}

/// True when the press was for an open menu, or only closed it.
bool ParameterPanel::press_menu(double x, double y) {
  if (!menu_) return false;
  if (menu_->layout.area().contains(x, y)) {
    menu_->chooses_on_release = true;
    hover(x, y);
  } else {
    close_menu();
  }
  return true;
}

void ParameterPanel::close_menu() {
  menu_.reset();
  redraw_all();
}

}  // namespace vesk::platform
