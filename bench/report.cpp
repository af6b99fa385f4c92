#include "bench/report.hpp"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace vesk::bench {
namespace {

using Json = nlohmann::ordered_json;

std::string text_of(const std::optional<Figure>& figure, const char* format) {
  if (!figure) return "-";
  char text[64];
  std::snprintf(text, sizeof text, format, figure->median, figure->least, figure->most);
  return text;
}

Json json_of(const Figure& figure) {
  return {{"median", figure.median}, {"min", figure.least}, {"max", figure.most}};
}

Json json_of(const std::string& benchmark, const Row& row) {
  Json json = {{"benchmark", benchmark}, {"name", row.name}, {"unit", row.unit}};
  if (row.ours) json["ours"] = json_of(*row.ours);
  if (row.reference) json["reference"] = json_of(*row.reference);
  if (row.ratio) json["ratio"] = json_of(*row.ratio);
  if (row.limit) {
    json["limit"] = *row.limit;
    json["reached"] = row.is_reached();
  }
  if (!row.remark.empty()) json["remark"] = row.remark;
  return json;
}

}  // namespace

Figure Figure::of(std::vector<double> rounds) {
  std::sort(rounds.begin(), rounds.end());
  return {rounds[rounds.size() / 2], rounds.front(), rounds.back()};
}

Row Row::comparing(const std::string& name, const std::vector<double>& ours,
                   const std::vector<double>& reference, const std::string& unit,
                   std::optional<double> limit) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < ours.size(); ++i) ratios.push_back(ours[i] / reference[i]);
  return {name, Figure::of(ours), Figure::of(reference), Figure::of(ratios), unit, limit, ""};
}

bool Row::is_reached() const {
  if (!limit) return true;
  const auto& held = reference ? ratio : ours;
  return held && held->median <= *limit;
}

void Report::begin(const std::string& title) {
  title_ = title;
  if (as_json_) return;
  std::printf("\n%s\n%-44s %12s %12s %-22s %7s\n", title.c_str(), "", "ours", "reference",
              "ratio (least..most)", "limit");
}

void Report::add(Row row) {
  if (!as_json_) {
    char limit[32] = "";
    if (row.limit) std::snprintf(limit, sizeof limit, "%.2f", *row.limit);
    const char* verdict = "";
    if (row.limit && (row.ours || row.ratio)) verdict = row.is_reached() ? "reached" : "MISSED";
    std::printf("%-44s %12s %12s %-22s %7s %s%s%s\n", (row.name + ", " + row.unit).c_str(),
                text_of(row.ours, "%.4g").c_str(), text_of(row.reference, "%.4g").c_str(),
                text_of(row.ratio, "%.3f (%.3f..%.3f)").c_str(), limit, verdict,
                row.remark.empty() ? "" : "  ", row.remark.c_str());
    std::fflush(stdout);
  }
  rows_.emplace_back(title_, std::move(row));
}

void Report::note(const std::string& text) {
  std::fprintf(as_json_ ? stderr : stdout, "  %s\n", text.c_str());
  std::fflush(stdout);
}

void Report::finish() const {
  if (!as_json_) {
    const auto missed = std::count_if(rows_.begin(), rows_.end(), [](const auto& entry) {
      const Row& row = entry.second;
      return (row.ours || row.ratio) && !row.is_reached();
    });
    std::printf("\n%zu figures, %td missed\n", rows_.size(), missed);
    return;
  }
  Json rows = Json::array();
  for (const auto& [title, row] : rows_) rows.push_back(json_of(title, row));
  std::printf("%s\n", rows.dump(2).c_str());
}

}  // namespace vesk::bench
