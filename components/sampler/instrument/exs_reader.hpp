#pragma once

// EXS24 instruments: every generation of the format, both byte orders.

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "components/sampler/instrument/instrument.hpp"

namespace vesk::sampler {

/// The instrument in the bytes of a file. Damaged files give what is whole before the damage, if
/// there is a zone with a sample in it. Empty with a sentence about "it" in `error`. Takes time and
/// memory in proportion to the file, whatever its bytes say.
std::optional<Instrument> read_exs(std::span<const std::byte> file, std::string& error);

/// The same from a file of at most 64 MiB. A sentence in `error` names it.
std::optional<Instrument> read_exs_file(const std::string& path, std::string& error);

}  // namespace vesk::sampler
