#pragma once

// How a control port is described to a host: name, unit, flags, and the words for its values.
// Whatever is returned as a reference is +1. Any thread that is not real-time.

#include <AudioToolbox/AudioUnitProperties.h>

#include <optional>
#include <string>

#include "components/lv2/catalogue/description.hpp"

namespace vesk::lv2 {

/// What a host is told of `port`, a meter where that is an output; `range` is the port's at the
/// present sample rate.
AudioUnitParameterInfo parameter_info(const Port& port, const Range& range);

/// Names for each whole value of `range` from its minimum on; null when the port has none or its
/// named values are not whole numbers.
CFArrayRef copy_value_strings(const Port& port, const Range& range);

/// The text of a value: a scale point's label, else the number with its unit.
CFStringRef copy_value_text(const Port& port, float value);

/// The value that a text means: a label, else a number. Nothing when it is neither.
std::optional<float> value_of_text(const Port& port, const std::string& text);

}  // namespace vesk::lv2
