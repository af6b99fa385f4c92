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
  std::string chain_words;            ///< as given
  std::vector<std::string> settings;  ///< of its parameters, as given
  ChainElements chain;                ///< what `take_chain` was given
  ChainSettings start;                ///< presets and files
  bool only_saves = false;    ///< the chain's preset files are written and no editor is opened
  std::string copy_path;      ///< the new preset file to work on, already in `chain`; empty: none
  std::string original_path;  ///< the preset file that it is a copy of
  std::string midi_path;      ///< song to play, over and over; empty: none
  bool plays_notes = false;
  bool is_live = false;      ///< it is heard and played through a JACK server
  bool connects = false;     ///< to what is physical
  int sample_rate = 0;       ///< Hz
  std::uint32_t period = 0;  ///< frames
};

/// Reads the arguments after the program's name, all but the chain. Empty with a sentence in
/// `error` for anything that cannot be meant: an unknown option, a number out of range, something
/// missing.
std::optional<EditArguments> parse_edit_arguments(const std::vector<std::string>& words,
                                                  std::string& error);

/// Takes the specification text that the words stood for. False with a sentence in `error`: a
/// plugin may not stand where it stands, the chain is too long to show, names one preset file twice
/// or none to copy, or cannot take what it is to play.
bool take_chain(EditArguments& arguments, const std::string& specification, std::string& error);

/// The text of `vesk-edit --help`.
extern const std::string edit_help;

}  // namespace vesk::tools
