#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/live/session.hpp"

namespace vesk::tools {

extern const char* const play_help;

struct PlayArguments {
  std::vector<std::string> chain_words;  ///< as given, maybe with names
  LiveSettings settings;                 ///< its chains are there after `take_chains`
};

/// What a command line asks for, without its chains; nothing, with a sentence in `error`, when it
/// makes no sense.
std::optional<PlayArguments> parse_play_arguments(const std::vector<std::string>& words,
                                                  std::string& error);

/// Turns `chain_words` into chains: names of plugins are looked up. False with a sentence in
/// `error`.
bool take_chains(PlayArguments& arguments, std::string& error);

}  // namespace vesk::tools
