#pragma once

// The contents of factory presets.

#include <optional>
#include <string>

#include "components/lv2/catalogue/description.hpp"

namespace vesk::lv2 {

/// Reads what `preset` of the plugin `plugin` holds, by running the scanner program for this
/// one preset (some tens of milliseconds). Nothing, with a sentence in `error`, when it cannot be
/// read. Any thread that is not real-time.
std::optional<State> read_preset(const Description& plugin, const Preset& preset,
                                 std::string& error);

}  // namespace vesk::lv2
