#pragma once

#include <functional>
#include <optional>
#include <string>

namespace vesk::platform {

/// Runs `work` and returns the reason of what it throws; nothing when it throws nothing. For
/// Objective-C++ units, which cannot catch what C++ throws. Being out of memory passes on.
std::optional<std::string> thrown_by(const std::function<void()>& work);

}  // namespace vesk::platform
