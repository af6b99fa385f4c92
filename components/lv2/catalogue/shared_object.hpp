#pragma once

// The shared object of a plugin.

#include <string>

namespace vesk::lv2 {

/// Opens a plugin's library in this process, for good: what it runs when it is opened has run. Null
/// with the loader's words in `error`. Not real-time.
void* open_shared_object(const std::string& path, std::string& error);

}  // namespace vesk::lv2
