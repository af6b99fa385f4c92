#pragma once

#include <string>

#include "tools/program/output_file.hpp"

namespace vesk::tools {

/// Takes out of a complete Ogg, WAV or RF64 file what libsndfile has put there from the clock, so
/// that the same audio is the same file.
///
/// The one stream of an Ogg file gets a serial number that follows from its bytes: different ones
/// can still stand behind one another in a third. A PEAK chunk, which has the time of its making,
/// becomes a JUNK chunk. False with a sentence in `error`.
bool make_repeatable(OutputFile& file, std::string& error);

}  // namespace vesk::tools
