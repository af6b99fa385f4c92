#include "tools/midi/midi_file.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "tools/program/input_file.hpp"

namespace vesk::tools {
namespace {

// Not libsmf: its loader ends the process through `assert` on about one damaged file in fifty.

using Bytes = std::span<const std::uint8_t>;

constexpr double longest_song_seconds = 24.0 * 3600.0;
constexpr std::size_t largest_file_bytes = 64u << 20;
constexpr std::uint32_t default_us_per_quarter = 500'000;  // 120 beats a minute
constexpr std::uint8_t largest_beat_unit_power = 6;        // 64th notes

/// `order` keeps what shares a tick in file order.
struct TickEvent {
  std::uint64_t tick = 0;
  std::size_t order = 0;
  std::uint8_t status = 0;
  std::uint8_t data1 = 0;
  std::uint8_t data2 = 0;
};

struct TempoChange {
  std::uint64_t tick = 0;
  std::size_t order = 0;
  std::uint32_t us_per_quarter = default_us_per_quarter;
};

struct MeterChange {
  std::uint64_t tick = 0;
  std::size_t order = 0;
  std::uint32_t beats_per_bar = 4;
  std::uint32_t beat_unit = 4;
};

template <typename Timed>
void sort_by_time(std::vector<Timed>& items) {
  std::ranges::sort(items, [](const Timed& a, const Timed& b) {
    return a.tick != b.tick ? a.tick < b.tick : a.order < b.order;
  });
}

struct Score {
  std::vector<TickEvent> events;
  std::vector<TempoChange> tempos;
  std::vector<MeterChange> meters;
  std::uint64_t end_tick = 0;
  std::size_t left_out = 0;
};

std::uint32_t big_endian(Bytes bytes) {
  std::uint32_t value = 0;
  for (std::uint8_t byte : bytes) value = value << 8 | byte;
  return value;
}

bool has_tag(Bytes bytes, const char* tag) {
  return bytes.size() >= 4 && std::memcmp(bytes.data(), tag, 4) == 0;
}

/// Reads one track's bytes; every read says whether there was enough.
class TrackReader {
 public:
  TrackReader(Bytes bytes, unsigned number) : bytes_(bytes), number_(number) {}

  /// Appends the track to `score`.
  bool read(Score& score, std::string& error) {
    std::uint64_t tick = 0;
    bool ended = false;
    while (!ended && position_ < bytes_.size()) {
      std::uint32_t delta = 0;
      if (!read_length(delta)) return fail("ends inside a time", error);
      tick += delta;
      if (position_ >= bytes_.size()) return fail("ends inside an event", error);
      if (!read_event(tick, score, ended, error)) return false;
    }
    // Many writers leave the end-of-track event out; the last event then ends the track.
    score.end_tick = std::max(score.end_tick, tick);
    return true;
  }

 private:
  bool read_event(std::uint64_t tick, Score& score, bool& ended, std::string& error) {
    const std::uint8_t first = bytes_[position_];
    if (first == 0xFF) return read_meta(tick, score, ended, error);
    if (first == 0xF0 || first == 0xF7) {
      ++position_;
      ++score.left_out;
      std::uint32_t length = 0;
      if (!read_length(length) || !skip(length)) return fail("ends inside an event", error);
      return true;
    }
    if (first > 0xF0) return fail("holds a system message that files do not have", error);
    if (first & 0x80) {
      running_status_ = first;
      ++position_;
    } else if (running_status_ == 0) {
      return fail("has a data byte where an event should begin", error);
    }
    const std::uint8_t kind = running_status_ & 0xF0;
    const std::size_t wanted = kind == 0xC0 || kind == 0xD0 ? 1 : 2;
    if (bytes_.size() - position_ < wanted) return fail("ends inside an event", error);
    TickEvent event{tick, score.events.size(), running_status_, bytes_[position_], 0};
    if (wanted == 2) event.data2 = bytes_[position_ + 1];
    if ((event.data1 | event.data2) & 0x80)
      return fail("has a status byte where a data byte should be", error);
    position_ += wanted;
    score.events.push_back(event);
    return true;
  }

  bool read_meta(std::uint64_t tick, Score& score, bool& ended, std::string& error) {
    ++position_;
    if (position_ >= bytes_.size()) return fail("ends inside an event", error);
    const std::uint8_t type = bytes_[position_++];
    std::uint32_t length = 0;
    if (!read_length(length) || bytes_.size() - position_ < length)
      return fail("ends inside an event", error);
    const Bytes body = bytes_.subspan(position_, length);
    position_ += length;
    if (type == 0x2F) ended = true;
    if (type == 0x51 && length == 3) {
      const std::uint32_t tempo = big_endian(body);
      if (tempo != 0) score.tempos.push_back({tick, score.tempos.size(), tempo});
    }
    // Beats a bar, then the power of two of the beat's unit.
    if (type == 0x58 && length >= 2 && body[0] != 0 && body[1] <= largest_beat_unit_power)
      score.meters.push_back({tick, score.meters.size(), body[0], 1u << body[1]});
    return true;
  }

  /// A variable-length quantity, at most four bytes.
  bool read_length(std::uint32_t& value) {
    value = 0;
    for (int i = 0; i < 4 && position_ < bytes_.size(); ++i) {
      const std::uint8_t byte = bytes_[position_++];
      value = value << 7 | (byte & 0x7F);
      if (!(byte & 0x80)) return true;
    }
    return false;
  }

  bool skip(std::uint32_t length) {
    if (bytes_.size() - position_ < length) return false;
    position_ += length;
    return true;
  }

  bool fail(const char* what, std::string& error) const {
    error = "track " + std::to_string(number_) + " " + what + " (byte " +
            std::to_string(position_) + " of " + std::to_string(bytes_.size()) + ")";
    return false;
  }

  Bytes bytes_;
  std::size_t position_ = 0;
  unsigned number_;
  std::uint8_t running_status_ = 0;
};

/// Ticks to seconds, by the tempo map or a fixed SMPTE rate.
class TickClock {
 public:
  /// `tempos` by time.
  TickClock(std::uint16_t division, const std::vector<TempoChange>& tempos) {
    if (division & 0x8000) {
      const int frame_code = -static_cast<std::int8_t>(division >> 8);
      const double frames = frame_code == 29 ? 30'000.0 / 1001.0 : frame_code;
      steps_.push_back({0, 0.0, 1.0 / (frames * (division & 0xFF))});
      return;
    }
    const double us_per_tick_scale = 1e-6 / division;
    steps_.push_back({0, 0.0, default_us_per_quarter * us_per_tick_scale});
    for (const TempoChange& change : tempos) {
      const double at = seconds(change.tick);
      steps_.push_back({change.tick, at, change.us_per_quarter * us_per_tick_scale});
    }
  }

  double seconds(std::uint64_t tick) const {
    auto after = std::ranges::upper_bound(steps_, tick, {}, &Step::tick);
    const Step& step = *std::prev(after);
    return step.seconds + static_cast<double>(tick - step.tick) * step.seconds_per_tick;
  }

 private:
  struct Step {
    std::uint64_t tick;
    double seconds;
    double seconds_per_tick;
  };
  std::vector<Step> steps_;
};

/// The changes of tempo and meter, in one list. `score` has them by time.
std::vector<TempoMark> marks_of(const Score& score, std::uint16_t division,
                                const TickClock& clock) {
  std::vector<TempoMark> marks{{}};
  const auto mark_at = [&](std::uint64_t tick) -> TempoMark& {
    const double beat = static_cast<double>(tick) / division;
    if (beat > marks.back().beat) {
      marks.push_back(marks.back());
      marks.back().beat = beat;
      marks.back().seconds = clock.seconds(tick);
    }
    return marks.back();
  };
  auto tempo = score.tempos.begin();
  auto meter = score.meters.begin();
  while (tempo != score.tempos.end() || meter != score.meters.end()) {
    const bool is_tempo =
        meter == score.meters.end() || (tempo != score.tempos.end() && tempo->tick <= meter->tick);
    if (is_tempo) {
      mark_at(tempo->tick).tempo = 60e6 / tempo->us_per_quarter;
      ++tempo;
    } else {
      TempoMark& mark = mark_at(meter->tick);
      mark.first_bar = mark.beat;
      mark.beats_per_bar = meter->beats_per_bar;
      mark.beat_unit = meter->beat_unit;
      ++meter;
    }
  }
  return marks;
}

bool division_is_usable(std::uint16_t division) {
  if (!(division & 0x8000)) return division != 0;
  const int frame_code = -static_cast<std::int8_t>(division >> 8);
  return (division & 0xFF) != 0 &&
         (frame_code == 24 || frame_code == 25 || frame_code == 29 || frame_code == 30);
}

bool read_tracks(Bytes rest, unsigned expected, Score& score, std::string& error) {
  unsigned found = 0;
  while (found < expected && rest.size() >= 8) {
    const std::uint32_t length = big_endian(rest.subspan(4, 4));
    const bool is_track = has_tag(rest, "MTrk");
    rest = rest.subspan(8);
    if (length > rest.size()) {
      error = "the file ends inside " +
              (is_track ? "track " + std::to_string(found + 1) : std::string("a chunk"));
      return false;
    }
    if (is_track && !TrackReader(rest.first(length), ++found).read(score, error)) return false;
    rest = rest.subspan(length);
  }
  if (found < expected) {
    error = "the file ends after " + std::to_string(found) + " of " + std::to_string(expected) +
            " tracks";
    return false;
  }
  return true;
}

}  // namespace

std::optional<Song> parse_midi(std::span<const std::uint8_t> bytes, std::string& error) {
  if (bytes.size() < 14 || !has_tag(bytes, "MThd")) {
    error = "not a MIDI file";
    return std::nullopt;
  }
  const std::uint32_t header_length = big_endian(bytes.subspan(4, 4));
  const std::uint32_t format = big_endian(bytes.subspan(8, 2));
  const std::uint32_t tracks = big_endian(bytes.subspan(10, 2));
  const auto division = static_cast<std::uint16_t>(big_endian(bytes.subspan(12, 2)));
  if (header_length < 6 || header_length > bytes.size() - 8) {
    error = "damaged MIDI file: the header says that it is " + std::to_string(header_length) +
            " bytes long";
    return std::nullopt;
  }
  if (format > 1) {
    error = "MIDI file of format " + std::to_string(format) + "; formats 0 and 1 can be played";
    return std::nullopt;
  }
  if (!division_is_usable(division)) {
    error = "damaged MIDI file: no usable time base (" + std::to_string(division) + ")";
    return std::nullopt;
  }
  if (tracks == 0) {
    error = "damaged MIDI file: no tracks";
    return std::nullopt;
  }

  Score score;
  std::string reason;
  if (!read_tracks(bytes.subspan(8 + header_length), tracks, score, reason)) {
    error = "damaged MIDI file: " + reason;
    return std::nullopt;
  }
  sort_by_time(score.events);
  sort_by_time(score.tempos);
  sort_by_time(score.meters);

  const TickClock clock(division, score.tempos);
  Song song;
  if (!(division & 0x8000)) song.marks = marks_of(score, division, clock);
  song.left_out = score.left_out;
  song.length_seconds = clock.seconds(score.end_tick);
  if (song.length_seconds > longest_song_seconds) {
    error = "the song lasts " + std::to_string(static_cast<long long>(song.length_seconds / 3600)) +
            " hours; at most 24 can be played";
    return std::nullopt;
  }
  song.events.reserve(score.events.size());
  for (const TickEvent& event : score.events)
    song.events.push_back({clock.seconds(event.tick), event.status, event.data1, event.data2});
  return song;
}

std::optional<Song> read_midi_file(const std::string& path, std::string& error) {
  int cause = 0;
  const auto bytes = read_file(path, largest_file_bytes, cause);
  std::string reason;
  std::optional<Song> song;
  if (bytes)
    song = parse_midi(*bytes, reason);
  else if (cause == EISDIR)
    reason = "is a folder";
  else if (cause == EFBIG)
    reason = "too large for a MIDI file (over 64 MB)";
  else
    reason = std::generic_category().message(cause);
  if (!song) error = path + ": " + reason;
  return song;
}

}  // namespace vesk::tools
