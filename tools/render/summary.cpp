#include "tools/render/summary.hpp"

#include <cmath>
#include <cstdio>

#include "tools/audio/loudness.hpp"
#include "tools/program/json.hpp"

namespace vesk::tools {
namespace {

std::string decimal(double value, int digits) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", digits, value);
  return text;
}

double seconds_of(const RenderReport& report) {
  return static_cast<double>(report.frames) / report.sample_rate;
}

}  // namespace

std::string summary_text(const RenderArguments& arguments, const RenderReport& report) {
  const double seconds = seconds_of(report);
  const double peak = to_dbfs(static_cast<double>(report.peak));
  std::string text = (arguments.output_path == "-" ? "standard output" : arguments.output_path) +
                     ": " + decimal(seconds, 3) + " s, " + std::to_string(report.sample_rate) +
                     " Hz, " + description_of(arguments.format) + '\n';
  if (!arguments.plot_path.empty()) text += arguments.plot_path + ": waveform and spectrogram\n";
  text += "chain: " + report.chain_name + '\n';
  if (report.latency_frames > 0)
    text += "latency: " + std::to_string(report.latency_frames) + " frames, " +
            (arguments.keep_latency ? "left in" : "trimmed from the start") + '\n';
  text += "peak: " + (std::isfinite(peak) ? decimal(peak, 1) + " dBFS" : "silence") + '\n';
  text += "loudness: " +
          (report.loudness_lufs ? decimal(*report.loudness_lufs, 1) + " LUFS integrated"
                                : "nothing loud or long enough to measure") +
          '\n';
  if (arguments.verifies) text += "verified: a second rendering made the same bytes\n";
  text += "rendered: " + std::to_string(report.periods) + " periods of up to " +
          std::to_string(arguments.period) + " frames in " + decimal(report.render_seconds, 3) +
          " s, " + decimal(seconds / report.render_seconds, 0) +
          " times as fast as played, after " + decimal(report.load_seconds, 3) + " s of loading\n";
  return text;
}

std::string summary_json(const RenderArguments& arguments, const RenderReport& report, int status,
                         const std::string& error) {
  Json summary{{"status", status}};
  if (!error.empty()) summary["error"] = error;
  if (status != 0) summary["had_host"] = report.had_host;
  if (status == 0) {
    summary["output"] = arguments.output_path;
    if (!arguments.plot_path.empty()) summary["plot"] = arguments.plot_path;
    summary["specification"] = chain_text(arguments.chain);
    summary["chain"] = report.chain_name;
    summary["sample_rate"] = report.sample_rate;
    summary["frames"] = report.frames;
    summary["seconds"] = seconds_of(report);
    summary["latency_frames"] = report.latency_frames;
    summary["latency_trimmed"] = !arguments.keep_latency;
    // Silence has no level: null.
    summary["peak_dbfs"] = to_dbfs(static_cast<double>(report.peak));
    summary["loudness_lufs"] = report.loudness_lufs ? Json(*report.loudness_lufs) : Json();
    summary["verified"] = arguments.verifies;
    summary["periods"] = report.periods;
    summary["longest_period"] = arguments.period;
    summary["render_seconds"] = report.render_seconds;
    summary["load_seconds"] = report.load_seconds;
  }
  summary["warnings"] = Json::array();
  for (const Warning& warning : report.warnings)
    summary["warnings"].push_back({{"kind", name_of(warning.kind)}, {"text", warning.text}});
  return json_text(summary);
}

}  // namespace vesk::tools
