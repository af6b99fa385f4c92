#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/naming/installed.hpp"
#include "tools/parameters/description.hpp"

namespace vesk::tools {

/// Where names are looked up; each is asked only when it is needed.
struct NameSources {
  /// What is installed, with outlines.
  std::function<const InstalledPlugins&()> plugins;
  /// The parameters of a plugin. Empty with a sentence in the error.
  std::function<std::optional<std::vector<ParameterDescription>>(const std::string& specification,
                                                                 std::string& error)>
      parameters;
};

/// Turns a chain in the words of people into specification texts.
///
/// An element of `chain` that is a specification text stays as it is. Any other begins with one, or
/// with a plugin's name or URI; the longest beginning that is one counts. Behind it may follow
/// parameters ("#Cutoff=800,res=0.3"), by number, symbol or name, and a preset file ("@path").
///
/// Each of `settings` is "NAME=VALUE" for the first plugin or "N:NAME=VALUE" for the N-th, counted
/// from 1, put behind the parameters that the element has. The last '=' counts.
///
/// Empty with a sentence in `error`: nothing or several things are called so, or a value is no
/// number.
std::optional<std::string> specification_of(const std::string& chain,
                                            const std::vector<std::string>& settings,
                                            const NameSources& sources, std::string& error);

}  // namespace vesk::tools
