#pragma once

// What a plugin saves of itself beyond its control values.

#include <lv2/core/lv2.h>
#include <lv2/state/state.h>

#include <string>
#include <vector>

#include "components/lv2/catalogue/description.hpp"

namespace vesk::lv2 {

/// Asks the plugin to store its state. Keys and types are URIs, values are kept byte for byte
/// (see `StateProperty`). Values that hold pointers, or numbers valid in this process only in
/// places that cannot be found, are refused to the plugin. May run beside run(), not beside
/// restore. Not real-time.
std::vector<StateProperty> save_properties(LV2_Handle plugin, const LV2_State_Interface& methods,
                                           const LV2_Feature* const* features);

/// Hands `properties`, one at least (plugins answer an empty state with errors that mean nothing),
/// to the plugin. False, with a sentence in `error`, when it refuses. Nothing else of the plugin
/// may run meanwhile. Not real-time.
bool restore_properties(LV2_Handle plugin, const LV2_State_Interface& methods,
                        const LV2_Feature* const* features,
                        const std::vector<StateProperty>& properties, std::string& error);

}  // namespace vesk::lv2
