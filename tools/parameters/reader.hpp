#pragma once

#include <AudioToolbox/AudioComponent.h>

#include <optional>
#include <string>
#include <vector>

#include "tools/parameters/description.hpp"

namespace vesk::tools {

/// Makes an instance of the component with the three codes of `wanted` in this process and reads
/// its parameters (global scope). Empty with a sentence in `error`, which begins with `label`: no
/// such component, or it cannot be opened. Some ranges depend on the sample rate; 0 leaves that to
/// the unit. Main thread.
std::optional<std::vector<ParameterDescription>> read_parameters(
    const AudioComponentDescription& wanted, const std::string& label, double sample_rate_hz,
    std::string& error);

}  // namespace vesk::tools
