#pragma once

/// Errors with one English sentence.

#include <string_view>

#include <CoreFoundation/CFError.h>

namespace vesk::platform::cf {

/// An error (+1) whose description is `message`, UTF-8.
CFErrorRef make_error(CFErrorDomain domain, CFIndex code, std::string_view message);

}  // namespace vesk::platform::cf
