#pragma once

#include <string>

#include "tools/program/output_file.hpp"

namespace vesk::tools {

/// Whether two complete audio files that are not published yet hold the same bytes. False with a
/// sentence in `error` that names the first frame whose samples differ, counted from 0, or says why
/// they could not be compared.
bool is_same_audio(const OutputFile& first, const OutputFile& second, std::string& error);

}  // namespace vesk::tools
