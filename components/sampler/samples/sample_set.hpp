#pragma once

// The samples of an instrument, ready for voices: whole in memory where they fit, else their
// beginnings in memory and the rest read ahead by a worker.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "components/sampler/instrument/instrument.hpp"
#include "platform/realtime.hpp"

namespace vesk::sampler {

/// What a set may hold in memory before it streams.
struct SampleBudget {
  std::size_t bytes;
};
/// 512 MB, or a quarter of the memory that is free now if that is less.
SampleBudget default_budget();

class SampleSet;

/// One voice's way through the sample of a zone: its frames in playing order (loops, reversal and
/// crossfades already in them). Render thread; real-time safe.
class ZoneStream {
 public:
  /// From a zone's first frame; `SampleSet` has made it. A stream may be started again at any time.
  void start(std::size_t zone) noexcept VESK_REALTIME;
  /// The key was released: a loop that is left on release is left.
  void release() noexcept VESK_REALTIME;
  /// Nothing more is wanted until the next start.
  void stop() noexcept VESK_REALTIME;
  /// Writes the next frames; mono samples write the same to both. Fewer than asked: the sample has
  /// ended, or (`has_starved`) the worker was too late.
  unsigned read(float* left, float* right, unsigned frames) noexcept VESK_REALTIME;
  bool has_starved() const noexcept VESK_REALTIME;
  /// The next frame lies inside the loop.
  bool is_in_loop() const noexcept VESK_REALTIME;
};

class SampleSet {
 public:
  /// `paths` has a file for each of `instrument.samples`, empty where none was found. Samples that
  /// cannot be read are as missing. Reads files: takes its time. Never null.
  static std::shared_ptr<SampleSet> load(const Instrument& instrument,
                                         std::span<const std::string> paths, SampleBudget budget);
  /// The zone can be heard: its sample is there.
  bool has(std::size_t zone) const noexcept VESK_REALTIME;
  double sample_rate(std::size_t zone) const noexcept VESK_REALTIME;
  unsigned channels(std::size_t zone) const noexcept VESK_REALTIME;
  /// Samples that were not found or not readable.
  std::vector<std::size_t> missing() const;
  /// A stream for each voice of a player.
  std::vector<ZoneStream> make_streams(unsigned voices);
  /// Offline, `read` waits for the worker, at most a second.
  void set_offline(bool offline) noexcept VESK_REALTIME;
};

}  // namespace vesk::sampler
