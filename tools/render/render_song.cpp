#include "tools/render/render_song.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "tools/audio/picture.hpp"
#include "tools/hosting/host_words.hpp"
#include "tools/program/interruption.hpp"
#include "tools/program/output_file.hpp"
#include "tools/render/chain_check.hpp"
#include "tools/render/repetition.hpp"
#include "tools/render/song_sink.hpp"
#include "tools/render/song_source.hpp"
#include "vesk/host_process.hpp"

namespace vesk::tools {
namespace {

namespace fs = std::filesystem;
using client::HostProcess;
using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Finds out before the work begins whether the result can be written.
bool can_write(const std::string& path, std::string& error) {
  return path.empty() || OutputFile::create(path, error).has_value();
}

/// Whether the sources can be read a second time.
bool can_repeat(const RenderArguments& arguments, std::string& error) {
  for (const std::string& path : {arguments.midi_path, arguments.input_path}) {
    std::error_code unknown;
    if (path.empty() || !fs::exists(path, unknown) || fs::is_regular_file(path, unknown)) continue;
    error = path + ": --verify reads it twice, and it is no regular file";
    return false;
  }
  return true;
}

std::unique_ptr<SongSource> open_source(const RenderArguments& arguments, std::string& error) {
  SongSource::Settings song;
  song.midi_path = arguments.midi_path;
  song.input_path = arguments.input_path;
  song.sample_rate = arguments.sample_rate;
  song.output_format = arguments.format;
  song.tempo = arguments.tempo;
  song.start_seconds = arguments.start_seconds;
  song.preroll_seconds = arguments.preroll_seconds;
  song.longest_seconds = arguments.duration_seconds;
  return SongSource::open(song, error);
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

/// Plays the song through a host that is ready, into `audio`.
RenderOutcome play(HostProcess& host, SongSource& source, const RenderArguments& arguments,
                   OutputFile& audio, RenderReport& report, std::string& error) {
  report.sample_rate = source.sample_rate();
  report.latency_frames = latency_frames(host, source.sample_rate());
  SongSink::Settings settings;
  settings.format = arguments.format;
  settings.sample_rate = source.sample_rate();
  settings.dropped_frames =
      source.preroll_frames() + (arguments.keep_latency ? 0 : report.latency_frames);
  settings.expected_frames = source.expected_frames();
  settings.tail_seconds = arguments.tail_seconds;
  const auto sink = SongSink::open(audio, settings, error);
  if (!sink) return RenderOutcome::failed;

  const auto start = Clock::now();
  const RenderOutcome outcome = run_periods(host, arguments.chain, source, *sink, arguments.period,
                                            arguments.quiet, report.periods, error);
  if (outcome != RenderOutcome::done) return outcome;
  if (!sink->finish(error)) return RenderOutcome::failed;
  report.render_seconds = seconds_since(start);
  report.frames = sink->frames_written();
  report.peak = sink->meter().peak();
  report.loudness_lufs = sink->meter().integrated_lufs();
  std::ranges::move(sink->warnings(), std::back_inserter(report.warnings));
  return RenderOutcome::done;
}

/// Renders everything once more, from the sources on and in another host, and compares.
RenderOutcome verify(const RenderArguments& arguments, const OutputFile& audio,
                     std::string& error) {
  const auto source = open_source(arguments, error);
  if (!source) return RenderOutcome::failed;
  std::optional<OutputFile> again = OutputFile::create(arguments.output_path, error);
  if (!again) return RenderOutcome::failed;
  const auto host = spawn_host(arguments, source->sample_rate(), error);
  if (!host || !wait_until_ready(*host, arguments.chain, error)) return RenderOutcome::failed;
  RenderReport unused;
  const RenderOutcome outcome = play(*host, *source, arguments, *again, unused, error);
  if (outcome != RenderOutcome::done) return outcome;
  return is_same_audio(audio, *again, error) ? RenderOutcome::done : RenderOutcome::differs;
}

}  // namespace

RenderOutcome render_song(const RenderArguments& given, RenderReport& report, std::string& error) {
  RenderArguments arguments = given;
  if (arguments.verifies && !can_repeat(arguments, error)) return RenderOutcome::failed;
  const auto source = open_source(arguments, error);
  if (!source || !can_write(arguments.output_path, error) || !can_write(arguments.plot_path, error))
    return RenderOutcome::failed;
  report.chain_name = chain_name(arguments.chain);
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
  auto host = spawn_host(arguments, source->sample_rate(), error);
  if (!host) return RenderOutcome::failed;
  report.had_host = true;
  // While the host loads.
  std::ranges::move(check_chain(given.chain, !arguments.midi_path.empty(), source->sample_rate()),
                    std::back_inserter(report.warnings));
  if (!wait_until_ready(*host, arguments.chain, error)) return RenderOutcome::failed;
  for (const auto& remarks : {presets->remarks(), missing_files(*host)})
    for (const std::string& remark : remarks)
      report.warnings.push_back({WarningKind::note, remark});
  if (must_stop(arguments, report)) return RenderOutcome::slipped;
  report.load_seconds = seconds_since(load_start);
  watch_for_interruption();

  std::optional<OutputFile> audio = OutputFile::create(arguments.output_path, error);
  if (!audio) return RenderOutcome::failed;
  RenderOutcome outcome = play(*host, *source, arguments, *audio, report, error);
  host.reset();
  if (outcome == RenderOutcome::done && must_stop(arguments, report))
    outcome = RenderOutcome::slipped;
  if (outcome == RenderOutcome::done && arguments.verifies)
    outcome = verify(arguments, *audio, error);
  return outcome == RenderOutcome::done ? publish(arguments, report, *audio, error) : outcome;
}

}  // namespace vesk::tools
