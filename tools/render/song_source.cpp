#include "tools/render/song_source.hpp"

#include <algorithm>
#include <cmath>

namespace vesk::tools {
namespace {

constexpr int default_rate = 48'000;
constexpr int lowest_rate = 8'000;
constexpr int highest_rate = 384'000;

}  // namespace

std::unique_ptr<SongSource> SongSource::open(const Settings& settings, std::string& error) {
  const auto& [midi_path, input_path, sample_rate, tempo, longest_seconds] = settings;
  std::unique_ptr<SongSource> source(new SongSource);
  if (!input_path.empty()) {
    source->reader_ = AudioReader::open(input_path, sample_rate, error);
    if (!source->reader_) return nullptr;
    const int rate = source->reader_->sample_rate();
    if (rate < lowest_rate || rate > highest_rate) {
      source->reader_ = AudioReader::open(input_path, default_rate, error);
      if (!source->reader_) return nullptr;
    }
    const AudioReader& reader = *source->reader_;
    source->sample_rate_ = reader.sample_rate();
    source->reader_ended_ = false;
    if (longest_seconds)
      source->reader_limit_ =
          static_cast<std::uint64_t>(std::llround(*longest_seconds * reader.sample_rate()));
    source->expected_frames_ = std::min(reader.length_frames(), source->reader_limit_);
    if (reader.file_rate() != reader.sample_rate()) {
      source->remarks_.push_back(input_path + " converted from " +
                                 std::to_string(reader.file_rate()) + " to " +
                                 std::to_string(reader.sample_rate()) + " Hz");
    }
    if (reader.channels() > 2) {
      source->remarks_.push_back(input_path + " has " + std::to_string(reader.channels()) +
                                 " channels; the first two are used");
    }
  } else {
    source->sample_rate_ = sample_rate > 0 ? sample_rate : default_rate;
  }
  if (!midi_path.empty()) {
    auto song = read_midi_file(midi_path, error);
    if (!song) return nullptr;
    source->song_ =
        longest_seconds ? first_part(*std::move(song), *longest_seconds) : *std::move(song);
    source->song_end_ = static_cast<std::uint64_t>(
        std::llround(source->song_.length_seconds * source->sample_rate_));
    source->expected_frames_ = std::max(source->expected_frames_, source->song_end_);
    if (source->song_.left_out > 0) {
      source->remarks_.push_back(std::to_string(source->song_.left_out) +
                                 " system-exclusive message" +
                                 (source->song_.left_out == 1 ? "" : "s") + " left out");
    }
  } else if (tempo) {
    source->song_.marks = {{.tempo = *tempo}};
  }
  // Time goes on until both are over.
  source->song_.length_seconds =
      static_cast<double>(source->expected_frames_) / source->sample_rate_;
  source->song_events_.emplace(source->song_, source->sample_rate_);
  return source;
}

bool SongSource::prepare(std::uint32_t longest, std::string& error) {
  period_ = song_events_->next(longest);
  if (!reader_) return true;
  const std::uint32_t frames = period_.frames;
  left_.resize(frames);
  right_.resize(frames);
  std::uint32_t got = 0;
  if (!reader_ended_) {
    const auto wanted = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(frames, reader_limit_ - reader_position_));
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
  return std::max(song_end_, reader_position_);
}

}  // namespace vesk::tools
