#pragma once

// The samples of an instrument, ready for voices: whole in memory where they fit, else their
// beginnings in memory and the rest read ahead by a worker.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "components/sampler/instrument/instrument.hpp"
#include "components/sampler/samples/play_order.hpp"
#include "platform/realtime.hpp"

namespace vesk::sampler {

/// What a set may hold in memory before it streams. One that streams holds beginnings of at least
/// 8,192 frames whatever the budget, and half a megabyte beside for each voice that has played.
struct SampleBudget {
  std::size_t bytes;
};
/// 512 MB, or a quarter of the memory that is free now if that is less.
SampleBudget default_budget();

class Feed;
class SampleData;
class SampleSet;
class StreamWorker;

/// A zone that can be heard.
struct PlayableZone {
  std::shared_ptr<const SampleData> data;  ///< null: it cannot
  PlayOrder order;
};

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
  bool has_starved() const noexcept VESK_REALTIME { return has_starved_; }
  /// The next frame lies inside the loop.
  bool is_in_loop() const noexcept VESK_REALTIME { return head_.is_in_loop(); }

 private:
  friend class SampleSet;
  ZoneStream(std::shared_ptr<SampleSet> set, std::shared_ptr<Feed> feed);
  void enter_segment() noexcept VESK_REALTIME;
  unsigned take(float* left, float* right, unsigned frames) noexcept VESK_REALTIME;

  std::shared_ptr<SampleSet> set_;
  std::shared_ptr<Feed> feed_;          ///< null when all of the set is in memory
  const PlayableZone* zone_ = nullptr;  ///< null: nothing is played
  PlayHead head_;
  std::int64_t in_memory_ = 0;  ///< frames of the segment before those that the worker reads
  bool is_fed_ = false;         ///< the worker has frames of this segment to read
  bool has_starved_ = false;
};

/// Render thread: what is real-time safe. The rest from any other thread, one call at a time.
class SampleSet : public std::enable_shared_from_this<SampleSet> {
 public:
  ~SampleSet();

  /// `paths` has a file for each of `instrument.samples`, empty where none was found. Samples that
  /// cannot be read are as missing. Reads files: takes its time. Never null.
  static std::shared_ptr<SampleSet> load(const Instrument& instrument,
                                         std::span<const std::string> paths, SampleBudget budget);
  /// The zone can be heard: its sample is there.
  bool has(std::size_t zone) const noexcept VESK_REALTIME;
  /// Hz; of a zone that can be heard, as the channels.
  double sample_rate(std::size_t zone) const noexcept VESK_REALTIME;
  unsigned channels(std::size_t zone) const noexcept VESK_REALTIME;
  /// Samples of zones that were not found or not readable, in order.
  std::vector<std::size_t> missing() const { return missing_; }
  /// A stream for each voice of a player; several players may play one set. Streams keep the set.
  std::vector<ZoneStream> make_streams(unsigned voices);
  /// Offline, `read` waits for the worker, at most a second.
  void set_offline(bool offline) noexcept VESK_REALTIME;

 private:
  friend class ZoneStream;
  SampleSet();

  std::vector<PlayableZone> zones_;
  std::vector<std::size_t> missing_;
  std::atomic<bool> is_offline_{false};
  std::unique_ptr<StreamWorker> worker_;  ///< null when all is in memory; ends before the samples
};

}  // namespace vesk::sampler
