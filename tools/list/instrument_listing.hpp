#pragma once

#include <optional>
#include <string>
#include <vector>

#include "components/sampler/instrument/instrument.hpp"

namespace vesk::tools {

/// A sampler instrument, and where its samples were found.
struct InstrumentContents {
  std::string path;
  sampler::Instrument instrument;
  std::vector<std::string> sample_paths;  ///< for each sample; empty: missing
};

/// Reads an instrument file and looks for its samples. Empty with a sentence in `error`.
std::optional<InstrumentContents> read_instrument(const std::string& path, std::string& error);

/// Counts, the key map, the groups, and a table of the zones with their samples.
std::string instrument_text(const InstrumentContents& contents);

/// A JSON object: path, name, voices, missing (a count), zones, groups, samples. Zones name groups
/// and samples by their places.
std::string instrument_json(const InstrumentContents& contents);

}  // namespace vesk::tools
