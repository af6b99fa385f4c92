#pragma once

/// What a bundle says about itself.

#include <CoreFoundation/CoreFoundation.h>

#include <string>

namespace vesk::platform {

/// The property list Resources/Info-gnustep.plist in the folder `bundle`, a dictionary (+1); null
/// with `problem` set when there is none. It is XML of at most 1 MiB: Foundation reads no other.
CFDictionaryRef copy_bundle_info(const std::string& bundle, std::string& problem);

}  // namespace vesk::platform
