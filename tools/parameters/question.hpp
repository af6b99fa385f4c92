#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tools/parameters/description.hpp"

namespace vesk::tools {

/// Has the parameters of one component read by `vesk-parameters`, a process of its own, in which
/// the plugin may crash, hang or end: no plugin code runs here. `specification` is an element of a
/// chain; some ranges depend on the sample rate, and 0 leaves that to the plugin. Empty with a
/// sentence in `error` that begins with `label`: not installed, cannot be opened (with the reason
/// that its loader gave), what its process died of, or that it took longer than `limit`.
std::optional<std::vector<ParameterDescription>> ask_parameters(
    const std::string& specification, const std::string& label, int sample_rate_hz,
    std::string& error, std::chrono::seconds limit = std::chrono::seconds(61));

}  // namespace vesk::tools
