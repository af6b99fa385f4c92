#pragma once

#include <string>

#include "components/sampler/instrument/instrument.hpp"

namespace vesk::tools {

/// As instruments of this kind name them: 60 is C3.
std::string key_name(unsigned key);
/// "1-127": no note has velocity 0.
std::string velocities_text(const sampler::KeyRange& velocities);

/// A picture of which zones sound for which keys, at most 80 characters wide: a keyboard, below it
/// a row for each layer of velocities, the loudest first. A letter a zone, a capital at its root
/// key, a digit where several sound, a dot for none. What sounds under other conditions (on
/// release, in turn, after a key switch) has pictures of its own below.
std::string key_map(const sampler::Instrument& instrument);

}  // namespace vesk::tools
