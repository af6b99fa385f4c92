#pragma once

#include <cstdint>
#include <vector>

#include "host/block.hpp"

namespace vesk::bench {

/// The instrument that stands for an ordinary plugin: mda-lv2's ePiano.
inline constexpr const char* piano_uri = "http://drobilla.net/plugins/mda/EPiano";
inline constexpr const char* piano_spec = "aumu:Sm48:LV2_";

/// Eight notes of it, struck at once.
inline std::vector<host::MidiEvent> chord() {
  std::vector<host::MidiEvent> events;
  for (const int key : {36, 43, 48, 55, 60, 64, 67, 72})
    events.push_back({0x90, static_cast<std::uint8_t>(key), 80, 0, 0});
  return events;
}

}  // namespace vesk::bench
