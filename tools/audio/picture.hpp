#pragma once

#include <string>

#include "tools/program/output_file.hpp"

namespace vesk::tools {

/// What stands above the drawing.
struct Caption {
  std::string title;    ///< left, large
  std::string detail;   ///< left, below the title, small
  std::string figures;  ///< right
};

/// Draws the audio file at `audio_path` as a PNG of 1600 x 900: both sides' waveform over the
/// spectrogram, time below, frequency beside. False with a sentence in `error` when the audio
/// cannot be read or the picture not written.
bool draw_picture(const std::string& audio_path, const Caption& caption, OutputFile& png,
                  std::string& error);

}  // namespace vesk::tools
