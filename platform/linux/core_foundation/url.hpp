#pragma once

/// The parts of URLs, as text.

#include <optional>
#include <string>
#include <string_view>

#include <CoreFoundation/CFURL.h>

namespace vesk::platform::cf {

struct UrlParts {
  std::string_view scheme;     ///< Without the colon; empty when there is none.
  std::string_view authority;  ///< Without the two slashes.
  bool has_authority = false;
  std::string_view path;
  std::string_view query;     ///< With its question mark.
  std::string_view fragment;  ///< With its number sign.
};

/// Takes any text apart; never fails.
UrlParts split_url(std::string_view text);
/// Whether `text` holds only what a URL may, every percent sign with two hexadecimal digits.
bool is_valid_url(std::string_view text);
/// `relative` seen from `base`, dot segments removed.
std::string resolve_url(std::string_view base, std::string_view relative);
/// Bytes of a path as a URL spells them, slashes kept.
std::string escape_path(std::string_view path);
/// Percent escapes undone, but for those of the ASCII characters in `leave`.
std::string unescape(std::string_view text, std::string_view leave = {});

/// A file URL (+1) of a path of UTF-8; null for an empty path and for other bytes.
CFURLRef make_file_url(std::string_view path, bool is_directory);
/// The path of a file URL without a trailing slash, or nothing.
std::optional<std::string> file_path(CFURLRef url);

}  // namespace vesk::platform::cf
