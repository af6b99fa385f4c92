#pragma once

#include <optional>
#include <string>
#include <vector>

#include "spec/chain_text.hpp"
#include "tools/live/kept_presets.hpp"
#include "tools/live/live_chains.hpp"
#include "tools/midi/midi_file.hpp"

namespace vesk::tools {

/// What is played through a JACK server, and how.
struct LiveSettings {
  std::vector<ChainElements> chains;
  std::string name = "vesk";  ///< the client's in the server
  double tempo = 120;         ///< beats a minute, while the server's transport does not say
  bool connects = false;      ///< to what is physical
  bool shows_editors = false;
  bool ends_with_editors = false;  ///< when the last one is closed
  std::optional<Song> song;        ///< played to the first chain, over and over
  bool has_tones = false;          ///< the song is sent as audio too
};

/// Plays until somebody interrupts, the server ends or the last editor is closed. `presets` has
/// kept the preset files of the chains whose editors are shown. False with a sentence in `error`
/// when it cannot begin, the server ends, or something could not be saved; always where this was
/// built without JACK.
bool play_live(const LiveSettings& settings, KeptPresets& presets, const Say& say,
               std::string& error);

}  // namespace vesk::tools
