#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "tools/audio/loudness.hpp"
#include "tools/program/interruption.hpp"
#include "tools/render/arguments.hpp"
#include "tools/render/render_song.hpp"

namespace {

using namespace vesk::tools;

void print_figures(const RenderArguments& arguments, const RenderReport& report) {
  const double seconds = static_cast<double>(report.frames) / report.sample_rate;
  std::printf("%s: %.3f s, %d Hz, %s\n", arguments.output_path.c_str(), seconds, report.sample_rate,
              arguments.format == AudioFormat::wav_float ? "32-bit float WAV" : "24-bit FLAC");
  if (!arguments.plot_path.empty())
    std::printf("%s: waveform and spectrogram\n", arguments.plot_path.c_str());
  std::printf("chain: %s\n", report.chain_name.c_str());
  if (report.latency_frames > 0) {
    std::printf("latency: %llu frames, %s\n",
                static_cast<unsigned long long>(report.latency_frames),
                arguments.keep_latency ? "left in" : "trimmed from the start");
  }
  const double peak = to_dbfs(static_cast<double>(report.peak));
  if (std::isfinite(peak))
    std::printf("peak: %.1f dBFS\n", peak);
  else
    std::printf("peak: silence\n");
  if (report.loudness_lufs)
    std::printf("loudness: %.1f LUFS integrated\n", *report.loudness_lufs);
  else
    std::printf("loudness: nothing loud or long enough to measure\n");
  std::printf(
      "rendered: %llu periods of up to %u frames in %.3f s, %.0f times as fast as played, "
      "after %.3f s of loading\n",
      static_cast<unsigned long long>(report.periods), arguments.period, report.render_seconds,
      seconds / report.render_seconds, report.load_seconds);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  std::string error;
  const auto arguments = parse_render_arguments(words, error);
  if (!arguments) {
    std::fprintf(stderr, "vesk-render: %s; vesk-render --help tells how\n", error.c_str());
    return 2;
  }
  if (arguments->wants_help) {
    std::fputs(render_help, stdout);
    return std::fflush(stdout) == 0 ? 0 : 1;
  }
  RenderReport report;
  switch (render_song(*arguments, report, error)) {
    case RenderOutcome::failed:
      std::fprintf(stderr, "vesk-render: %s\n", error.c_str());
      return 1;
    case RenderOutcome::interrupted:
      end_by_signal(interruption());
    case RenderOutcome::done:
      break;
  }
  for (const std::string& remark : report.remarks)
    std::fprintf(stderr, "vesk-render: %s\n", remark.c_str());
  if (!arguments->quiet) print_figures(*arguments, report);
  return 0;
}
