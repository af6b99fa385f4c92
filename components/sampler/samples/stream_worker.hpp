#pragma once

// The thread that reads samples ahead of the voices of a set.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "components/sampler/samples/feed.hpp"
#include "components/sampler/samples/sample_file.hpp"
#include "components/unit_support/signal.hpp"

namespace vesk::sampler {

/// Sleeps while no voice wants anything, and has no file open then. A file that cannot be read any
/// more is silence.
class StreamWorker {
 public:
  StreamWorker();
  /// What is being read is waited for.
  ~StreamWorker();
  StreamWorker(const StreamWorker&) = delete;
  StreamWorker& operator=(const StreamWorker&) = delete;

  /// Served for as long as somebody else holds it. Not real-time.
  std::shared_ptr<Feed> make_feed();
  /// After a feed's `want`.
  void wake() noexcept VESK_REALTIME { wanted_.raise(); }
  /// Raised whenever a feed has got more.
  Signal& filled() noexcept VESK_REALTIME { return filled_; }

 private:
  struct OpenFile {
    const SampleData* data;
    std::unique_ptr<SampleFile> file;  ///< null: it is not what it was when it was loaded
    std::uint64_t last_use;
  };

  enum class Outcome { more, full, idle };

  void run_thread();
  std::vector<std::shared_ptr<Feed>> feeds();
  /// Reads some blocks, first for those who have least. `full`: every ring is; `idle`: nobody wants
  /// anything.
  Outcome serve();
  void fill(Feed& feed);
  SampleFile* file_of(const SampleData& data);

  std::mutex feeds_mutex_;
  std::vector<std::weak_ptr<Feed>> feeds_;
  Signal wanted_, filled_;
  std::atomic<bool> is_stopping_{false};
  // the thread's
  std::vector<OpenFile> files_;
  std::vector<float> block_;
  std::uint64_t uses_ = 0;
  std::thread thread_;
};

}  // namespace vesk::sampler
