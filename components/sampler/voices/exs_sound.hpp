#pragma once

#include <memory>
#include <string>

#include "components/sampler/player.hpp"

namespace vesk::sampler {

/// Reads an EXS24 instrument and its samples, wherever they lie. Null, with a sentence in `error`
/// that names the file, when it cannot be read or none of its samples can; `remark` of the sound
/// says how many are missing. Takes its time; not for the render thread.
std::unique_ptr<InstrumentSound> load_exs_sound(const std::string& path, std::string& error);

}  // namespace vesk::sampler
