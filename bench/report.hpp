#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vesk::bench {

/// The middle of several measurements of one thing, with their spread.
struct Figure {
  double median = 0;
  double least = 0;
  double most = 0;

  static Figure of(std::vector<double> rounds);
};

/// One line of a table: what was measured, what it was held against, and the ratio of the two,
/// taken in each round and then summed up.
struct Row {
  std::string name;
  std::optional<Figure> ours;
  std::optional<Figure> reference;
  std::optional<Figure> ratio;
  std::string unit;
  /// The ratio (or, without a reference, the figure) must not be above this.
  std::optional<double> limit;
  /// Why there is no figure, or what holds one back.
  std::string remark;

  bool is_reached() const;

  /// What `ours` and `reference` came to in the same rounds, held against each other.
  static Row comparing(const std::string& name, const std::vector<double>& ours,
                       const std::vector<double>& reference, const std::string& unit,
                       std::optional<double> limit);
};

/// Prints rows as they come, and keeps them for `--json`.
class Report {
 public:
  explicit Report(bool as_json) : as_json_(as_json) {}

  void begin(const std::string& title);
  void add(Row row);
  /// Names one fact of the run beside the figures.
  void note(const std::string& text);
  /// The whole report as JSON, when that was asked for; a closing line otherwise.
  void finish() const;

 private:
  bool as_json_;
  std::vector<std::pair<std::string, Row>> rows_;
  std::string title_;
};

}  // namespace vesk::bench
