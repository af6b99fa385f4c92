#include "platform/linux/core_audio_kit/panel_layout.hpp"

#include <algorithm>

namespace vesk::platform {
namespace {

// Points.
constexpr double panel_width = 500;
constexpr double margin = 18;
constexpr double header_height = 68;
constexpr double top_without_header = 8;
constexpr double row_height = 28;
constexpr double heading_height = 32;
constexpr double list_end = 10;
constexpr double tallest_list = 476;
constexpr double name_width = 158;
constexpr double control_x = 188;
constexpr double control_width = 186;
constexpr double value_x = 386;
constexpr double value_width = 92;
constexpr double preset_width = 190;
constexpr double field_height = 20;
constexpr double knob_radius = 7;
constexpr double track_width = 6;
constexpr double shortest_thumb = 28;
constexpr double menu_item_height = 22;
constexpr double menu_edge = 4;

}  // namespace

PanelLayout::PanelLayout(const std::vector<Parameter>& parameters, const PanelParts& parts) {
  const bool has_header = parts.title || parts.properties;
  list_ = {0, has_header ? header_height : top_without_header, panel_width, 0};
  const std::string* group = nullptr;
  const auto add = [&](const std::string& heading, std::optional<std::size_t> parameter,
                       double height) {
    rows_.push_back({heading, parameter, content_height_, height});
    content_height_ += height;
  };
  for (std::size_t index = 0; parts.parameters && index < parameters.size(); ++index) {
    const Parameter& parameter = parameters[index];
    if (!parameter.group.empty() && (!group || *group != parameter.group))
      add(parameter.group, std::nullopt, heading_height);
    group = &parameter.group;
    add({}, index, row_height);
  }
  if (parts.parameters && parameters.empty())
    add("This plugin has no parameters.", std::nullopt, heading_height);
  content_height_ += list_end;
  list_.height = std::min(content_height_, tallest_list);
}

double PanelLayout::width() const {
  return panel_width;
}

Area PanelLayout::title() const {
  return {margin, 12, panel_width - preset_width - 3 * margin, 24};
}

Area PanelLayout::maker() const {
  return {margin, 37, panel_width - preset_width - 3 * margin, 18};
}

Area PanelLayout::preset() const {
  return {panel_width - preset_width - margin, 23, preset_width, field_height + 2};
}

double PanelLayout::longest_scroll() const {
  return std::max(0.0, content_height_ - list_.height);
}

bool PanelLayout::scroll_to(double offset) {
  const double before = scroll_;
  scroll_ = std::clamp(offset, 0.0, longest_scroll());
  return scroll_ != before;
}

Area PanelLayout::row_area(const Row& row) const {
  return {0, list_.y + row.top - scroll_, panel_width, row.height};
}

Area PanelLayout::name_area(const Row& row) const {
  return {margin, row_area(row).y, row.parameter ? name_width : panel_width - 2 * margin,
          row.height};
}

Area PanelLayout::control_area(const Row& row) const {
  return {control_x, row_area(row).y + (row.height - field_height) / 2, control_width,
          field_height};
}

Area PanelLayout::value_area(const Row& row) const {
  return {value_x, row_area(row).y, value_width, row.height};
}

bool PanelLayout::is_visible(const Row& row) const {
  const Area area = row_area(row);
  return area.bottom() > list_.y && area.y < list_.bottom();
}

const PanelLayout::Row* PanelLayout::row_at(double x, double y) const {
  if (!list_.contains(x, y)) return nullptr;
  const auto found = std::find_if(rows_.begin(), rows_.end(),
                                  [&](const Row& row) { return row_area(row).contains(x, y); });
  return found == rows_.end() ? nullptr : &*found;
}

Area PanelLayout::scroll_track() const {
  return {panel_width - track_width - 4, list_.y + 2, track_width, list_.height - 4};
}

Area PanelLayout::scroll_thumb() const {
  Area track = scroll_track();
  const double length =
      std::max(shortest_thumb, track.height * list_.height / std::max(content_height_, 1.0));
  const double travel = track.height - length;
  const double place = scrolls() ? scroll_ / longest_scroll() : 0;
  return {track.x, track.y + travel * place, track.width, length};
}

double PanelLayout::scroll_for_thumb(double y) const {
  const Area track = scroll_track();
  const double length = scroll_thumb().height;
  const double travel = track.height - length;
  if (travel <= 0) return 0;
  return (y - length / 2 - track.y) / travel * longest_scroll();
}

double PanelLayout::slider_position(const Row& row, double x) const {
  const Area area = control_area(row);
  return std::clamp((x - area.x - knob_radius) / (area.width - 2 * knob_radius), 0.0, 1.0);
}

double PanelLayout::slider_x(const Row& row, double position) const {
  const Area area = control_area(row);
  return area.x + knob_radius + position * (area.width - 2 * knob_radius);
}

MenuLayout::MenuLayout(const Area& field, std::size_t count, std::size_t selected,
                       double panel_height)
    : count_(count) {
  const double whole = static_cast<double>(count) * menu_item_height + 2 * menu_edge;
  const double height = std::min(whole, panel_height - 8);
  const double below = field.bottom() + 2;
  const double above = field.y - 2 - height;
  area_ = {field.x, below + height <= panel_height ? below : std::max(4.0, above), field.width,
           height};
  if (selected < count) scroll_by(static_cast<double>(selected) * menu_item_height - height / 2);
}

Area MenuLayout::item_area(std::size_t item) const {
  return {area_.x, area_.y + menu_edge + static_cast<double>(item) * menu_item_height - scroll_,
          area_.width, menu_item_height};
}

std::optional<std::size_t> MenuLayout::item_at(double x, double y) const {
  if (!area_.contains(x, y)) return std::nullopt;
  const double item = (y - area_.y - menu_edge + scroll_) / menu_item_height;
  if (item < 0 || item >= static_cast<double>(count_)) return std::nullopt;
  return static_cast<std::size_t>(item);
}

bool MenuLayout::scroll_by(double distance) {
  const double whole = static_cast<double>(count_) * menu_item_height + 2 * menu_edge;
  const double before = scroll_;
  scroll_ = std::clamp(scroll_ + distance, 0.0, std::max(0.0, whole - area_.height));
  return scroll_ != before;
}

}  // namespace vesk::platform
