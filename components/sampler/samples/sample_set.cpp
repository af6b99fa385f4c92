#include "components/sampler/samples/sample_set.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <system_error>
#include <thread>

#include "components/sampler/samples/feed.hpp"
#include "components/sampler/samples/sample_data.hpp"
#include "components/sampler/samples/sample_file.hpp"
#include "components/sampler/samples/stream_worker.hpp"

namespace vesk::sampler {
namespace {

constexpr std::size_t most_bytes = std::size_t{512} << 20;
constexpr std::int64_t least_beginning = 8192, longest_beginning = 65'536;
// What a worker may need before it has read anything of a sample.
constexpr double beginning_seconds = 0.35;

/// What is known of a file before it is read.
struct Header {
  FileKey key;
  SampleFormat format;
};

/// Calls `work` with 0 to count - 1, on as many threads as the machine has processors.
void in_parallel(std::size_t count, const std::function<void(std::size_t)>& work) {
  std::atomic<std::size_t> next{0};
  const auto take_part = [&] {
    for (std::size_t i = next++; i < count; i = next++) work(i);
  };
  std::vector<std::jthread> others;
  const std::size_t processors = std::max(1u, std::thread::hardware_concurrency());
  try {
    while (others.size() + 1 < std::min(processors, count)) others.emplace_back(take_part);
  } catch (const std::system_error&) {
    // Fewer do.
  }
  take_part();
}

/// How much of a sample is kept in memory of what a worker reads ahead.
struct Beginnings {
  std::int64_t longest;  ///< frames
  std::int64_t longest_loop;
};

std::int64_t beginning_of(const Zone& zone, double sample_rate, const Beginnings& limits) {
  // The highest key is the one that goes through it fastest.
  const int up = zone.tracks_pitch ? zone.keys.high - zone.root_key : 0;
  const double frames = beginning_seconds * sample_rate * std::exp2(up / 12.0);
  return std::clamp(static_cast<std::int64_t>(std::min(frames, 1e9)), least_beginning,
                    limits.longest);
}

/// The first frames of each segment that may come, whenever the key is released. Fades and short
/// loops are there as a whole.
void add_beginnings(const PlayOrder& order, std::int64_t beginning, const Beginnings& limits,
                    std::vector<Stretch>& stretches) {
  const auto add = [&](std::int64_t frame, int step, std::int64_t count) {
    stretches.push_back(step > 0 ? Stretch{frame, frame + count}
                                 : Stretch{frame - count + 1, frame + 1});
  };
  if (order.has_loop && order.loop_frames() < limits.longest_loop)
    stretches.push_back({order.loop_start, order.loop_end});
  // After so many every kind of segment has come once, with and without a release.
  constexpr int segments = 6;
  for (int released_after = 0; released_after < segments; ++released_after) {
    PlayHead head;
    head.start(order);
    for (int i = 0; i < 2 * segments && head.segment().count > 0; ++i) {
      if (i == released_after) head.release();
      const Segment segment = head.segment();
      add(segment.frame, segment.step,
          segment.fade != 0 ? segment.count : std::min(segment.count, beginning));
      if (segment.fade != 0) add(segment.fades_to, segment.step, segment.count);
      head.advance(segment.count);
    }
  }
}

std::size_t frames_of(const std::vector<Stretch>& stretches) {
  std::int64_t frames = 0;
  for (const Stretch& stretch : stretches) frames += stretch.end - stretch.first;
  return static_cast<std::size_t>(frames);
}

/// The files of an instrument, each once, whatever it is called.
class Files {
 public:
  Files(const Instrument& instrument, std::span<const std::string> paths);

  static constexpr std::size_t none = ~std::size_t{0};
  std::size_t of_sample(std::size_t sample) const { return file_of_[sample]; }
  const std::vector<std::shared_ptr<const SampleData>>& load(const Instrument& instrument,
                                                             std::size_t budget);
  bool are_streamed() const { return are_streamed_; }

 private:
  std::size_t choose_stretches(const Instrument& instrument, const Beginnings& limits);

  struct File {
    std::string path;
    Header header;
    std::vector<Stretch> stretches;
  };
  std::vector<File> files_;
  std::vector<std::size_t> file_of_;
  std::vector<std::shared_ptr<const SampleData>> data_;
  bool are_streamed_ = false;
};

Files::Files(const Instrument& instrument, std::span<const std::string> paths)
    : file_of_(instrument.samples.size(), none) {
  std::vector<std::uint8_t> is_used(instrument.samples.size());
  for (const Zone& zone : instrument.zones) is_used[zone.sample] = 1;
  std::vector<std::optional<Header>> headers(instrument.samples.size());
  in_parallel(headers.size(), [&](std::size_t i) {
    if (is_used[i] == 0 || i >= paths.size() || paths[i].empty()) return;
    if (const auto file = SampleFile::open(paths[i])) headers[i] = {file->key(), file->format()};
  });
  std::map<FileKey, std::size_t> known;
  for (std::size_t i = 0; i < headers.size(); ++i) {
    if (!headers[i]) continue;
    const auto [place, is_new] = known.try_emplace(headers[i]->key, files_.size());
    if (is_new) files_.push_back({paths[i], *headers[i], {}});
    file_of_[i] = place->second;
  }
}

/// What is kept of each file; the bytes of all.
std::size_t Files::choose_stretches(const Instrument& instrument, const Beginnings& limits) {
  for (File& file : files_) file.stretches.clear();
  for (const Zone& zone : instrument.zones) {
    if (of_sample(zone.sample) == none) continue;
    File& file = files_[of_sample(zone.sample)];
    const SampleFormat& format = file.header.format;
    if (const auto order = fit(zone, format.frames, format.sample_rate))
      add_beginnings(*order, beginning_of(zone, format.sample_rate, limits), limits,
                     file.stretches);
  }
  std::size_t bytes = 0;
  for (File& file : files_) {
    file.stretches = joined(std::move(file.stretches));
    if (!file.header.format.can_be_streamed) file.stretches.clear();  // all of it
    bytes += frames_of(file.stretches) * file.header.format.frame_bytes();
  }
  return bytes;
}

const std::vector<std::shared_ptr<const SampleData>>& Files::load(const Instrument& instrument,
                                                                  std::size_t budget) {
  std::size_t bytes = 0;
  for (const File& file : files_)
    bytes += static_cast<std::size_t>(file.header.format.frames) * file.header.format.frame_bytes();
  if (bytes > budget) {
    are_streamed_ = true;
    const Beginnings generous{longest_beginning, longest_beginning};
    const Beginnings least{least_beginning, least_beginning};
    if (choose_stretches(instrument, generous) > budget) choose_stretches(instrument, least);
  }
  data_.resize(files_.size());
  in_parallel(files_.size(), [&](std::size_t i) {
    data_[i] = SampleData::get(files_[i].path, files_[i].header.key, files_[i].stretches);
  });
  return data_;
}

}  // namespace

SampleBudget default_budget() {
  std::ifstream memory("/proc/meminfo");
  std::string word;
  std::size_t kilobytes = 0;
  while (memory >> word)
    if (word == "MemAvailable:" && memory >> kilobytes)
      return {std::min(most_bytes, kilobytes * 1024 / 4)};
  return {most_bytes};
}

SampleSet::SampleSet() = default;
SampleSet::~SampleSet() = default;

std::shared_ptr<SampleSet> SampleSet::load(const Instrument& instrument,
                                           std::span<const std::string> paths,
                                           SampleBudget budget) {
  std::shared_ptr<SampleSet> set(new SampleSet);
  Files files(instrument, paths);
  const std::vector<std::shared_ptr<const SampleData>>& data = files.load(instrument, budget.bytes);
  std::vector<std::uint8_t> is_missing(instrument.samples.size());
  set->zones_.resize(instrument.zones.size());
  for (std::size_t i = 0; i < instrument.zones.size(); ++i) {
    const Zone& zone = instrument.zones[i];
    const std::size_t file = files.of_sample(zone.sample);
    if (file == Files::none || !data[file]) {
      is_missing[zone.sample] = 1;
      continue;
    }
    const SampleFormat& format = data[file]->format();
    if (const auto order = fit(zone, format.frames, format.sample_rate))
      set->zones_[i] = {data[file], *order};
  }
  for (std::size_t i = 0; i < is_missing.size(); ++i)
    if (is_missing[i] != 0) set->missing_.push_back(i);
  if (files.are_streamed()) set->worker_ = std::make_unique<StreamWorker>();
  return set;
}

bool SampleSet::has(std::size_t zone) const noexcept VESK_REALTIME {
  return zone < zones_.size() && zones_[zone].data.get() != nullptr;
}

double SampleSet::sample_rate(std::size_t zone) const noexcept VESK_REALTIME {
  return zones_[zone].data->format().sample_rate;
}

unsigned SampleSet::channels(std::size_t zone) const noexcept VESK_REALTIME {
  return zones_[zone].data->format().channels;
}

std::vector<ZoneStream> SampleSet::make_streams(unsigned voices) {
  std::vector<ZoneStream> streams;
  streams.reserve(voices);
  for (unsigned i = 0; i < voices; ++i)
    streams.push_back(ZoneStream(shared_from_this(), worker_ ? worker_->make_feed() : nullptr));
  return streams;
}

void SampleSet::set_offline(bool offline) noexcept VESK_REALTIME {
  is_offline_.store(offline, std::memory_order_relaxed);
}

}  // namespace vesk::sampler
