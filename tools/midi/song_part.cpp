#include "tools/midi/song_part.hpp"

#include <algorithm>
#include <cstddef>
#include <ranges>
#include <set>
#include <utility>
#include <vector>

namespace vesk::tools {
namespace {

constexpr std::uint8_t note_off = 0x80, note_on = 0x90, key_pressure = 0xA0, controller = 0xB0,
                       program = 0xC0;
constexpr std::uint8_t pedal = 64;

/// Whether of several such messages the last one says all. A program is of the bank that was chosen
/// before it, data entry is for the parameter that was, and a reset puts back what stood before.
bool replaces_earlier(const TimedMidiEvent& event) {
  const std::uint8_t kind = event.status & 0xF0;
  const int number = event.data1;
  const bool is_bank = number == 0 || number == 32;
  const bool is_data = number == 6 || number == 38 || (number >= 96 && number <= 101);
  const bool is_mode = number >= 120;
  return kind != program && !(kind == controller && (is_bank || is_data || is_mode));
}

}  // namespace

Song first_part(Song song, double seconds) {
  if (song.length_seconds <= seconds) return song;
  song.length_seconds = seconds;
  std::erase_if(song.events,
                [seconds](const TimedMidiEvent& event) { return event.seconds >= seconds; });
  std::set<std::pair<std::uint8_t, std::uint8_t>> notes;  // channel, key
  std::set<std::uint8_t> pedals;                          // channels
  for (const TimedMidiEvent& event : song.events) {
    const std::uint8_t kind = event.status & 0xF0;
    const std::uint8_t channel = event.status & 0x0F;
    if (kind == note_on && event.data2 > 0)
      notes.insert({channel, event.data1});
    else if (kind == note_on || kind == note_off)
      notes.erase({channel, event.data1});
    else if (kind == controller && event.data1 == pedal && event.data2 > 0)
      pedals.insert(channel);
    else if (kind == controller && event.data1 == pedal)
      pedals.erase(channel);
  }
  for (const auto& [channel, key] : notes)
    song.events.push_back({seconds, static_cast<std::uint8_t>(note_off | channel), key, 0});
  for (const std::uint8_t channel : pedals)
    song.events.push_back({seconds, static_cast<std::uint8_t>(controller | channel), pedal, 0});
  return song;
}

Song last_part(Song song, double seconds) {
  const auto rest = std::ranges::lower_bound(song.events, seconds, {}, &TimedMidiEvent::seconds);
  std::vector<TimedMidiEvent> events(rest, song.events.end());
  std::set<std::pair<std::uint8_t, std::uint8_t>> set_later;  // status, controller
  for (const TimedMidiEvent& event :
       std::ranges::subrange(song.events.begin(), rest) | std::views::reverse) {
    const std::uint8_t kind = event.status & 0xF0;
    if (kind == note_on || kind == note_off || kind == key_pressure) continue;
    const std::uint8_t number = kind == controller ? event.data1 : 0;
    if (replaces_earlier(event) && !set_later.insert({event.status, number}).second) continue;
    events.push_back({seconds, event.status, event.data1, event.data2});
  }
  // What is set was found from the last to the first, and goes before the rest.
  const auto middle = events.begin() + (song.events.end() - rest);
  std::reverse(middle, events.end());
  std::rotate(events.begin(), middle, events.end());
  song.events = std::move(events);
  return song;
}

}  // namespace vesk::tools
