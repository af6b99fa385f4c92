#pragma once

// The part of a saved state that all units have: the five usual keys and the parameters.

#include <AudioToolbox/AudioToolbox.h>

#include <string_view>
#include <vector>

#include "components/unit_support/cf_object.hpp"

namespace vesk {

struct ParameterValue {
  AudioUnitParameterID id;
  AudioUnitParameterValue value;
};

/// The codes, the preset's name, and `values` of the global scope under kAUPresetDataKey.
CfDictionary begin_preset(const AudioComponentDescription& codes, std::string_view name,
                          const std::vector<ParameterValue>& values);

/// The values of the global scope in `saved`, as they stand there; nothing when there are none.
std::vector<ParameterValue> preset_values(CFDictionaryRef saved);

/// Whether `saved` names the form that `begin_preset` writes.
bool has_preset_version(CFDictionaryRef saved);

/// Whether `saved` has `code` under `key`.
bool has_preset_code(CFDictionaryRef saved, std::string_view key, OSType code);

}  // namespace vesk
