#include "tools/soak/report_formats.hpp"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "tools/naming/installed.hpp"
#include "tools/program/json.hpp"
#include "tools/soak/report.hpp"

namespace vesk::tools {
namespace {

std::string load_text(const SoakResult& result) {
  if (!result.load) return "-";
  char text[64];
  std::snprintf(text, sizeof text, "%.1f / %.1f / %.1f", result.load->median,
                result.load->most_of_hundred, result.load->most);
  return text;
}

/// The reason of a failure and all remarks, in sentences.
std::vector<std::string> sentences_of(const SoakResult& result) {
  std::vector<std::string> sentences;
  if (!result.reason.empty()) sentences.push_back(result.reason);
  for (const Remark& remark : result.remarks) sentences.push_back(remark.text);
  return sentences;
}

std::string joined(const std::vector<std::string>& parts, std::string_view between) {
  std::string text;
  for (const std::string& part : parts) {
    if (!text.empty()) text += between;
    text += part;
  }
  return text;
}

/// Text as XML has it; what XML cannot say becomes '?'.
std::string xml_text(const std::string& text) {
  std::string escaped;
  for (const char character : text) {
    switch (character) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped +=
            static_cast<unsigned char>(character) < 0x20 && character != '\n' ? '?' : character;
    }
  }
  return escaped;
}

std::string cell(std::string text) {
  for (std::size_t at = 0; (at = text.find_first_of("|\n", at)) != std::string::npos; at += 2)
    text.replace(at, 1, text[at] == '|' ? "\\|" : "; ");
  return text;
}

Json or_null(const std::optional<double>& value) {
  return value ? Json(static_cast<float>(*value)) : Json();
}

Json json_of_result(const SoakResult& result, bool is_strict) {
  Json remarks = Json::array();
  for (const Remark& remark : result.remarks)
    remarks.push_back({{"kind", remark.kind}, {"text", remark.text}, {"fault", remark.is_fault}});
  Json load;
  if (result.load)
    load = {{"median", static_cast<float>(result.load->median)},
            {"p99", static_cast<float>(result.load->most_of_hundred)},
            {"most", static_cast<float>(result.load->most)}};
  return {{"specification", result.specification},
          {"name", result.name},
          {"passed", has_passed(result, is_strict)},
          {"outcome", words_of(result.outcome)},
          {"reason", result.reason},
          {"remarks", remarks},
          {"load_per_cent", load},
          {"reported_latency_frames", static_cast<float>(result.reported_latency_frames)},
          {"measured_latency_frames", or_null(result.measured_latency_frames)},
          {"tail_cost", or_null(result.tail_cost)},
          {"calls_watched", result.was_watched},
          {"editor_opened", result.editor_was_opened},
          {"seconds", static_cast<float>(result.seconds)}};
}

}  // namespace

std::string soak_text(const std::vector<SoakResult>& results, bool is_strict) {
  std::string text;
  char row[256];
  std::snprintf(row, sizeof row, "%-15s %-28s %-22s %s\n", "plugin", "name",
                "load %, 50 / 99 / 100", "outcome");
  text += row;
  for (const SoakResult& result : results) {
    std::snprintf(row, sizeof row, "%-15s %-28s %-22s %s\n", result.specification.c_str(),
                  without_maker(result.name).c_str(), load_text(result).c_str(),
                  summary_of(result).c_str());
    text += row;
    for (const std::string& sentence : sentences_of(result)) text += "    " + sentence + '\n';
  }
  return text + totals_of(results, is_strict) + '\n';
}

std::string soak_json(const std::vector<SoakResult>& results, bool is_strict) {
  Json list = Json::array();
  bool all_passed = true;
  for (const SoakResult& result : results) {
    list.push_back(json_of_result(result, is_strict));
    all_passed = all_passed && has_passed(result, is_strict);
  }
  return json_text(
      {{"passed", all_passed}, {"totals", totals_of(results, is_strict)}, {"components", list}});
}

std::string soak_junit(const std::vector<SoakResult>& results, bool is_strict) {
  std::string cases;
  std::size_t failures = 0;
  double seconds = 0;
  char time[32];
  for (const SoakResult& result : results) {
    seconds += result.seconds;
    std::snprintf(time, sizeof time, "%.3f", result.seconds);
    const std::string said = xml_text(joined(sentences_of(result), "\n"));
    cases += "  <testcase classname=\"" + xml_text(result.specification) + "\" name=\"" +
             xml_text(result.name) + "\" time=\"" + time + "\">\n";
    if (!has_passed(result, is_strict)) {
      ++failures;
      cases +=
          "    <failure message=\"" + xml_text(summary_of(result)) + "\">" + said + "</failure>\n";
    } else if (!said.empty()) {
      cases += "    <system-out>" + said + "</system-out>\n";
    }
    cases += "  </testcase>\n";
  }
  std::snprintf(time, sizeof time, "%.3f", seconds);
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"vesk-soak\" tests=\"" +
         std::to_string(results.size()) + "\" failures=\"" + std::to_string(failures) +
         "\" time=\"" + time + "\">\n" + cases + "</testsuite>\n";
}

std::string soak_markdown(const std::vector<SoakResult>& results, bool is_strict) {
  std::string text = totals_of(results, is_strict) + ".\n\n";
  text += "| plugin | name | outcome | load, % of a period: median / 99 % / most | remarks |\n";
  text += "|---|---|---|---|---|\n";
  for (const SoakResult& result : results)
    text += "| `" + cell(result.specification) + "` | " + cell(result.name) + " | " +
            summary_of(result) + " | " + load_text(result) + " | " +
            cell(joined(sentences_of(result), "; ")) + " |\n";
  return text;
}

}  // namespace vesk::tools
