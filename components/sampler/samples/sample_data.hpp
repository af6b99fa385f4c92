#pragma once

// What is held in memory of a sample file, shared by all that play it.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "components/sampler/samples/sample_file.hpp"
#include "platform/realtime.hpp"

namespace vesk::sampler {

/// Frames of a file, the end exclusive.
struct Stretch {
  std::int64_t first = 0, end = 0;
  auto operator<=>(const Stretch&) const = default;
};
/// Puts stretches in order and joins those that touch.
std::vector<Stretch> joined(std::vector<Stretch> stretches);

/// Never changed once loaded; what the render thread calls is real-time safe.
class SampleData {
 public:
  /// Those stretches of a file, or all of it when there is none; from memory where somebody in this
  /// process has just them. Null when the file cannot be read or is another one than `key` names.
  /// What cannot be read of a stretch is silence; a file that is read as a whole has the frames
  /// that could be read. Any thread.
  static std::shared_ptr<const SampleData> get(const std::string& path, const FileKey& key,
                                               std::vector<Stretch> stretches);

  const std::string& path() const { return path_; }
  const SampleFormat& format() const VESK_REALTIME { return format_; }
  /// How many frames are in memory from one on, in one direction (1 or -1).
  std::int64_t in_memory(std::int64_t frame, int step) const noexcept VESK_REALTIME;
  /// `count` frames that are in memory, in one direction; one channel is written to both.
  void read(std::int64_t frame, int step, unsigned count, float* left,
            float* right) const noexcept VESK_REALTIME;

 private:
  struct Part {
    Stretch frames;
    std::size_t offset;  ///< in bytes
  };
  SampleData() = default;
  static std::shared_ptr<const SampleData> load(const std::string& path, const FileKey& key,
                                                const std::vector<Stretch>& stretches);
  const Part* part_of(std::int64_t frame) const noexcept VESK_REALTIME;

  std::string path_;
  SampleFormat format_;
  std::vector<Part> parts_;  ///< in order
  std::unique_ptr<std::byte[]> bytes_;
};

}  // namespace vesk::sampler
