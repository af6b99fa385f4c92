#include "tools/render/song_source.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "tools/midi/song_part.hpp"

namespace vesk::tools {
namespace {

constexpr int default_rate = 48'000;
constexpr int lowest_rate = 8'000;
constexpr int highest_rate = 384'000;
constexpr std::uint32_t skip_frames = 65'536;

}  // namespace

std::unique_ptr<SongSource> SongSource::open(const Settings& settings, std::string& error) {
  std::unique_ptr<SongSource> source(new SongSource);
  if (settings.input_path.empty())
    source->sample_rate_ = settings.sample_rate > 0 ? settings.sample_rate : default_rate;
  else if (!source->open_audio(settings, error))
    return nullptr;
  const std::uint64_t start = source->frames_of(settings.start_seconds);
  source->start_frame_ = start;
  source->first_frame_ = start - std::min(start, source->frames_of(settings.preroll_seconds));
  if (settings.longest_seconds)
    source->last_frame_ = start + source->frames_of(*settings.longest_seconds);
  if (!settings.midi_path.empty() && !source->open_song(settings, error)) return nullptr;

  std::uint64_t length = source->song_end_;
  if (source->reader_) length = std::max(length, source->reader_->length_frames());
  if (start > 0 && length <= start) {
    char text[96];
    std::snprintf(text, sizeof text, " has %.3f seconds, and --start is behind that",
                  static_cast<double>(length) / source->sample_rate_);
    error = (source->reader_ ? settings.input_path : settings.midi_path) + text;
    return nullptr;
  }
  if (source->reader_ && !source->skip_audio(error)) return nullptr;
  length = std::min(length, source->last_frame_);
  source->expected_frames_ = length - start;
  // Time goes on until all is over.
  source->song_.length_seconds = static_cast<double>(length) / source->sample_rate_;
  if (settings.midi_path.empty() && settings.tempo)
    source->song_.marks = {{.tempo = *settings.tempo}};
  source->song_events_.emplace(source->song_, source->sample_rate_, source->first_frame_);
  return source;
}

bool SongSource::open_audio(const Settings& settings, std::string& error) {
  const std::string& path = settings.input_path;
  reader_ = AudioReader::open(path, settings.sample_rate, error);
  if (!reader_) return false;
  const int rate = reader_->sample_rate();
  const bool suits =
      rate >= lowest_rate && rate <= highest_rate && takes_rate(settings.output_format, rate);
  if (!suits && settings.sample_rate == 0) {
    reader_ = AudioReader::open(path, default_rate, error);
    if (!reader_) return false;
  }
  sample_rate_ = reader_->sample_rate();
  reader_ended_ = false;
  if (reader_->file_rate() != sample_rate_) {
    remarks_.push_back(path + " converted from " + std::to_string(reader_->file_rate()) + " to " +
                       std::to_string(sample_rate_) + " Hz");
  }
  if (reader_->channels() > 2) {
    remarks_.push_back(path + " has " + std::to_string(reader_->channels()) +
                       " channels; the first two are used");
  }
  return true;
}

bool SongSource::open_song(const Settings& settings, std::string& error) {
  auto song = read_midi_file(settings.midi_path, error);
  if (!song) return false;
  song_ = *std::move(song);
  if (song_.left_out > 0) {
    remarks_.push_back(std::to_string(song_.left_out) + " system-exclusive message" +
                       (song_.left_out == 1 ? "" : "s") + " left out");
  }
  if (settings.longest_seconds)
    song_ = first_part(std::move(song_), settings.start_seconds + *settings.longest_seconds);
  // An event that falls on the first frame belongs to it.
  if (first_frame_ > 0)
    song_ = last_part(std::move(song_), (static_cast<double>(first_frame_) - 0.5) / sample_rate_);
  song_end_ = frames_of(song_.length_seconds);
  return true;
}

/// Leaves out what comes before the first frame. It is read all the same: not every format can be
/// entered at any place, and what is converted depends on what came before.
bool SongSource::skip_audio(std::string& error) {
  std::vector<float> left(skip_frames), right(skip_frames);
  while (reader_position_ < first_frame_ && !reader_ended_) {
    const auto wanted = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(skip_frames, first_frame_ - reader_position_));
    const std::uint32_t got = reader_->read(left.data(), right.data(), wanted);
    reader_position_ += got;
    reader_ended_ = got < wanted;
  }
  if (!reader_->failure().empty()) error = reader_->failure();
  return reader_->failure().empty();
}

std::uint64_t SongSource::frames_of(double seconds) const {
  return static_cast<std::uint64_t>(std::llround(seconds * sample_rate_));
}

bool SongSource::prepare(std::uint32_t longest, std::string& error) {
  period_ = song_events_->next(longest);
  if (!reader_) return true;
  const std::uint32_t frames = period_.frames;
  left_.resize(frames);
  right_.resize(frames);
  std::uint32_t got = 0;
  if (!reader_ended_) {
    const auto wanted =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(frames, last_frame_ - reader_position_));
    got = reader_->read(left_.data(), right_.data(), wanted);
    reader_position_ += got;
    reader_ended_ = got < frames;
    if (!reader_->failure().empty()) {
      error = reader_->failure();
      return false;
    }
  }
  std::fill(left_.begin() + got, left_.end(), 0.0f);
  std::fill(right_.begin() + got, right_.end(), 0.0f);
  return true;
}

std::optional<std::uint64_t> SongSource::end_frame() const {
  if (!reader_ended_ || !song_events_->is_done()) return std::nullopt;
  return std::max({song_end_, reader_position_, start_frame_}) - start_frame_;
}

}  // namespace vesk::tools
