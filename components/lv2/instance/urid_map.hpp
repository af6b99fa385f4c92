#pragma once

// Numbers for URIs, as plugins exchange them at run time.

#include <cstdint>

#include "platform/realtime.hpp"

namespace vesk::lv2 {

/// The number of `uri`, the same for the life of the process; 0 when the table is full (16,383
/// URIs) or `uri` is null. Any thread; real-time safe (some plugins map while they run): no lock,
/// no allocation, and a known URI costs one hash and one comparison.
std::uint32_t map_uri(const char* uri) noexcept VESK_REALTIME;

/// The URI of a number that `map_uri` gave; null for any other. Lives as long as the process.
/// Any thread; real-time safe.
const char* unmap_urid(std::uint32_t urid) noexcept VESK_REALTIME;

/// The numbers that the unit itself uses.
struct Urids {
  std::uint32_t atom_blank, atom_bool, atom_chunk, atom_double, atom_float, atom_int, atom_literal,
      atom_long, atom_object, atom_path, atom_property, atom_resource, atom_sequence, atom_string,
      atom_tuple, atom_uri, atom_urid, atom_vector;
  std::uint32_t bufsize_min, bufsize_max, bufsize_nominal, bufsize_sequence;
  std::uint32_t log_trace, midi_event, sample_rate;
  std::uint32_t patch_error, patch_put, patch_set, patch_body, patch_property, patch_value;
  std::uint32_t time_position, time_frame, time_speed, time_bar, time_bar_beat, time_beat_unit,
      time_beats_per_bar, time_beats_per_minute;
};

/// Made at the first call, which may not be on a real-time thread.
const Urids& urids();

}  // namespace vesk::lv2
