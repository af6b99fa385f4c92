#pragma once

// The numbered parameters of an EXS24 instrument: what holds for all of its zones.

#include <cstdint>
#include <unordered_map>

#include "components/sampler/instrument/exs_blocks.hpp"
#include "components/sampler/instrument/instrument.hpp"

namespace vesk::sampler {

/// What parameters the blocks of a file set, the last of several.
class ExsParameters {
 public:
  void add(const ExsFields& block);
  bool has(unsigned id) const { return values_.contains(id); }
  int get(unsigned id, int otherwise) const;

 private:
  std::unordered_map<unsigned, std::int16_t> values_;
};

Settings exs_settings(const ExsParameters& parameters);

/// The amplitude envelope, each of its sliders moved by as much as a group says.
struct ExsEnvelopeOffsets {
  int attack = 0, decay = 0, sustain = 0, release = 0;
};
Envelope exs_envelope(const ExsParameters& parameters, const ExsEnvelopeOffsets& offsets = {});

}  // namespace vesk::sampler
