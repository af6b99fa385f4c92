#include "tools/render/render_song.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <memory>
#include <utility>

#include "tools/audio/picture.hpp"
#include "tools/hosting/host_words.hpp"
#include "tools/program/interruption.hpp"
#include "tools/program/output_file.hpp"
#include "tools/render/chain_check.hpp"
#include "tools/render/song_sink.hpp"
#include "tools/render/song_source.hpp"
#include "vesk/host_process.hpp"

namespace vesk::tools {
namespace {

using client::HostProcess;
using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Finds out before the work begins whether the result can be written.
bool can_write(const std::string& path, std::string& error) {
  return path.empty() || OutputFile::create(path, error).has_value();
}

/// Whether the file can hold what is sure to come.
bool fits(const RenderArguments& arguments, const SongSource& source, std::string& error) {
  const double frames = static_cast<double>(source.expected_frames()) +
                        arguments.tail_seconds.value_or(0.0) * source.sample_rate();
  if (frames <= static_cast<double>(longest_frames(arguments.format))) return true;
  char text[160];
  std::snprintf(text, sizeof text,
                ": %.0f minutes at %d Hz are more than a WAV file can hold (4 GB); write a .flac "
                "file",
                frames / source.sample_rate() / 60.0, source.sample_rate());
  error = arguments.output_path + text;
  return false;
}

std::unique_ptr<HostProcess> spawn_host(const RenderArguments& arguments, int sample_rate,
                                        std::string& error) {
  client::Options options;
  options.chain = chain_text(arguments.chain);
  options.sample_rate_hz = sample_rate;
  options.max_frames = arguments.period;
  options.period_frames = arguments.period;
  options.mode = client::Mode::offline;
  return HostProcess::spawn(options, error);
}

bool must_stop(const RenderArguments& arguments, const RenderReport& report) {
  return arguments.is_strict && strict_status(report.warnings) != 0;
}

std::string figures_text(const RenderReport& report) {
  char text[128];
  const double seconds = static_cast<double>(report.frames) / report.sample_rate;
  int length = std::snprintf(text, sizeof text, "%.1f s    peak %.1f dBFS", seconds,
                             to_dbfs(static_cast<double>(report.peak)));
  if (report.loudness_lufs) {
    std::snprintf(text + length, sizeof text - static_cast<std::size_t>(length), "    %.1f LUFS",
                  *report.loudness_lufs);
  }
  return text;
}

/// Draws the finished audio where a picture is wanted, then gives both files their names.
RenderOutcome publish(const RenderArguments& arguments, const RenderReport& report,
                      OutputFile& audio, std::string& error) {
  std::optional<OutputFile> picture;
  if (!arguments.plot_path.empty()) {
    picture = OutputFile::create(arguments.plot_path, error);
    if (!picture) return RenderOutcome::failed;
    const std::string& source =
        arguments.midi_path.empty() ? arguments.input_path : arguments.midi_path;
    const Caption caption{source.substr(source.rfind('/') + 1), report.chain_name,
                          figures_text(report)};
    if (!draw_picture(audio.temporary_path(), caption, *picture, error))
      return RenderOutcome::failed;
  }
  if (interruption() != 0) return RenderOutcome::interrupted;
  const bool is_published = audio.commit(error) && (!picture || picture->commit(error));
  return is_published ? RenderOutcome::done : RenderOutcome::failed;
}

/// What plugins say of their latency, as far as it can be true: up to a minute.
std::uint64_t latency_frames(const client::HostProcess& host, double sample_rate) {
  const double seconds = host.latency_seconds();
  return seconds > 0 && seconds <= 60
             ? static_cast<std::uint64_t>(std::llround(seconds * sample_rate))
             : 0;
}

}  // namespace

RenderOutcome render_song(const RenderArguments& given, RenderReport& report, std::string& error) {
  RenderArguments arguments = given;
  SongSource::Settings song;
  song.midi_path = arguments.midi_path;
  song.input_path = arguments.input_path;
  song.sample_rate = arguments.sample_rate;
  song.tempo = arguments.tempo;
  song.longest_seconds = arguments.duration_seconds;
  const auto source = SongSource::open(song, error);
  if (!source || !fits(arguments, *source, error) || !can_write(arguments.output_path, error) ||
      !can_write(arguments.plot_path, error))
    return RenderOutcome::failed;
  report.chain_name = chain_name(arguments.chain);
  report.sample_rate = source->sample_rate();
  for (const std::string& remark : source->remarks())
    report.warnings.push_back({WarningKind::note, remark});

  // Until the host is there a signal may simply end us, unless files have been made: the host
  // leaves with its parent.
  if (!arguments.start.empty()) watch_for_interruption();
  const auto presets =
      StartPresets::make(arguments.chain, arguments.start, false, source->sample_rate(), error);
  if (interruption() != 0) return RenderOutcome::interrupted;
  if (!presets) return RenderOutcome::failed;
  const auto load_start = Clock::now();
  const auto host = spawn_host(arguments, source->sample_rate(), error);
  if (!host) return RenderOutcome::failed;
  // While the host loads.
  std::ranges::move(check_chain(given.chain, !arguments.midi_path.empty(), source->sample_rate()),
                    std::back_inserter(report.warnings));
  if (!wait_until_ready(*host, arguments.chain, error)) return RenderOutcome::failed;
  for (const auto& remarks : {presets->remarks(), missing_files(*host)})
    for (const std::string& remark : remarks)
      report.warnings.push_back({WarningKind::note, remark});
  if (must_stop(arguments, report)) return RenderOutcome::slipped;
  report.load_seconds = seconds_since(load_start);
  report.latency_frames = latency_frames(*host, source->sample_rate());
  watch_for_interruption();

  std::optional<OutputFile> audio = OutputFile::create(arguments.output_path, error);
  if (!audio) return RenderOutcome::failed;
  SongSink::Settings settings;
  settings.format = arguments.format;
  settings.sample_rate = source->sample_rate();
  settings.dropped_frames = arguments.keep_latency ? 0 : report.latency_frames;
  settings.tail_seconds = arguments.tail_seconds;
  const auto sink = SongSink::open(*audio, settings, error);
  if (!sink) return RenderOutcome::failed;

  const auto render_start = Clock::now();
  const RenderOutcome outcome =
      run_periods(*host, arguments.chain, *source, *sink, arguments.period, arguments.quiet,
                  report.periods, error);
  if (outcome != RenderOutcome::done) return outcome;
  if (!sink->finish(error)) return RenderOutcome::failed;
  report.render_seconds = seconds_since(render_start);
  report.frames = sink->frames_written();
  report.peak = sink->meter().peak();
  report.loudness_lufs = sink->meter().integrated_lufs();
  std::ranges::move(sink->warnings(), std::back_inserter(report.warnings));
  if (must_stop(arguments, report)) return RenderOutcome::slipped;
  return publish(arguments, report, *audio, error);
}

}  // namespace vesk::tools
