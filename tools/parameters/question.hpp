#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tools/parameters/description.hpp"
#include "tools/parameters/settings.hpp"

namespace vesk::tools {

/// A second more than a host gives one plugin to load.
inline constexpr std::chrono::seconds longest_answer{61};

/// Has the parameters of one component read by `vesk-parameters`, a process of its own, in which
/// the plugin may crash, hang or end: no plugin code runs here. `specification` is an element of a
/// chain; some ranges depend on the sample rate, and 0 leaves that to the plugin. Empty with a
/// sentence in `error` that begins with `label`: not installed, cannot be opened (with the reason
/// that its loader gave), what its process died of, or that it took longer than `limit`.
std::optional<std::vector<ParameterDescription>> ask_parameters(
    const std::string& specification, const std::string& label, int sample_rate_hz,
    std::string& error, std::chrono::seconds limit = longest_answer);

/// The same for all that the component tells. With a `save_path` the plugin is started as a host
/// starts it (its parameters, then its preset file, where that exists), is given `settings`, and
/// its state goes to that file, whole or not at all.
std::optional<PluginDescription> ask_plugin(const std::string& specification,
                                            const std::string& label, int sample_rate_hz,
                                            const PluginSettings& settings,
                                            const std::string& save_path, std::string& error,
                                            std::chrono::seconds limit = longest_answer);

}  // namespace vesk::tools
