#pragma once

// Names as instruments spell them and as disks do.

#include <string>
#include <string_view>

namespace vesk::sampler {

/// UTF-8 of bytes that are UTF-8, or else are taken for Mac OS Roman.
std::string to_utf8(std::string_view bytes);

/// What two spellings of a file name have in common: no case, no accents, composed or not. Latin,
/// Greek and Cyrillic letters, kana and Hangul; the rest stays as it is. Any bytes.
std::string folded(std::string_view name);

}  // namespace vesk::sampler
