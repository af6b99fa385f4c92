// Standard MIDI Files: a song is in order, and its periods hold every event once.
#include "tools/midi/midi_file.hpp"

#include <cmath>

#include "fuzz/input.hpp"
#include "tools/midi/period_events.hpp"

using namespace vesk::tools;
using vesk::fuzz::expect;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string error;
  const auto song = parse_midi({data, size}, error);
  expect(song.has_value() == error.empty());
  if (!song) return 0;
  double last = 0;
  for (const TimedMidiEvent& event : song->events) {
    expect(event.seconds >= last && event.status >= 0x80 && event.status < 0xf0);
    expect(event.data1 < 0x80 && event.data2 < 0x80);
    last = event.seconds;
  }
  expect(last <= song->length_seconds && song->length_seconds <= 24 * 3600);

  PeriodEvents periods(*song, 8'000);
  std::size_t events = 0;
  // The periods of a long song are much the same after so many.
  for (int i = 0; i < 2000; ++i) {
    const Period period = periods.next(4096);
    expect(period.frames >= 1 && period.frames <= 4096);
    for (const auto& event : period.events) expect(event.offset < period.frames);
    events += period.events.size();
    if (const auto& now = period.transport) {
      expect(std::isfinite(now->beat) && std::isfinite(now->bar_start) && now->tempo > 0);
      expect(now->beats_per_bar > 0 && now->beat_unit > 0 && now->bar_start <= now->beat);
    }
  }
  expect(periods.is_done() ? events == song->events.size() : events < song->events.size());
  return 0;
}
