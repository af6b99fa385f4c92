#pragma once

/// Errors with one English sentence.

#include <string_view>

#include <CoreFoundation/CFError.h>

namespace vesk::platform::cf {

/// An error (+1) in the Cocoa domain whose description is `message`, UTF-8.
CFErrorRef make_error(CFIndex code, std::string_view message);

}  // namespace vesk::platform::cf
