#pragma once

/// Errors with one English sentence.

#include <CoreFoundation/CFError.h>

#include <string_view>

namespace vesk::platform::cf {

/// An error (+1) in the Cocoa domain whose description is `message`, UTF-8.
CFErrorRef make_error(CFIndex code, std::string_view message);

}  // namespace vesk::platform::cf
