#pragma once

// Asking the scanner program.

#include <optional>
#include <string>
#include <vector>

#include "components/lv2/catalogue/file.hpp"

namespace vesk::lv2 {

/// The scanner program: `$VESK_LV2_SCAN`, else vesk-lv2-scan beside this program, in ../bin of its
/// folder, or in ../../bin of this module's.
std::string scanner_path();

/// Runs the scanner with these arguments and returns what it wrote to standard output, when it
/// ended well. Its standard error is this process's, so that a person sees its progress.
/// Nothing, with a sentence in `error`, otherwise. Kills it after `limit_ms`. Any thread that is
/// not real-time; other children of the process are left alone.
std::optional<File> ask_scanner(const std::vector<std::string>& arguments, int limit_ms,
                                std::string& error);

}  // namespace vesk::lv2
