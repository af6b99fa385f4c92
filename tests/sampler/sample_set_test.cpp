#include "components/sampler/samples/sample_set.hpp"

#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/stat.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>

#include "components/sampler/samples/sample_data.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tests/support/wait_until.hpp"

namespace vesk::sampler {
namespace {

using tests::ScratchFolder;

constexpr SampleBudget all_in_memory{std::size_t{1} << 30}, all_streamed{0};
constexpr std::int64_t file_frames = 150'000;

/// Left and right of each frame.
using Frames = std::vector<std::array<float, 2>>;

/// Every frame another value, so that no other can be taken for it.
void write_noise(const std::string& path, int format, int channels,
                 std::int64_t frames = file_frames) {
  SF_INFO info{0, 48'000, channels, format, 0, 0};
  SNDFILE* const file = sf_open(path.c_str(), SFM_WRITE, &info);
  ASSERT_NE(file, nullptr) << path;
  std::mt19937 random(static_cast<unsigned>(frames + channels));
  std::vector<float> samples(static_cast<std::size_t>(frames * channels));
  for (float& sample : samples) sample = static_cast<float>(random()) * 0x1p-32f - 0.5f;
  EXPECT_EQ(sf_writef_float(file, samples.data(), frames), frames);
  sf_close(file);
}

/// As libsndfile gives it.
Frames frames_of(const std::string& path) {
  SF_INFO info{};
  SNDFILE* const file = sf_open(path.c_str(), SFM_READ, &info);
  if (file == nullptr) return {};
  const auto channels = static_cast<std::size_t>(info.channels);
  std::vector<float> samples(static_cast<std::size_t>(info.frames) * channels);
  sf_readf_float(file, samples.data(), info.frames);
  sf_close(file);
  Frames frames(static_cast<std::size_t>(info.frames));
  for (std::size_t i = 0; i < frames.size(); ++i)
    frames[i] = {samples[i * channels], samples[i * channels + (channels > 1 ? 1 : 0)]};
  return frames;
}

/// An instrument with one zone for each of the samples that are named.
Instrument instrument_of(const std::vector<Zone>& zones) {
  Instrument instrument;
  instrument.zones = zones;
  for (const Zone& zone : zones)
    instrument.samples.resize(std::max(instrument.samples.size(), zone.sample + 1));
  return instrument;
}

/// All that a stream plays in periods of `period`, at most `most` frames; released before the
/// first period that begins at or after `release_at`.
Frames played(ZoneStream& stream, std::size_t most, std::size_t release_at = ~std::size_t{0},
              unsigned period = 500) {
  Frames frames;
  std::vector<float> left(period), right(period);
  while (frames.size() < most) {
    if (frames.size() >= release_at) stream.release();
    const unsigned count = stream.read(left.data(), right.data(), period);
    for (unsigned i = 0; i < count; ++i) frames.push_back({left[i], right[i]});
    if (count < period) break;
  }
  if (frames.size() > most) frames.resize(most);
  return frames;
}

/// What is to be heard of a zone that fits its file, frame by frame.
Frames expected(const Zone& zone, const Frames& file, std::size_t most, std::size_t release_at) {
  const std::int64_t start = zone.start;
  const std::int64_t end = zone.end > 0 ? zone.end : static_cast<std::int64_t>(file.size());
  const std::int64_t first = zone.loop.start, behind = zone.loop.end, cycle = behind - first;
  const int onwards = zone.is_reversed ? -1 : 1;
  const bool alternates = zone.loop.direction == Loop::Direction::alternating;
  const int pass = zone.loop.direction == Loop::Direction::backward ? -onwards : onwards;
  const std::int64_t fade = alternates ? 0 : zone.loop.crossfade * 48;
  int step = onwards;
  std::int64_t at = onwards > 0 ? start : end - 1, fading = 0;
  bool loops = zone.loop.is_on && !zone.is_one_shot, leaves = false;
  Frames frames;
  while (frames.size() < most && at >= start && at < end) {
    const auto& out = file[static_cast<std::size_t>(at)];
    if (fading > 0) {
      const double in_share = 1 - static_cast<double>(fading) / static_cast<double>(fade);
      const bool is_power = zone.loop.crossfades_equal_power;
      const double a = is_power ? std::cos(M_PI / 2 * in_share) : 1 - in_share;
      const double b = is_power ? std::sin(M_PI / 2 * in_share) : in_share;
      const auto& in = file[static_cast<std::size_t>(at - step * cycle)];
      frames.push_back(
          {static_cast<float>(a * out[0] + b * in[0]), static_cast<float>(a * out[1] + b * in[1])});
    } else {
      frames.push_back(out);
    }
    at += step;
    const std::int64_t to_edge = step > 0 ? behind - at : at - first + 1;
    if (loops && fading > 0) {
      if (--fading == 0) at -= step * cycle;
    } else if (loops && leaves && step == onwards && to_edge <= fade) {
      loops = false;
    } else if (loops && to_edge == 0) {
      if (alternates || step != pass || leaves) {
        step = -step;
        at += 2 * step;
      } else {
        at -= step * cycle;
      }
    }
    const std::int64_t now_to_edge = step > 0 ? behind - at : at - first + 1;
    if (loops && fading == 0 && step == pass && !leaves && now_to_edge <= fade)
      fading = now_to_edge;
    // Heard at the end of a period only.
    if (frames.size() >= release_at && frames.size() % 500 == 0)
      leaves = zone.loop.is_left_on_release;
  }
  return frames;
}

/// The first frame that differs by more than rounding, for a message.
std::string difference(const Frames& heard, const Frames& wanted) {
  for (std::size_t i = 0; i < std::min(heard.size(), wanted.size()); ++i)
    for (int c = 0; c < 2; ++c)
      if (!(std::abs(heard[i][c] - wanted[i][c]) < 1e-6))
        return "frame " + std::to_string(i) + " of " + std::to_string(wanted.size());
  if (heard.size() != wanted.size())
    return std::to_string(heard.size()) + " frames, not " + std::to_string(wanted.size());
  return "";
}

Loop looped(Loop::Direction direction, std::int64_t start, std::int64_t end, bool is_left,
            std::int32_t crossfade_ms = 0, bool is_equal_power = false) {
  return {.is_on = true,
          .direction = direction,
          .is_left_on_release = is_left,
          .crossfades_equal_power = is_equal_power,
          .start = start,
          .end = end,
          .crossfade = crossfade_ms};
}

Zone zone_of(const char* name, std::int64_t start, std::int64_t end, const Loop& loop = {}) {
  Zone zone;
  zone.name = name;
  zone.start = start;
  zone.end = end;
  zone.loop = loop;
  return zone;
}

std::vector<Zone> ways() {
  using enum Loop::Direction;
  std::vector<Zone> all{zone_of("whole", 0, 0), zone_of("a part", 12'345, 140'000)};
  all.push_back(zone_of("one-shot", 0, 0, looped(forward, 1000, 2000, false)));
  all.back().is_one_shot = true;
  for (const auto direction : {forward, backward, alternating})
    for (const bool is_left : {false, true})
      for (const auto& [name, start, end, crossfade] :
           {std::tuple{"one cycle", 60'000, 60'100, 0}, std::tuple{"short", 40'000, 52'000, 0},
            std::tuple{"short with a fade", 40'000, 52'000, 100},
            std::tuple{"all of it fades", 40'000, 44'800, 100},
            std::tuple{"long", 10'000, 100'000, 0},
            std::tuple{"long with a fade", 30'000, 110'000, 300}})
        all.push_back(
            zone_of(name, 10, 149'000, looped(direction, start, end, is_left, crossfade, is_left)));
  for (std::size_t i = 0, forwards = all.size(); i < forwards; ++i) {
    all.push_back(all[i]);
    all.back().is_reversed = true;
  }
  return all;
}

TEST(SampleSet, PlaysEveryWayThroughASampleInMemoryAndStreamed) {
  const ScratchFolder folder;
  const std::vector<std::tuple<const char*, int, int>> files{
      {"16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1},
      {"24.aif", SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 2},
      {"float.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2},
      {"24.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 1},
      {"vorbis.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 2},
      {"three.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 3},
  };
  // The ways matter little to the kind of file: a kind has every so manieth of them.
  constexpr std::size_t most = 400'000, release_at = 173'000;
  std::vector<Zone> zones = ways();
  for (std::size_t i = 0; i < zones.size(); ++i) zones[i].sample = i % files.size();
  std::vector<std::string> paths;
  std::vector<Frames> contents;
  for (const auto& [name, format, channels] : files) {
    paths.push_back(folder / name);
    write_noise(paths.back(), format, channels);
    contents.push_back(frames_of(paths.back()));
    ASSERT_EQ(contents.back().size(), file_frames);
  }
  for (std::size_t turn = 0; turn < files.size(); ++turn) {
    for (const SampleBudget budget : {all_in_memory, all_streamed}) {
      const auto set = SampleSet::load(instrument_of(zones), paths, budget);
      EXPECT_TRUE(set->missing().empty());
      set->set_offline(true);
      auto streams = set->make_streams(1);
      for (std::size_t i = 0; i < zones.size(); ++i) {
        streams[0].start(i);
        EXPECT_EQ(difference(played(streams[0], most, release_at),
                             expected(zones[i], contents[zones[i].sample], most, release_at)),
                  "")
            << zones[i].name << " no " << i << ", " << std::get<0>(files[zones[i].sample]) << ", "
            << (budget.bytes == 0 ? "streamed" : "in memory");
        EXPECT_FALSE(streams[0].has_starved());
      }
    }
    for (Zone& zone : zones) zone.sample = (zone.sample + 1) % files.size();
  }
}

}  // namespace
}  // namespace vesk::sampler
