#pragma once

#include <optional>
#include <vector>

#include "spec/chain_text.hpp"
#include "tools/parameters/description.hpp"
#include "tools/render/warning.hpp"

namespace vesk::tools {

/// What a host takes without a word although it can hardly be meant: a preset file that is not
/// there, a parameter that the plugin does not have or a value that it does not take, MIDI events
/// for a plugin that gets none. Runs a program for each plugin that is given parameters, at
/// `sample_rate_hz`.
std::vector<Warning> check_chain(const ChainElements& chain, bool plays_midi, int sample_rate_hz);

/// What is wrong with the values that one element sets, a warning each.
std::vector<Warning> check_values(const ChainElement& plugin,
                                  const std::vector<ParameterDescription>& parameters);

}  // namespace vesk::tools
