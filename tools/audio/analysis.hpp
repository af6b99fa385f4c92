#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vesk::tools {

/// A finished audio file, measured for drawing: a column a pixel.
struct AudioAnalysis {
  struct Extent {
    float low = 0.0f;
    float high = 0.0f;
  };

  double duration_seconds = 0.0;
  int sample_rate = 0;
  unsigned columns = 0;
  unsigned rows = 0;
  double lowest_hz = 0.0;
  double highest_hz = 0.0;
  float peak = 0.0f;
  std::vector<Extent> left;   ///< `columns` entries
  std::vector<Extent> right;  ///< `columns` entries
  /// `columns` x `rows` levels in decibels, column by column, the highest frequency first. Rows
  /// are spaced by equal ratios; 0 dB is a sine of full scale on both sides.
  std::vector<float> levels_db;

  float level(unsigned column, unsigned row) const { return levels_db[column * rows + row]; }
};

/// Reads the file at `path` (one or two channels) and measures it into `columns` x `rows` (1 or
/// more). The spectrum is taken over Hann windows of about 85 ms; where a column spans more than
/// one, the loudest of up to four counts. Memory does not grow with the file. Empty with a
/// sentence in `error` when the file cannot be read.
std::optional<AudioAnalysis> analyse_audio(const std::string& path, unsigned columns, unsigned rows,
                                           std::string& error);

}  // namespace vesk::tools
