#pragma once

// Text between std::string and CFString.

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <string_view>

#include "platform/cf_text.hpp"

namespace vesk {

using platform::text_of;

/// +1, never null: bytes that are no UTF-8 are read as Latin-1, so that a name is at least seen.
CFStringRef copy_cf_string(std::string_view text);

/// At most `bytes` bytes of `text`, cut before a character that would not fit whole.
std::string cut_utf8(std::string_view text, std::size_t bytes);

}  // namespace vesk
