#pragma once

#include "tools/midi/midi_file.hpp"

namespace vesk::tools {

/// The song's first `seconds`, when it is longer: notes that are held then end there, and pedals
/// are let go.
Song first_part(Song song, double seconds);

/// The song from `seconds` on, its times as they were: notes that began before are left out, and
/// controllers, programs, bends and pressure are set at `seconds` to what they were by then.
Song last_part(Song song, double seconds);

}  // namespace vesk::tools
