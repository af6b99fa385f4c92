// Writes songs/demo.mid: a short piece for electric piano, composed for this project.
//
// Usage: make_demo_song OUT.mid. Bars of four beats; an intro, a theme, a middle part, the theme
// again and a coda that slows down and rings out. The same bytes every time.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

constexpr int ticks_per_beat = 480;
constexpr double beats_per_bar = 4.0;
constexpr std::uint8_t sustain_pedal = 64;

struct Message {
  long tick;
  int order;         // at one tick: releases, pedal, then new notes
  std::size_t rank;  // in the order in which they were added
  std::vector<std::uint8_t> bytes;
};

struct Note {
  double beat;  // from the start of its bar
  double length;
  int pitch;
};

/// Pitch of a name such as "F#4"; C4 is 60.
int pitch(const char* name) {
  static constexpr int steps[] = {9, 11, 0, 2, 4, 5, 7};  // A to G
  int value = steps[*name++ - 'A'];
  for (; *name == '#' || *name == 'b'; ++name) value += *name == '#' ? 1 : -1;
  return value + 12 * (*name - '0' + 1);
}

/// Small, repeatable unevenness, so that it does not sound like a machine.
class Hand {
 public:
  int spread(int most) {
    state_ = state_ * 1664525u + 1013904223u;
    return static_cast<int>(state_ >> 16) % (2 * most + 1) - most;
  }

 private:
  std::uint32_t state_ = 7;
};

class Track {
 public:
  void note(double beat, double length, int key, int velocity) {
    const long start = std::max(0L, ticks(beat) + hand_.spread(6));
    const int strength = std::clamp(velocity + hand_.spread(4), 1, 127);
    add(start, 2, {0x90, byte(key), byte(strength)});
    add(ticks(beat + length), 0, {0x80, byte(key), 64});
  }
  void pedal(double beat, bool is_down) {
    add(ticks(beat), 1, {0xB0, sustain_pedal, byte(is_down ? 127 : 0)});
  }
  void name(const std::string& text) {
    std::vector<std::uint8_t> bytes{0xFF, 0x03, byte(static_cast<int>(text.size()))};
    bytes.insert(bytes.end(), text.begin(), text.end());
    add(0, -1, std::move(bytes));
  }
  void tempo(double beat, double beats_per_minute) {
    const int us = static_cast<int>(std::lround(60e6 / beats_per_minute));
    add(ticks(beat), -1, {0xFF, 0x51, 3, byte(us >> 16), byte(us >> 8), byte(us)});
  }
  void end(double beat) { add(ticks(beat), 9, {0xFF, 0x2F, 0}); }

  /// The track as a chunk.
  std::vector<std::uint8_t> chunk() const {
    std::vector<Message> sorted = messages_;
    std::ranges::sort(sorted, [](const Message& a, const Message& b) {
      return std::tie(a.tick, a.order, a.rank) < std::tie(b.tick, b.order, b.rank);
    });
    std::vector<std::uint8_t> body;
    long tick = 0;
    for (const Message& message : sorted) {
      append_length(body, message.tick - tick);
      body.insert(body.end(), message.bytes.begin(), message.bytes.end());
      tick = message.tick;
    }
    const auto size = static_cast<int>(body.size());
    std::vector<std::uint8_t> whole{
        'M', 'T', 'r', 'k', byte(size >> 24), byte(size >> 16), byte(size >> 8), byte(size)};
    whole.insert(whole.end(), body.begin(), body.end());
    return whole;
  }

 private:
  static std::uint8_t byte(int value) { return static_cast<std::uint8_t>(value & 0xFF); }
  static long ticks(double beat) { return std::lround(beat * ticks_per_beat); }
  static void append_length(std::vector<std::uint8_t>& body, long value) {
    for (int shift = 21; shift > 0; shift -= 7)
      if (value >> shift) body.push_back(static_cast<std::uint8_t>((value >> shift & 0x7F) | 0x80));
    body.push_back(static_cast<std::uint8_t>(value & 0x7F));
  }
  void add(long tick, int order, std::vector<std::uint8_t> bytes) {
    messages_.push_back({tick, order, messages_.size(), std::move(bytes)});
  }

  std::vector<Message> messages_;
  Hand hand_;
};

struct Harmony {
  double beats;  // how long it lasts
  const char* bass;
  std::vector<const char*> voicing;  // between E3 and A4, below the melody
};

struct Bar {
  int loudness;  // of the chords; the melody stands above them, the bass between
  std::vector<Harmony> harmonies;
  std::vector<Note> melody;
};

std::vector<Bar> piece() {
  const auto p = pitch;
  const Harmony d{4, "D2", {"F#3", "A3", "C#4", "E4"}};
  const Harmony b_minor{4, "B1", {"A3", "C#4", "D4", "F#4"}};
  const Harmony g{4, "G2", {"F#3", "A3", "B3", "D4"}};
  const Harmony a13{4, "A1", {"G3", "B3", "C#4", "F#4"}};
  const Harmony a_sus{4, "A1", {"G3", "B3", "D4", "F#4"}};
  const Harmony f_sharp{4, "F#2", {"E3", "A3", "C#4", "E4"}};
  const Harmony b7{4, "B1", {"A3", "C4", "D#4", "F#4"}};
  const Harmony e_minor{4, "E2", {"G3", "B3", "D4", "F#4"}};
  const Harmony a7_flat9{4, "A1", {"G3", "Bb3", "C#4", "E4"}};
  const Harmony g_minor{4, "G2", {"Bb3", "D4", "E4", "A4"}};
  const Harmony b_flat{4, "Bb1", {"A3", "C4", "D4", "F4"}};
  const Harmony c9{4, "C2", {"Bb3", "D4", "E4", "G4"}};
  const auto half = [](Harmony harmony) {
    harmony.beats = 2;
    return harmony;
  };
  return {
      // Intro
      {38, {g}, {{2, 0.5, p("B4")}, {2.5, 0.5, p("D5")}, {3, 1, p("F#5")}}},
      {42, {a_sus}, {{0, 1.5, p("E5")}, {2, 0.5, p("B4")}, {2.5, 1.5, p("D5")}}},
      // Theme
      {50, {d}, {{0.5, 0.5, p("A4")}, {1, 0.5, p("D5")}, {1.5, 1, p("E5")}, {2.5, 1.5, p("F#5")}}},
      {50,
       {b_minor},
       {{0, 0.5, p("E5")}, {0.5, 0.5, p("D5")}, {1, 1, p("C#5")}, {2, 1.75, p("A4")}}},
      {52, {g}, {{0.5, 0.5, p("B4")}, {1, 0.5, p("D5")}, {1.5, 1, p("F#5")}, {2.5, 1.5, p("A5")}}},
      {52,
       {a13},
       {{0, 0.5, p("G5")},
        {0.5, 0.5, p("F#5")},
        {1, 1.5, p("E5")},
        {3, 0.5, p("C#5")},
        {3.5, 0.5, p("E5")}}},
      {54, {f_sharp}, {{0, 1.5, p("A5")}, {1.5, 0.5, p("F#5")}, {2, 1, p("E5")}, {3, 1, p("C#5")}}},
      {56,
       {b7},
       {{0, 1.5, p("D#5")},
        {1.5, 0.5, p("F#5")},
        {2, 1, p("A5")},
        {3, 0.5, p("C6")},
        {3.5, 0.5, p("B5")}}},
      {56,
       {e_minor},
       {{0, 1.5, p("B5")}, {1.5, 0.5, p("G5")}, {2, 0.5, p("F#5")}, {2.5, 1.5, p("E5")}}},
      {52,
       {half(a_sus), half(a7_flat9)},
       {{0, 1, p("D5")},
        {1, 0.5, p("E5")},
        {1.5, 0.5, p("G5")},
        {2, 0.5, p("F#5")},
        {2.5, 0.5, p("E5")},
        {3, 0.5, p("Bb4")},
        {3.5, 0.5, p("C#5")}}},
      // Middle
      {58, {g}, {{0, 0.75, p("D5")}, {0.75, 0.75, p("F#5")}, {1.5, 1.5, p("A5")}, {3, 1, p("B5")}}},
      {60,
       {g_minor},
       {{0, 1.5, p("Bb5")},
        {1.5, 0.5, p("A5")},
        {2, 0.5, p("G5")},
        {2.5, 0.5, p("E5")},
        {3, 1, p("D5")}}},
      {60,
       {half(f_sharp), half(b7)},
       {{0, 1, p("C#5")},
        {1, 0.5, p("E5")},
        {1.5, 0.5, p("A5")},
        {2, 0.5, p("F#5")},
        {2.5, 0.5, p("D#5")},
        {3, 0.5, p("C5")},
        {3.5, 0.5, p("A4")}}},
      {58,
       {half(e_minor), half(a13)},
       {{0, 0.5, p("B4")},
        {0.5, 0.5, p("D5")},
        {1, 1, p("F#5")},
        {2, 0.5, p("G5")},
        {2.5, 0.5, p("F#5")},
        {3, 1, p("E5")}}},
      // Theme, higher and louder
      {64,
       {d},
       {{0.5, 0.25, p("A4")},
        {0.75, 0.25, p("D5")},
        {1, 0.5, p("F#5")},
        {1.5, 1, p("E5")},
        {2.5, 0.75, p("F#5")},
        {3.25, 0.75, p("A5")}}},
      {66,
       {b_minor},
       {{0, 1, p("C#6")}, {1, 0.5, p("B5")}, {1.5, 0.5, p("A5")}, {2, 1.75, p("F#5")}}},
      {64,
       {g},
       {{0.5, 0.5, p("B5")},
        {1, 0.5, p("A5")},
        {1.5, 0.5, p("F#5")},
        {2, 1, p("D5")},
        {3, 0.5, p("E5")},
        {3.5, 0.5, p("F#5")}}},
      {58,
       {half(a_sus), half(a13)},
       {{0, 1.5, p("E5")},
        {1.5, 0.5, p("D5")},
        {2, 1, p("C#5")},
        {3, 0.5, p("B4")},
        {3.5, 0.5, p("C#5")}}},
      // Coda
      {50, {b_flat}, {{0, 1.5, p("D5")}, {1.5, 0.5, p("F5")}, {2, 2, p("A5")}}},
      {44, {c9}, {{0, 1.5, p("G5")}, {1.5, 0.5, p("E5")}, {2, 1, p("D5")}, {3, 1, p("E5")}}},
  };
}

struct Arrangement {
  Track conductor, melody, chords, bass;
};

/// Chords that answer the beat, a different figure in every other bar; the pedal with them.
void play_chords(Track& track, double start, const Harmony& harmony, int loudness, bool is_odd) {
  struct Stroke {
    double beat, length;
    int accent;
  };
  static const std::vector<Stroke> even{{0, 1.3, 0}, {1.5, 0.8, -8}, {2.5, 1.3, -4}};
  static const std::vector<Stroke> odd{{0, 1.8, 0}, {2.5, 0.4, -8}, {3, 0.9, -6}};
  for (const Stroke& stroke : is_odd ? odd : even) {
    if (stroke.beat >= harmony.beats) break;
    const double length = std::min(stroke.length, harmony.beats - stroke.beat);
    double roll = 0.0;
    for (const char* voice : harmony.voicing) {
      track.note(start + stroke.beat + roll, length - roll, pitch(voice), loudness + stroke.accent);
      roll += stroke.beat == 0 ? 0.02 : 0.008;
    }
  }
  track.pedal(start + 0.06, true);
  track.pedal(start + harmony.beats - 0.06, false);
}

/// Root, fifth, and a step that leads into the next root.
void play_bass(Track& track, double start, const Harmony& harmony, int next_root, int loudness) {
  const int root = pitch(harmony.bass);
  if (harmony.beats < beats_per_bar) {
    track.note(start, harmony.beats - 0.1, root, loudness);
    return;
  }
  track.note(start, 1.4, root, loudness);
  track.note(start + 1.5, 0.9, root + 7, loudness - 10);
  track.note(start + 2.5, 0.9, root + 12, loudness - 6);
  track.note(start + 3.5, 0.45, next_root + (next_root < root ? 1 : -1), loudness - 8);
}

/// The last chord, spread upwards and left to ring with the pedal down.
double play_ending(Arrangement& music, double start) {
  music.bass.note(start, 9, pitch("D2"), 58);
  music.bass.note(start + 0.25, 9, pitch("A2"), 46);
  const char* spread[] = {"F#3", "A3", "C#4", "E4", "A4", "C#5", "E5", "F#5", "A5", "C#6", "F#6"};
  double beat = start + 0.5;
  int loudness = 48;
  for (const char* key : spread) {
    music.melody.note(beat, start + 9 - beat, pitch(key), loudness);
    beat += 0.25 + 0.02 * (beat - start);
    loudness -= 1;
  }
  music.chords.pedal(start + 0.06, true);
  music.chords.pedal(start + 9.5, false);
  return start + 10;
}

Arrangement arrange() {
  Arrangement music;
  music.conductor.name("Demo for electric piano");
  music.melody.name("Melody");
  music.chords.name("Chords");
  music.bass.name("Bass");
  music.conductor.tempo(0, 90);

  const std::vector<Bar> bars = piece();
  double start = 0.0;
  for (std::size_t i = 0; i < bars.size(); ++i) {
    const Bar& bar = bars[i];
    double inside = start;
    for (std::size_t h = 0; h < bar.harmonies.size(); ++h) {
      const Harmony& harmony = bar.harmonies[h];
      const char* next = h + 1 < bar.harmonies.size() ? bar.harmonies[h + 1].bass
                         : i + 1 < bars.size()        ? bars[i + 1].harmonies[0].bass
                                                      : "D2";
      play_chords(music.chords, inside, harmony, bar.loudness, i % 2 == 1);
      play_bass(music.bass, inside, harmony, pitch(next), bar.loudness + 4);
      inside += harmony.beats;
    }
    for (const Note& note : bar.melody)
      music.melody.note(start + note.beat, note.length * 0.95, note.pitch, bar.loudness + 14);
    start += beats_per_bar;
  }
  // The last bar before the end slows down.
  double tempo = 90;
  for (int step = 0; step < 12; ++step) {
    music.conductor.tempo(start - 4 + 0.5 * step, tempo);
    tempo *= 0.97;
  }
  const double end = play_ending(music, start);
  for (Track* track : {&music.conductor, &music.melody, &music.chords, &music.bass})
    track->end(end);
  return music;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s OUT.mid\n", argv[0]);
    return 2;
  }
  const Arrangement music = arrange();
  std::vector<std::uint8_t> file{
      'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 1, 0, 4, ticks_per_beat >> 8, ticks_per_beat & 0xFF};
  for (const Track* track : {&music.conductor, &music.melody, &music.chords, &music.bass}) {
    const std::vector<std::uint8_t> chunk = track->chunk();
    file.insert(file.end(), chunk.begin(), chunk.end());
  }
  std::FILE* out = std::fopen(argv[1], "wb");
  const bool is_written = out && std::fwrite(file.data(), 1, file.size(), out) == file.size();
  if ((out && std::fclose(out) != 0) || !is_written) {
    std::perror(argv[1]);
    return 1;
  }
  return 0;
}
