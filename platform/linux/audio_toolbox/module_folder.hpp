#pragma once

#include <string>

namespace vesk::platform {

/// The folder of the modules that belong to this program: `$VESK_MODULE_PATH`, or lib/vesk beside
/// the folder of the executable. Without a final slash; need not exist.
std::string module_folder();

}  // namespace vesk::platform
