#pragma once

#include <cstdint>
#include <string>

#include "spec/chain_text.hpp"
#include "tools/render/song_sink.hpp"
#include "tools/render/song_source.hpp"
#include "vesk/host_process.hpp"

namespace vesk::tools {

enum class RenderOutcome {
  done,
  failed,
  slipped,  ///< something was hardly meant, and that counts as an error
  differs,  ///< the second rendering from the first
  interrupted
};

/// Drives an offline host of `chain` through the song of `source`, at most `period` frames at a
/// time, into `sink`, until the sound is over; `periods` becomes the number that were answered.
/// `failed` comes with one sentence in `error`.
RenderOutcome run_periods(client::HostProcess& host, const ChainElements& chain, SongSource& source,
                          SongSink& sink, std::uint32_t period, bool is_quiet,
                          std::uint64_t& periods, std::string& error);

}  // namespace vesk::tools
