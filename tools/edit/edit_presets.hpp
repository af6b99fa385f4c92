#pragma once

#include <string>

#include "tools/edit/arguments.hpp"

namespace vesk::tools {

/// Opens the editors that `arguments` ask for, waits until the last one is closed or somebody
/// interrupts, and tells on standard output what happens to preset files. False with one sentence
/// in `error` when something failed; what could be saved then has been.
bool edit_presets(const EditArguments& arguments, std::string& error);

}  // namespace vesk::tools
