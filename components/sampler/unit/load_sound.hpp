#pragma once

// From a file to what can be played: which kind of file it is, and who reads it.

#include <CoreAudioTypes/CoreAudioTypes.h>

#include <memory>
#include <string>

#include "components/sampler/player.hpp"
#include "components/sampler/soundfont/soundfont.hpp"

namespace vesk::sampler {

/// What a unit is asked to load, and what its saved state names.
struct InstrumentRequest {
  std::string path;        ///< empty: no instrument
  SoundFontPreset preset;  ///< for files with many
};

/// Tells the kind by the file's first bytes, whatever its name is, and loads it. On failure null
/// with the status for the caller and a sentence that names the file in `error`. Not real-time.
std::unique_ptr<InstrumentSound> load_sound(const InstrumentRequest& request, OSStatus& status,
                                            std::string& error);

/// Where the instrument of a saved state is now: at `path`, or under the user's home or the present
/// folder at the longest end of `path` that is there. Empty when it is in none.
std::string find_instrument(const std::string& path);

}  // namespace vesk::sampler
