#pragma once

// Presets of SoundFont 2 and 3 files, played by libfluidsynth.

#include <memory>
#include <string>

#include "components/sampler/player.hpp"

namespace vesk::sampler {

/// A preset of a SoundFont, 0..127 each. Numbers as the load request of the unit has them: the high
/// byte 0x79 means melodies, in the bank of the low byte; 0x78 percussion.
struct SoundFontPreset {
  unsigned bank_msb = 0x79, bank_lsb = 0, number = 0;
};

/// Reads the file. Where it does not have the first melodic preset and that is asked for, its first
/// one of any kind plays. Null with `error` set when there is no such file or preset. Players run
/// at 8 to 96 kHz.
///
/// All MIDI channels play the same preset: program changes and bank selects are dropped. Notes and
/// controllers take effect at the next multiple of 64 frames since the player was made, where the
/// library begins its blocks: up to 63 frames late, whatever the periods are.
/// Any thread that is not real-time.
std::unique_ptr<InstrumentSound> load_soundfont(const std::string& path,
                                                const SoundFontPreset& preset, std::string& error);

/// What the module soundfont.so exports: `load_soundfont`, the sound to be deleted by the caller.
inline constexpr const char* soundfont_entry = "vesk_load_soundfont";
using SoundFontEntry = InstrumentSound* (*)(const char* path, const SoundFontPreset* preset,
                                            std::string& error);

}  // namespace vesk::sampler
