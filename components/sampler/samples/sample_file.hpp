#pragma once

// A sample file on disk, of any kind that libsndfile reads. Not real-time.

#include <sndfile.h>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace vesk::sampler {

/// What a sample takes in memory, in bytes.
enum class Width : std::uint8_t { bits16 = 2, bits24 = 3, float32 = 4 };

/// Which file it is, whatever its name, and that nobody has written to it since.
struct FileKey {
  std::uint64_t device = 0, inode = 0;
  std::int64_t size = 0, modified_ns = 0;
  auto operator<=>(const FileKey&) const = default;
};

struct SampleFormat {
  Width width = Width::bits16;
  unsigned channels = 1;        ///< 1 or 2; of more, the first two are read
  std::int64_t frames = 0;      ///< as its header says, at least 1
  int sample_rate = 0;          ///< Hz, at least 1
  bool can_be_streamed = true;  ///< any frame of it can be gone to, exactly
  bool operator==(const SampleFormat&) const = default;

  std::size_t frame_bytes() const { return channels * static_cast<std::size_t>(width); }
};

/// An open file. One thread at a time.
class SampleFile {
 public:
  /// Null when it is no regular file or not audio.
  static std::unique_ptr<SampleFile> open(const std::string& path);

  const FileKey& key() const { return key_; }
  const SampleFormat& format() const { return format_; }
  /// Frames from `frame` on, interleaved; fewer than asked where the file ends or is damaged.
  /// Numbers that no sound has are 0.
  std::int64_t read(std::int64_t frame, std::int64_t count, float* samples);
  /// The same as they are kept in memory: 16 bits, 24 bits without gaps, or floats.
  std::int64_t read_packed(std::int64_t frame, std::int64_t count, std::byte* samples);

 private:
  struct Close {
    void operator()(SNDFILE* file) const { sf_close(file); }
  };
  SampleFile() = default;
  template <typename Sample, typename Keep>
  std::int64_t read_blocks(std::int64_t frame, std::int64_t count, Keep keep);

  std::unique_ptr<SNDFILE, Close> file_;
  FileKey key_;
  SampleFormat format_;
  unsigned file_channels_ = 1;
  std::int64_t position_ = 0;  ///< the frame that is read next; -1 unknown
};

}  // namespace vesk::sampler
