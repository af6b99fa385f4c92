#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/core_audio_kit/parameter.hpp"

namespace vesk::platform {

/// A rectangle in points from the panel's top left corner.
struct Area {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  double right() const { return x + width; }
  double bottom() const { return y + height; }
  bool contains(double at_x, double at_y) const {
    return at_x >= x && at_x < right() && at_y >= y && at_y < bottom();
  }
};

/// Which parts a panel has.
struct PanelParts {
  bool title = true;
  bool properties = true;
  bool parameters = true;
};

/// Where everything in a parameter panel is: a header, and below it a list of rows that scrolls
/// when it is longer than the panel may be high.
class PanelLayout {
 public:
  struct Row {
    /// The heading of a group, for rows that are no parameter's.
    std::string heading;
    std::optional<std::size_t> parameter;
    double top = 0;  ///< In the list, unscrolled.
    double height = 0;
  };

  PanelLayout(const std::vector<Parameter>& parameters, const PanelParts& parts);

  double width() const;
  double height() const { return list_.bottom(); }
  const std::vector<Row>& rows() const { return rows_; }
  /// The part of the panel that shows rows.
  const Area& list() const { return list_; }
  Area title() const;
  Area maker() const;
  Area preset() const;

  double scroll() const { return scroll_; }
  double longest_scroll() const;
  bool scrolls() const { return longest_scroll() > 0; }
  /// Kept between the two ends; true when the list moved.
  bool scroll_to(double offset);

  Area row_area(const Row& row) const;
  Area name_area(const Row& row) const;
  Area control_area(const Row& row) const;
  Area value_area(const Row& row) const;
  /// Whether any of it is inside the list.
  bool is_visible(const Row& row) const;
  const Row* row_at(double x, double y) const;

  Area scroll_track() const;
  Area scroll_thumb() const;
  /// The offset that puts the middle of the thumb at `y`.
  double scroll_for_thumb(double y) const;

  /// 0 to 1 along the slider of `row`.
  double slider_position(const Row& row, double x) const;
  /// Where the knob of a slider or meter is.
  double slider_x(const Row& row, double position) const;

 private:
  std::vector<Row> rows_;
  Area list_;
  double content_height_ = 0;
  double scroll_ = 0;
};

/// A list of choices over the panel, below the field it belongs to or above where there is no
/// room; scrolls when it is longer than the panel.
class MenuLayout {
 public:
  /// `selected` is shown at first; may lie beyond the end, for none.
  MenuLayout(const Area& field, std::size_t count, std::size_t selected, double panel_height);

  const Area& area() const { return area_; }
  std::size_t count() const { return count_; }
  Area item_area(std::size_t item) const;
  std::optional<std::size_t> item_at(double x, double y) const;
  bool scroll_by(double distance);

 private:
  Area area_;
  std::size_t count_;
  double scroll_ = 0;
};

}  // namespace vesk::platform
