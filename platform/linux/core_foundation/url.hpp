#pragma once

/// URLs of files.

#include <CoreFoundation/CFURL.h>

#include <optional>
#include <string>
#include <string_view>

namespace vesk::platform::cf {

/// A file URL (+1) of a path of UTF-8; null for an empty path and for other bytes.
CFURLRef make_file_url(std::string_view path, bool is_directory);
/// The path of a file URL, a foreign one too, without a trailing slash; or nothing.
std::optional<std::string> file_path(CFURLRef url);

}  // namespace vesk::platform::cf
