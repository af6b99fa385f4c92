#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "spec/chain_text.hpp"
#include "tools/parameters/chain_settings.hpp"

namespace vesk::tools {

/// What a command line of vesk-edit asks for.
struct EditArguments {
  ChainElements chain;
  ChainSettings settings;
  bool only_saves = false;    ///< the chain's preset files are written and no editor is opened
  std::string copy_path;      ///< the new preset file to work on, already in `chain`; empty: none
  std::string original_path;  ///< the preset file that it is a copy of
  std::string midi_path;      ///< song to play, over and over; empty: none
  bool plays_notes = false;
  int sample_rate = 48'000;
  std::uint32_t period = 512;
};

/// Reads the arguments after the program's name. Empty with a sentence in `error` for anything
/// that cannot be meant: an unknown option, a number out of range, a chain that does not parse or
/// is too long to show, or that cannot take what it is to play.
std::optional<EditArguments> parse_edit_arguments(const std::vector<std::string>& words,
                                                  std::string& error);

/// The text of `vesk-edit --help`.
extern const std::string edit_help;

}  // namespace vesk::tools
