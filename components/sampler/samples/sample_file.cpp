#include "components/sampler/samples/sample_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

namespace vesk::sampler {
namespace {

static_assert(std::endian::native == std::endian::little, "packed samples are kept low byte first");

constexpr std::int64_t block_frames = 4096;
// Half a year at 48 kHz: what claims more is damaged.
constexpr std::int64_t most_frames = std::int64_t{1} << 40;
constexpr int most_channels = 64;

Width width_of(int format) {
  switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_DPCM_8:
    case SF_FORMAT_DPCM_16:
    case SF_FORMAT_ULAW:
    case SF_FORMAT_ALAW:
    case SF_FORMAT_ALAC_16:
      return Width::bits16;
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_ALAC_20:
    case SF_FORMAT_ALAC_24:
      return Width::bits24;
    default:
      return Width::float32;
  }
}

sf_count_t read_frames(SNDFILE* file, short* samples, sf_count_t frames) {
  return sf_readf_short(file, samples, frames);
}
sf_count_t read_frames(SNDFILE* file, int* samples, sf_count_t frames) {
  return sf_readf_int(file, samples, frames);
}
sf_count_t read_frames(SNDFILE* file, float* samples, sf_count_t frames) {
  return sf_readf_float(file, samples, frames);
}

/// Infinite and absurd ones would stay in filters for ever.
float plausible(float sample) {
  return std::abs(sample) < 1e6f ? sample : 0;
}

}  // namespace

std::unique_ptr<SampleFile> SampleFile::open(const std::string& path) {
  // Without waiting for anybody: a pipe may lie there.
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return {};
  struct stat status{};
  SF_INFO info{};
  std::unique_ptr<SampleFile> opened(new SampleFile);
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    close(descriptor);
    return {};
  }
  opened->file_.reset(sf_open_fd(descriptor, SFM_READ, &info, SF_TRUE));
  if (!opened->file_) return {};  // and closed
  if (info.frames < 1 || info.frames > most_frames || info.samplerate < 1 || info.channels < 1 ||
      info.channels > most_channels)
    return {};
  opened->key_ = {status.st_dev, status.st_ino, status.st_size,
                  std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec};
  opened->file_channels_ = static_cast<unsigned>(info.channels);
  // libsndfile misses the frame that it is sent to in Vorbis: 157 times of 200, measured.
  const bool is_exact = (info.format & SF_FORMAT_SUBMASK) != SF_FORMAT_VORBIS;
  opened->format_ = {width_of(info.format), std::min(opened->file_channels_, 2u), info.frames,
                     info.samplerate, info.seekable != 0 && is_exact};
  return opened;
}

template <typename Sample, typename Keep>
std::int64_t SampleFile::read_blocks(std::int64_t frame, std::int64_t count, Keep keep) {
  if (frame != position_) {
    position_ = -1;
    if (sf_seek(file_.get(), frame, SEEK_SET) != frame) return 0;
    position_ = frame;
  }
  std::vector<Sample> block(static_cast<std::size_t>(std::min(count, block_frames)) *
                            file_channels_);
  const unsigned channels = format_.channels;
  std::int64_t done = 0;
  while (done < count) {
    const std::int64_t wanted = std::min(count - done, block_frames);
    const std::int64_t got = read_frames(file_.get(), block.data(), wanted);
    if (got > 0) {
      if (file_channels_ > channels)
        for (std::int64_t i = 0; i < got; ++i)
          for (unsigned c = 0; c < channels; ++c)
            block[static_cast<std::size_t>(i * channels + c)] =
                block[static_cast<std::size_t>(i * file_channels_ + c)];
      keep(block.data(), static_cast<std::size_t>(got) * channels);
      done += got;
    }
    if (got < wanted) {
      position_ = -1;
      return done;
    }
  }
  position_ += done;
  return done;
}

std::int64_t SampleFile::read(std::int64_t frame, std::int64_t count, float* samples) {
  return read_blocks<float>(frame, count, [&](const float* block, std::size_t values) {
    samples = std::transform(block, block + values, samples, plausible);
  });
}

std::int64_t SampleFile::read_packed(std::int64_t frame, std::int64_t count, std::byte* samples) {
  const auto copy = [&](const auto* block, std::size_t values) {
    std::memcpy(samples, block, values * sizeof *block);
    samples += values * sizeof *block;
  };
  switch (format_.width) {
    case Width::bits16:
      return read_blocks<short>(frame, count, copy);
    case Width::bits24:
      return read_blocks<int>(frame, count, [&](const int* block, std::size_t values) {
        for (std::size_t i = 0; i < values; ++i, samples += 3) {
          const int sample = block[i] >> 8;
          std::memcpy(samples, &sample, 3);
        }
      });
    case Width::float32:
      break;
  }
  return read_blocks<float>(frame, count, [&](float* block, std::size_t values) {
    std::transform(block, block + values, block, plausible);
    copy(block, values);
  });
}

}  // namespace vesk::sampler
