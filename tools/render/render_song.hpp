#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/render/arguments.hpp"
#include "tools/render/period_loop.hpp"
#include "tools/render/warning.hpp"

namespace vesk::tools {

/// What a rendering came to.
struct RenderReport {
  bool had_host = false;             ///< one was started
  std::string chain_name;            ///< the plugins' names, joined by arrows
  int sample_rate = 0;               ///< Hz
  std::uint64_t frames = 0;          ///< written
  std::uint64_t periods = 0;         ///< rendered by the host
  std::uint64_t latency_frames = 0;  ///< the chain's
  double load_seconds = 0.0;         ///< from starting the host to its first answer
  double render_seconds = 0.0;       ///< from the first period to the last sample written
  float peak = 0.0f;
  std::optional<double> loudness_lufs;
  std::vector<Warning> warnings;  ///< resampled, clipped, cut, out of range, ...
};

/// Renders what `arguments` ask for, from reading the song to the files under their final names.
///
/// `failed` and `differs` come with one sentence in `error`, and `slipped` with a warning that says
/// why, where the arguments are strict. Then, and when interrupted, no output has been left and
/// existing files of the names are as they were. From the host's start on, the first SIGINT,
/// SIGTERM or SIGHUP only asks to stop (`interruption` tells which it was).
RenderOutcome render_song(const RenderArguments& arguments, RenderReport& report,
                          std::string& error);

}  // namespace vesk::tools
