#include "components/sampler/samples/sample_set.hpp"

#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/stat.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "components/sampler/samples/sample_data.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tests/support/wait_until.hpp"

namespace vesk::sampler {
namespace {

using tests::ScratchFolder;

constexpr SampleBudget all_in_memory{std::size_t{1} << 30}, all_streamed{0};
// More than a ring holds behind the beginning.
constexpr std::int64_t file_frames = 100'000;

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
  std::vector<Zone> all{zone_of("whole", 0, 0), zone_of("a part", 12'345, 51'000)};
  all.push_back(zone_of("one-shot", 0, 0, looped(forward, 1000, 2000, false)));
  all.back().is_one_shot = true;
  for (const auto direction : {forward, backward, alternating})
    for (const bool is_left : {false, true})
      for (const auto& [name, start, end, crossfade] :
           {std::tuple{"one cycle", 24'000, 24'100, 0}, std::tuple{"short", 16'000, 20'800, 0},
            std::tuple{"short with a fade", 16'000, 20'800, 40},
            std::tuple{"all of it fades", 16'000, 20'800, 100}, std::tuple{"long", 4000, 40'000, 0},
            std::tuple{"long with a fade", 12'000, 44'000, 150}})
        all.push_back(
            zone_of(name, 10, 59'000, looped(direction, start, end, is_left, crossfade, is_left)));
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
  // A kind of file has every so manieth of the ways.
  constexpr std::size_t most = 130'000, release_at = 61'500;
  std::vector<Zone> zones = ways();
  for (std::size_t i = 0; i < zones.size(); ++i)
    zones[i].sample = (i + i / files.size()) % files.size();
  std::vector<std::string> paths;
  std::vector<Frames> contents;
  for (const auto& [name, format, channels] : files) {
    paths.push_back(folder / name);
    write_noise(paths.back(), format, channels);
    contents.push_back(frames_of(paths.back()));
    ASSERT_EQ(contents.back().size(), file_frames);
  }
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
}

TEST(SampleSet, FitsZonesToWhatTheFileHolds) {
  struct Case {
    const char* name;
    std::int64_t start, end;
    Loop loop;
    // what comes of it, for a file of 1000 frames; the end 0: no sound, the loop's end 0: no loop
    std::int64_t fitted_start, fitted_end, loop_start, loop_end, crossfade;
  };
  using enum Loop::Direction;
  const auto loop = [](std::int64_t start, std::int64_t end, std::int32_t crossfade = 0) {
    return looped(forward, start, end, false, crossfade);
  };
  const Case cases[] = {
      {"an end of 0", 0, 0, {}, 0, 1000, 0, 0, 0},
      {"an end behind the file", 5, 2000, {}, 5, 1000, 0, 0, 0},
      {"an end before the start", 500, 20, {}, 500, 501, 0, 0, 0},
      {"a start before the file", -7, 20, {}, 0, 20, 0, 0, 0},
      {"a start behind the file", 1000, 0, {}, 0, 0, 0, 0, 0},
      {"a loop of one frame", 0, 0, loop(10, 11), 0, 1000, 0, 0, 0},
      {"a loop backwards", 0, 0, loop(20, 10), 0, 1000, 0, 0, 0},
      {"a loop before the file", 0, 0, loop(-1, 10), 0, 1000, 0, 0, 0},
      {"a loop far behind the end", 0, 500, loop(10, 600), 0, 500, 0, 0, 0},
      {"a loop far behind the file", 0, 0, loop(10, 1u << 31), 0, 1000, 0, 0, 0},
      {"a loop before the start", 500, 0, loop(10, 500), 500, 1000, 0, 0, 0},
      {"an end that names the last frame", 0, 999, loop(0, 1000), 0, 1000, 0, 1000, 0},
      {"a loop to behind the last frame", 0, 0, loop(0, 1001), 0, 1000, 0, 1000, 0},
      {"a crossfade in milliseconds", 0, 0, loop(400, 900, 8), 0, 1000, 400, 900, 384},
      {"one in frames, as milliseconds too long", 0, 0, loop(400, 900, 300), 0, 1000, 400, 900,
       300},
      {"one that is neither", 0, 0, loop(400, 900, 524'288), 0, 1000, 400, 900, 0},
      {"one without as much before the loop", 0, 0, loop(40, 900, 10), 0, 1000, 40, 900, 40},
      {"a negative one", 0, 0, loop(40, 900, -10), 0, 1000, 40, 900, 0},
  };
  for (const Case& wanted : cases) {
    const auto order = fit(zone_of("", wanted.start, wanted.end, wanted.loop), 1000, 48'000);
    ASSERT_EQ(order.has_value(), wanted.fitted_end != 0) << wanted.name;
    if (!order) continue;
    EXPECT_EQ(order->start, wanted.fitted_start) << wanted.name;
    EXPECT_EQ(order->end, wanted.fitted_end) << wanted.name;
    ASSERT_EQ(order->has_loop, wanted.loop_end != 0) << wanted.name;
    if (!order->has_loop) continue;
    EXPECT_EQ(order->loop_start, wanted.loop_start) << wanted.name;
    EXPECT_EQ(order->loop_end, wanted.loop_end) << wanted.name;
    EXPECT_EQ(order->crossfade, wanted.crossfade) << wanted.name;
  }
}

TEST(SampleSet, AFileThatIsNoSampleIsMissingAndHoldsNobodyUp) {
  const ScratchFolder folder;
  const std::string good = folder / "good.wav";
  write_noise(good, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 1000);
  std::filesystem::create_directory(folder / "folder.wav");
  ASSERT_EQ(mkfifo((folder / "pipe.wav").c_str(), 0600), 0);
  std::ofstream(folder / "text.wav") << "RIFF no sound at all";
  std::ofstream(folder / "empty.wav").close();
  std::vector<Zone> zones(8);
  for (std::size_t i = 0; i < zones.size(); ++i) zones[i].sample = i;
  zones[7].start = 1000;
  const std::vector<std::string> paths{"",
                                       folder / "nothing.wav",
                                       folder / "folder.wav",
                                       folder / "pipe.wav",
                                       folder / "text.wav",
                                       folder / "empty.wav",
                                       good,
                                       good};
  const auto set = SampleSet::load(instrument_of(zones), paths, all_in_memory);
  EXPECT_EQ(set->missing(), (std::vector<std::size_t>{0, 1, 2, 3, 4, 5}));
  for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(set->has(i), i == 6) << i;
  auto streams = set->make_streams(1);
  for (const std::size_t silent : {0, 7, 8}) {
    streams[0].start(silent);
    EXPECT_TRUE(played(streams[0], 10).empty());
  }
}

TEST(SampleSet, AFileThatIsDamagedIsSilentFromThereOn) {
  const ScratchFolder folder;
  using Damage = void (*)(const std::string& path);
  const auto cut = [](const std::string& path) {
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
  };
  struct Case {
    const char* name;
    int format;
    Damage do_it;
  };
  const int wav = SF_FORMAT_WAV | SF_FORMAT_PCM_16, flac = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
  const Case cases[] = {
      {"cut short", wav, cut},
      {"cut short, compressed", flac, cut},
      {"deleted", wav, [](const std::string& path) { std::filesystem::remove(path); }},
      {"another now", wav, [](const std::string& path) { write_noise(path, wav, 2); }},
      {"rubbish now", wav,
       [](const std::string& path) { std::ofstream(path) << std::string(300'000, 'x'); }},
      {"rubbish inside", flac,
       [](const std::string& path) {
         std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
         file.seekp(60'000);
         file << std::string(20'000, 'x');
       }},
  };
  constexpr std::size_t beginning = 8192;  // in memory
  for (const Case& damaged : cases) {
    const std::string path = folder / "sample";
    std::filesystem::remove(path);
    write_noise(path, damaged.format, 1);
    const Frames whole = frames_of(path);
    const auto before = SampleSet::load(instrument_of({Zone()}), {&path, 1}, all_streamed);
    damaged.do_it(path);
    before->set_offline(true);
    auto streams = before->make_streams(1);
    streams[0].start(0);
    const Frames heard = played(streams[0], 300'000);
    ASSERT_EQ(heard.size(), whole.size()) << damaged.name;
    std::size_t right = 0;
    while (right < heard.size() && heard[right] == whole[right]) ++right;
    EXPECT_GE(right, beginning) << damaged.name;
    EXPECT_LT(right, whole.size()) << damaged.name;
    for (std::size_t i = right; i < heard.size(); ++i)
      ASSERT_TRUE(heard[i] == whole[i] || heard[i] == (std::array{0.0f, 0.0f}))
          << damaged.name << ", frame " << i;
    // As it is now: from the first byte on what libsndfile finds, in memory or streamed.
    for (const SampleBudget budget : {all_in_memory, all_streamed}) {
      const auto after = SampleSet::load(instrument_of({Zone()}), {&path, 1}, budget);
      after->set_offline(true);
      auto late = after->make_streams(1);
      late[0].start(0);
      EXPECT_LE(played(late[0], 300'000).size(), whole.size()) << damaged.name;
    }
  }
}

TEST(SampleSet, VoicesThatAreRestartedAtAnyTimeNeverHearWhatWasBefore) {
  const ScratchFolder folder;
  std::vector<std::string> paths;
  std::vector<Zone> zones = ways();
  for (std::size_t i = 0; i < 5; ++i) {
    paths.push_back(folder / (std::to_string(i) + ".wav"));
    write_noise(paths[i], SF_FORMAT_WAV | SF_FORMAT_PCM_24, 1 + i % 2, file_frames);
  }
  for (std::size_t i = 0; i < zones.size(); ++i) zones[i].sample = i % paths.size();
  const Instrument instrument = instrument_of(zones);
  const auto held = SampleSet::load(instrument, paths, all_in_memory);
  const auto streamed = SampleSet::load(instrument, paths, all_streamed);
  streamed->set_offline(true);
  constexpr unsigned voices = 200, period = 400;
  auto wanted = held->make_streams(voices);
  auto heard = streamed->make_streams(voices);
  std::mt19937 random(1);
  std::vector<float> left(period), right(period), left_wanted(period), right_wanted(period);
  for (int round = 0; round < 150; ++round) {
    for (unsigned voice = 0; voice < voices; ++voice) {
      const unsigned chance = random() % 200;
      if (round == 0 || chance < 5) {
        const std::size_t zone = random() % zones.size();
        wanted[voice].start(zone);
        heard[voice].start(zone);
      } else if (chance < 7) {
        wanted[voice].release();
        heard[voice].release();
      } else if (chance == 8) {
        wanted[voice].stop();
        heard[voice].stop();
      }
      EXPECT_EQ(wanted[voice].is_in_loop(), heard[voice].is_in_loop());
      const unsigned count = wanted[voice].read(left_wanted.data(), right_wanted.data(), period);
      ASSERT_EQ(heard[voice].read(left.data(), right.data(), period), count)
          << "voice " << voice << " in round " << round
          << (heard[voice].has_starved() ? " starved" : "");
      for (unsigned i = 0; i < count; ++i)
        ASSERT_TRUE(std::abs(left[i] - left_wanted[i]) < 1e-6 &&
                    std::abs(right[i] - right_wanted[i]) < 1e-6)
            << "voice " << voice << " in round " << round;
    }
  }
}

TEST(SampleSet, AVoiceThatIsFasterThanTheWorkerStarvesAndPlaysAgain) {
  const ScratchFolder folder;
  const std::string path = folder / "sample.wav";
  write_noise(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1);
  const Frames whole = frames_of(path);
  const auto set = SampleSet::load(instrument_of({Zone()}), {&path, 1}, all_streamed);
  auto streams = set->make_streams(1);
  // Nobody waits for the worker here; sooner or later it loses.
  ASSERT_TRUE(tests::wait_until([&] {
    streams[0].start(0);
    EXPECT_FALSE(streams[0].has_starved());
    const Frames heard = played(streams[0], file_frames, ~std::size_t{0}, 32'768);
    EXPECT_TRUE(std::equal(heard.begin(), heard.end(), whole.begin()));
    EXPECT_EQ(heard.size() < whole.size(), streams[0].has_starved());
    return streams[0].has_starved();
  }));
  set->set_offline(true);
  streams[0].start(0);
  EXPECT_EQ(difference(played(streams[0], file_frames), whole), "");
}

TEST(SampleSet, WhatIsInMemoryIsSharedUntilTheFileChanges) {
  const ScratchFolder folder;
  const std::string path = folder / "a.wav", other_name = folder / "b.wav";
  write_noise(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1);
  std::filesystem::create_symlink(path, other_name);
  const auto get = [](const std::string& name, std::vector<Stretch> stretches) {
    const auto file = SampleFile::open(name);
    return SampleData::get(name, file->key(), std::move(stretches));
  };
  const auto whole = get(path, {});
  const auto beginning = get(path, {{0, 1000}});
  EXPECT_EQ(get(other_name, {}), whole);
  EXPECT_EQ(get(path, {{0, 1000}}), beginning);
  EXPECT_NE(beginning, whole);
  const FileKey before = SampleFile::open(path)->key();
  write_noise(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 5000);
  const auto changed = get(path, {});
  EXPECT_NE(changed, whole);
  EXPECT_EQ(changed->format().frames, 5000);
  EXPECT_EQ(SampleData::get(path, before, {{0, 10}}), nullptr);
}

TEST(SampleSet, PlayersComeAndGoWhileTheWorkerReads) {
  const ScratchFolder folder;
  const std::string path = folder / "sample.flac";
  write_noise(path, SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 2);
  const auto play = [&] {
    for (int i = 0; i < 8; ++i) {
      auto set = SampleSet::load(instrument_of({Zone()}), {&path, 1}, all_streamed);
      auto first = set->make_streams(8);
      auto second = set->make_streams(8);
      set.reset();
      for (ZoneStream& stream : first) stream.start(0);
      for (ZoneStream& stream : second) stream.start(0);
      second.clear();
      for (ZoneStream& stream : first) played(stream, 10'000);
    }
  };
  std::thread twin(play);
  play();
  twin.join();
}

}  // namespace
}  // namespace vesk::sampler
