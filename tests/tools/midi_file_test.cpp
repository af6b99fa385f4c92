// Songs as files: into timed events, and dealt out to periods.

#include "tools/midi/midi_file.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <tuple>

#include "tests/support/scratch_folder.hpp"
#include "tools/midi/period_events.hpp"
#include "tools/midi/song_part.hpp"

namespace vesk::tools {
namespace {

using tests::Bytes;
using tests::file_bytes;

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

/// A chunk of at most 255 bytes.
Bytes chunk(const std::string& tag, const Bytes& body) {
  return Bytes(tag.begin(), tag.end()) + Bytes{0, 0, 0, std::uint8_t(body.size())} + body;
}

Bytes header(int format, int tracks, int division) {
  return chunk("MThd", {0, std::uint8_t(format), 0, std::uint8_t(tracks),
                        std::uint8_t(division >> 8), std::uint8_t(division)});
}

Bytes track(const Bytes& body) {
  return chunk("MTrk", body);
}

const Bytes end_of_track{0, 0xFF, 0x2F, 0};
const Bytes one_note{0, 0x90, 60, 100, 96, 0x80, 60, 0};

TEST(midi_file, EventsComeAtTheirTimes) {
  const Bytes tempo_1s{0, 0xFF, 0x51, 3, 0x0F, 0x42, 0x40};   // 1,000,000 us a quarter
  const Bytes tempo_2s{96, 0xFF, 0x51, 3, 0x1E, 0x84, 0x80};  // 2,000,000 us, one quarter later
  const struct {
    const char* name;
    Bytes bytes;
    std::vector<TimedMidiEvent> events;
    double length;
  } cases[] = {
      {"120 beats a minute when no tempo is given",
       header(0, 1, 96) + track(one_note + end_of_track),
       {{0, 0x90, 60, 100}, {0.5, 0x80, 60, 0}},
       0.5},
      {"running status, also across a meta event",
       header(0, 1, 96) + track(Bytes{0, 0x90, 60, 1, 96, 61, 2, 0, 0xFF, 1, 1, 'x', 0, 62, 3}),
       {{0, 0x90, 60, 1}, {0.5, 0x90, 61, 2}, {0.5, 0x90, 62, 3}},
       0.5},
      {"a tempo in one track moves the notes of another",
       header(1, 2, 96) + track(tempo_1s + tempo_2s + end_of_track) +
           track(Bytes{48, 0x90, 60, 1, 96, 0x80, 60, 0} + end_of_track),
       {{0.5, 0x90, 60, 1}, {2.0, 0x80, 60, 0}},
       2.0},
      {"one data byte for programs and channel pressure; a 2-byte time",
       header(0, 1, 96) + track(Bytes{0, 0xC3, 7, 0x81, 0x40, 0xD0, 9} + end_of_track),
       {{0, 0xC3, 7, 0}, {1.0, 0xD0, 9, 0}},
       1.0},
      {"SMPTE time base, 25 frames of 40",
       header(0, 1, 0xE728) + track(Bytes{0x87, 0x68, 0x90, 60, 1} + end_of_track),
       {{1.0, 0x90, 60, 1}},
       1.0},
      {"foreign chunks and bytes after the last track are skipped",
       header(0, 1, 96) + chunk("XFIH", {1, 2, 3}) + track(one_note + end_of_track) + Bytes{1, 2},
       {{0, 0x90, 60, 100}, {0.5, 0x80, 60, 0}},
       0.5},
      {"at one time the file's order holds, track by track",
       header(1, 2, 96) + track(Bytes{0, 0x80, 60, 0} + end_of_track) +
           track(Bytes{0, 0x90, 60, 1, 0, 0x90, 50, 1} + end_of_track),
       {{0, 0x80, 60, 0}, {0, 0x90, 60, 1}, {0, 0x90, 50, 1}},
       0.0},
      {"what follows the end of a track is not played",
       header(0, 1, 96) + track(end_of_track + one_note),
       {},
       0.0},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    std::string error;
    const auto song = parse_midi(test.bytes, error);
    ASSERT_TRUE(song) << error;
    ASSERT_EQ(song->events.size(), test.events.size());
    for (std::size_t i = 0; i < test.events.size(); ++i) {
      const TimedMidiEvent& event = song->events[i];
      const TimedMidiEvent& expected = test.events[i];
      EXPECT_NEAR(event.seconds, expected.seconds, 1e-9);
      EXPECT_EQ(std::tie(event.status, event.data1, event.data2),
                std::tie(expected.status, expected.data1, expected.data2));
    }
    EXPECT_NEAR(song->length_seconds, test.length, 1e-9);
  }
}

TEST(midi_file, TempoAndMeterAreMarkedWhereTheyChange) {
  const Bytes twice_as_slow{0, 0xFF, 0x51, 3, 0x0F, 0x42, 0x40};
  const Bytes six_eight{96, 0xFF, 0x58, 4, 6, 3, 36, 8};
  const TempoMark start;
  const struct {
    const char* name;
    Bytes bytes;
    std::vector<TempoMark> marks;
  } cases[] = {
      {"none: 120 in 4/4", header(0, 1, 96) + track(one_note), {start}},
      {"at the start they replace it, and a meter an eighth later starts its bars",
       header(0, 1, 96) +
           track(twice_as_slow + Bytes{48} + Bytes(six_eight.begin() + 1, six_eight.end())),
       {{.tempo = 60},
        {.seconds = 0.5,
         .beat = 0.5,
         .tempo = 60,
         .first_bar = 0.5,
         .beats_per_bar = 6,
         .beat_unit = 8}}},
      {"a tempo of another track keeps the meter's bars",
       header(1, 2, 96) + track(six_eight) +
           track(Bytes{0x81, 0x40} + Bytes(twice_as_slow.begin() + 1, twice_as_slow.end())),
       {start,
        {.seconds = 0.5, .beat = 1, .first_bar = 1, .beats_per_bar = 6, .beat_unit = 8},
        {.seconds = 1,
         .beat = 2,
         .tempo = 60,
         .first_bar = 1,
         .beats_per_bar = 6,
         .beat_unit = 8}}},
      {"nonsense is left out: a meter of 0, a 128th as its unit",
       header(0, 1, 96) + track({0, 0xFF, 0x58, 4, 0, 2, 24, 8, 0, 0xFF, 0x58, 4, 4, 7, 24, 8}),
       {start}},
      {"SMPTE has no beats", header(0, 1, 0xE728) + track(twice_as_slow), {}},
  };
  for (const auto& test : cases) {
    std::string error;
    const auto song = parse_midi(test.bytes, error);
    ASSERT_TRUE(song) << test.name << error;
    EXPECT_EQ(song->marks, test.marks) << test.name;
  }
}

TEST(midi_file, DamagedFilesAreRefusedInWords) {
  const Bytes good = header(0, 1, 96) + track(one_note + end_of_track);
  const std::string damaged = "damaged MIDI file: ";
  const struct {
    Bytes bytes;
    std::string message;
  } cases[] = {
      {{}, "not a MIDI file"},
      {Bytes(100, 'x'), "not a MIDI file"},
      {{good.begin(), good.end() - 3}, damaged + "the file ends inside track 1"},
      {header(0, 2, 96) + track(one_note + end_of_track),
       damaged + "the file ends after 1 of 2 tracks"},
      {header(2, 1, 96) + track(end_of_track),
       "MIDI file of format 2; formats 0 and 1 can be played"},
      {header(0, 1, 0) + track(end_of_track), damaged + "no usable time base (0)"},
      {header(0, 0, 96), damaged + "no tracks"},
      {header(0, 1, 96) + track({0, 0x90, 60}),
       damaged + "track 1 ends inside an event (byte 2 of 3)"},
      {header(0, 1, 96) + track({0, 60, 1}),
       damaged + "track 1 has a data byte where an event should begin (byte 1 of 3)"},
      {header(0, 1, 96) + track({0, 0x90, 0x90, 1}),
       damaged + "track 1 has a status byte where a data byte should be (byte 2 of 4)"},
      {header(0, 1, 96) + track({0, 0xFF, 1, 100, 'x'}),
       damaged + "track 1 ends inside an event (byte 4 of 5)"},
      {header(0, 1, 96) + track({0xFF, 0xFF, 0xFF, 0xFF, 0, 0x90, 1, 1}),
       damaged + "track 1 ends inside a time (byte 4 of 8)"},
      {header(0, 1, 1) + track({0xFF, 0xFF, 0xFF, 0x7F, 0x90, 1, 1}),
       "the song lasts 37282 hours; at most 24 can be played"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.message);
    std::string error;
    EXPECT_FALSE(parse_midi(test.bytes, error));
    EXPECT_EQ(error, test.message);
  }
}

TEST(midi_file, NoDamageCrashesTheReader) {
  const Bytes original = file_bytes(VESK_SONGS "/demo.mid");
  ASSERT_FALSE(original.empty());
  std::mt19937 random(1);
  int refused = 0;
  for (int round = 0; round < 20'000; ++round) {
    Bytes bytes = original;
    for (unsigned i = 0; i <= random() % 4; ++i)
      bytes[random() % (random() % 2 ? bytes.size() : 60)] = std::uint8_t(random());
    if (round % 5 == 0) bytes.resize(random() % bytes.size());
    std::string error;
    const auto song = parse_midi(bytes, error);
    if (!song) {
      ++refused;
      ASSERT_FALSE(error.empty());
      continue;
    }
    ASSERT_TRUE(std::isfinite(song->length_seconds));
    double before = 0.0;
    for (const TimedMidiEvent& event : song->events) {
      ASSERT_GE(event.seconds, before);
      ASSERT_LE(event.seconds, song->length_seconds + 1e-6);
      ASSERT_LT(event.data1 | event.data2, 0x80);
      before = event.seconds;
    }
  }
  EXPECT_GT(refused, 5'000);
}

TEST(midi_file, TheFirstPartOfASongHoldsNoNoteBeyondItsEnd) {
  const Song song{{{0.0, 0x91, 60, 100},
                   {0.5, 0xB1, 64, 127},
                   {0.5, 0x91, 62, 100},
                   {0.75, 0x81, 60, 0},
                   {1.0, 0x93, 60, 100},
                   {1.5, 0x91, 62, 0}},
                  {},
                  2.0,
                  3};
  const struct {
    double seconds;
    std::vector<TimedMidiEvent> end;  // what stands behind what is left of the song
  } cases[] = {
      {0.0, {}},
      {0.5, {{0.5, 0x81, 60, 0}}},
      {0.75, {{0.75, 0x81, 60, 0}, {0.75, 0x81, 62, 0}, {0.75, 0xB1, 64, 0}}},
      {1.25, {{1.25, 0x81, 62, 0}, {1.25, 0x83, 60, 0}, {1.25, 0xB1, 64, 0}}},
      {2.0, {}},
      {9.0, {}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.seconds);
    std::vector<TimedMidiEvent> wanted;
    for (const TimedMidiEvent& event : song.events)
      if (event.seconds < test.seconds) wanted.push_back(event);
    wanted.insert(wanted.end(), test.end.begin(), test.end.end());
    const Song part = first_part(song, test.seconds);
    EXPECT_EQ(part.events, wanted);
    EXPECT_EQ(part.length_seconds, std::min(test.seconds, 2.0));
  }
}

TEST(midi_file, TheLastPartFindsEverythingSetAsItWas) {
  Song song;
  song.length_seconds = 9;
  song.events = {
      {0, 0xB0, 0, 1},  {0, 0xC0, 5, 0},    {0, 0xB0, 0, 2},  {0, 0xB0, 7, 90},  {1, 0x90, 60, 100},
      {1, 0xA0, 60, 9}, {1, 0xB0, 64, 127}, {1, 0xE0, 0, 70}, {2, 0xB0, 101, 0}, {2, 0xB0, 100, 0},
      {2, 0xB0, 6, 12}, {2, 0xB0, 7, 80},   {3, 0xB1, 7, 50}, {3, 0xE0, 0, 64},  {3, 0xD0, 33, 0},
      {4, 0x80, 60, 0}, {4, 0x90, 62, 100}, {5, 0x80, 62, 0},
  };
  // At 4: no notes; what one later message replaces is gone; bank, program and data entry are in
  // order.
  const std::vector<TimedMidiEvent> wanted = {
      {4, 0xB0, 0, 1},    {4, 0xC0, 5, 0},   {4, 0xB0, 0, 2},  {4, 0xB0, 64, 127},
      {4, 0xB0, 101, 0},  {4, 0xB0, 100, 0}, {4, 0xB0, 6, 12}, {4, 0xB0, 7, 80},
      {4, 0xB1, 7, 50},   {4, 0xE0, 0, 64},  {4, 0xD0, 33, 0}, {4, 0x80, 60, 0},
      {4, 0x90, 62, 100}, {5, 0x80, 62, 0},
  };
  EXPECT_EQ(last_part(song, 4).events, wanted);
  EXPECT_EQ(last_part(song, 4).length_seconds, 9);
  EXPECT_EQ(last_part(song, 0).events, song.events);
}

TEST(period_events, EveryEventStaysAtItsFrameHoweverDenseTheSong) {
  // Groups of events at one frame each, after one another.
  const struct {
    std::vector<std::pair<std::uint32_t, int>> groups;  // frame, events
    std::vector<std::uint32_t> lengths;                 // of the periods, 100 frames at most
  } cases[] = {
      {{{0, 1}, {100, 2}, {350, 1}}, {100, 100, 100, 100}},
      {{{0, 128}, {99, 0}}, {100}},
      {{{10, 100}, {40, 28}, {60, 100}, {99, 50}}, {60, 39, 100}},
      {{{10, 100}, {40, 29}, {60, 1}}, {40, 100}},
      {{{50, 128}, {51, 128}, {99, 1}}, {51, 48, 100}},
      // As many at one frame as two periods hold: the rest a frame later.
      {{{0, 300}, {90, 1}}, {1, 1, 100}},
      {{{20, 300}, {21, 10}}, {20, 1, 1, 100}},
  };
  for (const auto& test : cases) {
    Song song;
    std::vector<std::uint64_t> wanted, seen;  // frames
    for (const auto& [frame, count] : test.groups) {
      for (int i = 0; i < count; ++i) {
        const std::size_t before = wanted.size() - host::max_midi_events;
        const std::uint64_t earliest = before < wanted.size() ? wanted[before] + 1 : 0;
        // The frame nearest to it.
        song.events.push_back(
            {std::max(0.0, (frame - 0.4) / 1000), 0x90, std::uint8_t(wanted.size() % 128), 1});
        wanted.push_back(std::max<std::uint64_t>(frame, earliest));
      }
    }
    PeriodEvents periods(song, 1000.0);
    std::vector<std::uint32_t> lengths;
    for (std::uint64_t start = 0; !periods.is_done(); start += lengths.back()) {
      const Period period = periods.next(100);
      ASSERT_LE(period.events.size(), host::max_midi_events);
      for (const host::MidiEvent& event : period.events) {
        ASSERT_LT(event.offset, period.frames);
        ASSERT_EQ(event.data1, seen.size() % 128);
        seen.push_back(start + event.offset);
      }
      lengths.push_back(period.frames);
    }
    EXPECT_EQ(seen, wanted);
    EXPECT_EQ(lengths, test.lengths);
  }
}

TEST(period_events, EachPeriodKnowsItsBeatAlsoAfterAnHourOfTempoChanges) {
  // Every 7 seconds the tempo changes, every 70 the meter; 3,600 seconds in all.
  Song song;
  song.length_seconds = 3600;
  TempoMark next;
  for (int change = 0; change * 7 < 3600; ++change, next.beat += 7 * next.tempo / 60) {
    next.seconds = change * 7;
    next.tempo = 60 + 37 * change % 180;
    if (change % 10 == 0) {
      next.first_bar = next.beat;
      next.beats_per_bar = change % 20 == 0 ? 4 : 7;
      next.beat_unit = change % 20 == 0 ? 4 : 8;
    }
    song.marks.push_back(next);
  }
  constexpr double rate = 44'100;
  for (const std::uint64_t first : {0, 1'000'000}) {
    SCOPED_TRACE(first);
    PeriodEvents periods(song, rate, first);
    std::uint64_t frame = first;
    std::size_t changes = 0;
    while (frame < 3600 * 44'100ull) {
      const Period period = periods.next(4096);
      ASSERT_TRUE(period.transport);
      const client::Transport& now = *period.transport;
      const auto place = static_cast<std::size_t>(frame / (7 * 44'100));
      changes += frame % (7 * 44'100) == 0;  // a period begins on each change
      const TempoMark& mark = song.marks[place];
      ASSERT_EQ(now.tempo, mark.tempo);
      ASSERT_EQ(now.frame, static_cast<double>(frame));
      ASSERT_NEAR(now.beat, mark.beat + (now.frame / rate - mark.seconds) * mark.tempo / 60, 1e-9);
      const double bar = mark.beats_per_bar * 4.0 / mark.beat_unit;
      ASSERT_LE(now.bar_start, now.beat);
      ASSERT_GT(now.bar_start + bar, now.beat);
      ASSERT_NEAR(std::remainder(now.bar_start - mark.first_bar, bar), 0, 1e-9);
      ASSERT_TRUE(now.playing);
      frame += period.frames;
    }
    EXPECT_EQ(frame, 3600 * 44'100ull) << "a period ends with the song";
    EXPECT_EQ(changes, song.marks.size() - (first + 7 * 44'100 - 1) / (7 * 44'100));
    for (int tail = 0; tail < 2; ++tail) {
      const client::Transport after = *periods.next(4096).transport;
      EXPECT_FALSE(after.playing);
      EXPECT_EQ(after.frame, 3600 * rate) << "time stands still";
    }
  }
}

}  // namespace
}  // namespace vesk::tools
