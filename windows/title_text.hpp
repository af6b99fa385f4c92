#pragma once

#include <string>
#include <string_view>

namespace vesk::host {

/// `bytes` as valid UTF-8: every byte that belongs to no well-formed character becomes U+FFFD.
/// Text that is valid comes back as it is. Any thread.
std::string readable_utf8(std::string_view bytes);

}  // namespace vesk::host
