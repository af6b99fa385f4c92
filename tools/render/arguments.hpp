#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "spec/chain_text.hpp"
#include "tools/audio/writer.hpp"
#include "tools/parameters/chain_settings.hpp"

namespace vesk::tools {

/// What a command line of vesk-render asks for.
struct RenderArguments {
  std::string chain_words;            ///< as given
  std::vector<std::string> settings;  ///< of its parameters, as given
  ChainElements chain;                ///< what `take_chain` was given
  ChainSettings start;                ///< presets and files
  /// What the chain takes first, a song or audio; `take_chain` puts the one of a single rendering
  /// into `midi_path` or `input_path`.
  std::vector<std::string> inputs;
  std::string midi_path;    ///< empty: none
  std::string input_path;   ///< empty: none
  std::string output_path;  ///< "-": standard output
  std::string plot_path;    ///< empty: no picture
  AudioFormat format = AudioFormat::wav_float;
  int sample_rate = 0;  ///< Hz; 0: the input's, or 48,000 without one
  std::uint32_t period = 512;
  std::optional<double> tempo;  ///< beats a minute, for audio input; empty: not known
  double start_seconds = 0.0;
  double preroll_seconds = 0.0;
  std::optional<double> duration_seconds;  ///< empty: all of it
  std::optional<double> tail_seconds;      ///< empty: by listening
  bool keep_latency = false;
  bool quiet = false;
  bool is_strict = false;  ///< a slip is an error
  bool verifies = false;   ///< renders twice and compares
  bool as_json = false;

  std::string out_dir;         ///< for many inputs; empty: a single rendering
  int jobs = 0;                ///< so many at a time; 0: one a processor
  int limit_seconds = 0;       ///< for one of them; 0: none
  bool keeps_folders = false;  ///< of the inputs, below `out_dir`
  bool does_again = false;     ///< what is finished, too
  /// The options that say how one rendering sounds, for a command line of its own.
  std::vector<std::string> rendering_words;

  bool is_batch() const { return !out_dir.empty(); }
};

/// Reads the arguments after the program's name, all but the chain. Empty with a sentence in
/// `error` for anything that cannot be meant: an unknown option, a number out of range, something
/// missing.
std::optional<RenderArguments> parse_render_arguments(const std::vector<std::string>& words,
                                                      std::string& error);

/// Takes the specification text that the words stood for. False with a sentence in `error`: a
/// plugin may not stand where it stands, or the chain cannot take the source that it is to be
/// given.
bool take_chain(RenderArguments& arguments, const std::string& specification, std::string& error);

/// The text of `vesk-render --help`.
extern const std::string render_help;

}  // namespace vesk::tools
