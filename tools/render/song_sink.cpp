#include "tools/render/song_sink.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vesk::tools {
namespace {

// Below a step of 24 bits.
constexpr float silence = 1.0f / (1 << 24);
// 40 dB beyond full scale: no mistake in a level gets there.
constexpr float absurd = 100.0f;

}  // namespace

std::unique_ptr<SongSink> SongSink::open(OutputFile& file, const Settings& settings,
                                         std::string& error) {
  const double tail = settings.tail_seconds.value_or(Tail::longest_seconds);
  const auto most_frames =
      settings.expected_frames + static_cast<std::uint64_t>(std::ceil(tail * settings.sample_rate));
  auto writer = AudioWriter::open(file, settings.format, settings.sample_rate, most_frames, error);
  if (!writer) return nullptr;
  return std::unique_ptr<SongSink>(new SongSink(std::move(writer), settings));
}

SongSink::SongSink(std::unique_ptr<AudioWriter> writer, const Settings& settings)
    : writer_(std::move(writer)),
      meter_(settings.sample_rate),
      tail_(settings.tail_seconds, settings.sample_rate),
      format_(settings.format),
      to_drop_(settings.dropped_frames) {}

bool SongSink::take(const float* left, const float* right, std::uint32_t frames,
                    std::optional<std::uint64_t> end_frame, std::string& error) {
  const auto dropped = static_cast<std::uint32_t>(std::min<std::uint64_t>(to_drop_, frames));
  to_drop_ -= dropped;
  left += dropped;
  right += dropped;
  frames -= dropped;

  std::uint32_t kept = frames;
  if (end_frame && writer_->frames_written() + frames >= *end_frame) {
    ended_ = true;
    const std::uint64_t start = writer_->frames_written();
    const auto body = static_cast<std::uint32_t>(start < *end_frame ? *end_frame - start : 0);
    kept = body + tail_.take(left + body, right + body, frames - body);
  }
  if (kept == 0) return true;
  meter_.add(left, right, kept);
  return writer_->write(left, right, kept, error);
}

std::vector<Warning> SongSink::warnings() const {
  std::vector<Warning> warnings;
  if (meter_.bad_samples() > 0) {
    warnings.push_back(
        {WarningKind::not_finite, std::to_string(meter_.bad_samples()) +
                                      " samples are infinite or not a number: a plugin is broken"});
  } else if (meter_.peak() < silence) {
    warnings.push_back({WarningKind::silent, "the output is silent from beginning to end"});
  }
  if (meter_.peak() > absurd || (format_ == AudioFormat::wav_float && meter_.peak() > 1.0f)) {
    char text[128];
    std::snprintf(text, sizeof text, "the peak is %.1f dB beyond full scale; %s",
                  to_dbfs(static_cast<double>(meter_.peak())),
                  meter_.peak() > absurd ? "a plugin is broken or set to what it cannot take"
                                         : "players will clip it");
    warnings.push_back({WarningKind::note, text});
  }
  if (writer_->clipped_samples() > 0) {
    warnings.push_back(
        {WarningKind::note, std::to_string(writer_->clipped_samples()) +
                                " samples beyond full scale were clipped; a .wav would keep them"});
  }
  if (tail_.was_cut()) {
    warnings.push_back({WarningKind::note,
                        "still sounding 30 seconds after the song's end, where the output stops"});
  }
  return warnings;
}

}  // namespace vesk::tools
