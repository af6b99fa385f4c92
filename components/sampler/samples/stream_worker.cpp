#include "components/sampler/samples/stream_worker.hpp"

#include <algorithm>
#include <system_error>

namespace vesk::sampler {
namespace {

constexpr unsigned block_frames = 8192;
static_assert(2 * block_frames <= Feed::ring_frames);
// New voices are looked for after as many.
constexpr int blocks_in_a_row = 32;
// As many as voices play, or files would be opened for every block of some.
constexpr std::size_t most_open_files = 128;
// How long a ring may have room before it is seen.
constexpr std::uint64_t look_again_ns = 2'000'000;

unsigned block_of(const Feed& feed) {
  return static_cast<unsigned>(std::min<std::int64_t>(feed.run().count, block_frames));
}

}  // namespace

StreamWorker::StreamWorker() : block_(std::size_t{block_frames} * 2) {
  try {
    thread_ = std::thread([this] { run_thread(); });
  } catch (const std::system_error&) {
    // Voices end where the memory ends, as with a worker that is too slow.
  }
}

StreamWorker::~StreamWorker() {
  is_stopping_.store(true, std::memory_order_release);
  wanted_.raise();
  if (thread_.joinable()) thread_.join();
}

std::shared_ptr<Feed> StreamWorker::make_feed() {
  auto feed = std::make_shared<Feed>();
  const std::lock_guard lock(feeds_mutex_);
  feeds_.push_back(feed);
  return feed;
}

std::vector<std::shared_ptr<Feed>> StreamWorker::feeds() {
  std::vector<std::shared_ptr<Feed>> held;
  const std::lock_guard lock(feeds_mutex_);
  std::erase_if(feeds_, [](const auto& feed) { return feed.expired(); });
  for (const std::weak_ptr<Feed>& known : feeds_)
    if (auto feed = known.lock()) held.push_back(std::move(feed));
  return held;
}

void StreamWorker::run_thread() {
  for (;;) {
    const std::uint32_t seen = wanted_.count();
    // After the count was read, or a wake in between would be slept through.
    if (is_stopping_.load(std::memory_order_acquire)) return;
    switch (serve()) {
      case Outcome::more:
        break;
      case Outcome::full:
        wanted_.wait(seen, look_again_ns);
        break;
      case Outcome::idle:
        files_.clear();
        wanted_.wait(seen);
        break;
    }
  }
}

StreamWorker::Outcome StreamWorker::serve() {
  const std::vector<std::shared_ptr<Feed>> served = feeds();
  for (int i = 0; i < blocks_in_a_row; ++i) {
    Feed* most_urgent = nullptr;
    std::uint64_t least = 0;
    bool is_wanted = false;
    for (const std::shared_ptr<Feed>& feed : served) {
      if (!feed->look()) continue;
      is_wanted = true;
      const std::uint64_t left = feed->frames_left();
      if (feed->buffered() + block_of(*feed) <= Feed::ring_frames &&
          (most_urgent == nullptr || left < least)) {
        most_urgent = feed.get();
        least = left;
      }
    }
    if (most_urgent == nullptr) return is_wanted ? Outcome::full : Outcome::idle;
    fill(*most_urgent);
    filled_.raise();
  }
  return Outcome::more;
}

void StreamWorker::fill(Feed& feed) {
  const Run& run = feed.run();
  const unsigned count = block_of(feed);
  const std::int64_t first = run.step > 0 ? run.frame : run.frame - count + 1;
  SampleFile* const file = file_of(*run.data);
  const std::int64_t got = file != nullptr ? file->read(first, count, block_.data()) : 0;
  const std::size_t channels = run.data->format().channels;
  std::fill(block_.begin() + static_cast<std::ptrdiff_t>(got * channels),
            block_.begin() + static_cast<std::ptrdiff_t>(count * channels), 0.0f);
  feed.write(block_.data(), count);
}

SampleFile* StreamWorker::file_of(const SampleData& data) {
  const auto known = std::find_if(files_.begin(), files_.end(),
                                  [&](const OpenFile& open) { return open.data == &data; });
  if (known != files_.end()) {
    known->last_use = ++uses_;
    return known->file.get();
  }
  if (files_.size() >= most_open_files)
    files_.erase(std::min_element(
        files_.begin(), files_.end(),
        [](const OpenFile& a, const OpenFile& b) { return a.last_use < b.last_use; }));
  std::unique_ptr<SampleFile> file = SampleFile::open(data.path());
  if (file && file->format() != data.format()) file.reset();
  files_.push_back({&data, std::move(file), ++uses_});
  return files_.back().file.get();
}

}  // namespace vesk::sampler
