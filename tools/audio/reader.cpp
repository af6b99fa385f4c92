#include "tools/audio/reader.hpp"

#include <samplerate.h>
#include <sndfile.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace vesk::tools {
namespace {

constexpr long chunk_frames = 4096;
constexpr int most_channels = 64;

/// Audio that comes through a pipe, by way of a file: libsndfile looks back and forth in most.
SNDFILE* open_stream(const std::string& path, SF_INFO& info) {
  using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
  const File stream(std::fopen(path.c_str(), "rb"), std::fclose);
  const File copy(std::tmpfile(), std::fclose);
  if (!stream || !copy) return nullptr;
  std::vector<char> bytes(65'536);
  while (const std::size_t got = std::fread(bytes.data(), 1, bytes.size(), stream.get()))
    if (std::fwrite(bytes.data(), 1, got, copy.get()) != got) return nullptr;
  if (std::ferror(stream.get()) != 0 || std::fflush(copy.get()) != 0) return nullptr;
  std::rewind(copy.get());
  const int descriptor = dup(fileno(copy.get()));
  return descriptor < 0 ? nullptr : sf_open_fd(descriptor, SFM_READ, &info, SF_TRUE);
}

}  // namespace

struct AudioReader::Source {
  SNDFILE* file = nullptr;
  SRC_STATE* converter = nullptr;

  Source() = default;
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  ~Source() {
    if (converter) src_delete(converter);
    if (file) sf_close(file);
  }
};

std::unique_ptr<AudioReader> AudioReader::open(const std::string& path, int sample_rate,
                                               std::string& error) {
  std::error_code status_error;
  const auto status = std::filesystem::status(path, status_error);
  if (status_error || !std::filesystem::exists(status)) {
    if (!status_error) status_error = std::make_error_code(std::errc::no_such_file_or_directory);
    error = path + ": " + status_error.message();
    return nullptr;
  }
  if (std::filesystem::is_directory(status)) {
    error = path + ": is a folder";
    return nullptr;
  }
  std::unique_ptr<AudioReader> reader(new AudioReader);
  reader->source_ = std::make_unique<Source>();
  SF_INFO info{};
  reader->source_->file = std::filesystem::is_regular_file(status)
                              ? sf_open(path.c_str(), SFM_READ, &info)
                              : open_stream(path, info);
  if (!reader->source_->file) {
    error = path + ": not an audio file that can be read (" + sf_strerror(nullptr) + ")";
    return nullptr;
  }
  if (info.channels < 1 || info.channels > most_channels || info.samplerate < 1) {
    error = path + ": " + std::to_string(info.channels) + " channels at " +
            std::to_string(info.samplerate) + " Hz cannot be read";
    return nullptr;
  }
  // Integer files reach full scale at 1.0, floats come as they are.
  sf_command(reader->source_->file, SFC_SET_NORM_FLOAT, nullptr, SF_TRUE);
  reader->path_ = path;
  // Of MPEG streams the length is a guess, and where nothing tells it the number is this one.
  if ((info.format & SF_FORMAT_TYPEMASK) != SF_FORMAT_MPEG && info.frames != SF_COUNT_MAX)
    reader->missing_frames_ = info.frames;
  reader->file_rate_ = info.samplerate;
  reader->channels_ = info.channels;
  reader->sample_rate_ = sample_rate > 0 ? sample_rate : info.samplerate;
  const double ratio = static_cast<double>(reader->sample_rate_) / info.samplerate;
  reader->length_frames_ =
      static_cast<std::uint64_t>(std::llround(static_cast<double>(info.frames) * ratio));
  if (reader->sample_rate_ != info.samplerate) {
    int code = 0;
    if (src_is_valid_ratio(ratio)) {
      reader->source_->converter = src_callback_new(
          [](void* self, float** data) { return static_cast<AudioReader*>(self)->read_file(data); },
          SRC_SINC_BEST_QUALITY, 2, &code, reader.get());
    }
    if (!reader->source_->converter) {
      error = path + ": cannot be converted from " + std::to_string(info.samplerate) + " to " +
              std::to_string(reader->sample_rate_) + " Hz";
      return nullptr;
    }
  }
  return reader;
}

AudioReader::~AudioReader() = default;

/// The file's next frames as two interleaved channels, for the converter and for `read` alike.
long AudioReader::read_file(float** data) {
  *data = interleaved_.data();
  if (has_ended_) return 0;
  chunk_.resize(static_cast<std::size_t>(chunk_frames) * static_cast<std::size_t>(channels_));
  const sf_count_t got = sf_readf_float(source_->file, chunk_.data(), chunk_frames);
  missing_frames_ -= got;
  if (sf_error(source_->file) != SF_ERR_NO_ERROR)
    failure_ = path_ + ": " + sf_strerror(source_->file);
  else if (got == 0 && missing_frames_ > 0)
    failure_ = path_ + ": damaged, it ends " + std::to_string(missing_frames_) + " frames too soon";
  // libsndfile may find more behind what is damaged, or tell of the damage only then.
  has_ended_ = got == 0 || !failure_.empty();
  interleaved_.resize(static_cast<std::size_t>(2 * got));
  const std::size_t stride = static_cast<std::size_t>(channels_);
  const std::size_t right = channels_ > 1 ? 1 : 0;
  for (std::size_t i = 0; i < static_cast<std::size_t>(got); ++i) {
    interleaved_[2 * i] = chunk_[i * stride];
    interleaved_[2 * i + 1] = chunk_[i * stride + right];
  }
  *data = interleaved_.data();
  return static_cast<long>(got);
}

/// Makes the next frames pending; false at the end.
bool AudioReader::fetch() {
  long got = 0;
  if (source_->converter) {
    const double ratio = static_cast<double>(sample_rate_) / file_rate_;
    converted_.resize(2 * chunk_frames);
    got = src_callback_read(source_->converter, ratio, chunk_frames, converted_.data());
    pending_ = converted_.data();
  } else {
    float* data = nullptr;
    got = read_file(&data);
    pending_ = data;
  }
  pending_frames_ = got > 0 ? static_cast<std::uint32_t>(got) : 0;
  return pending_frames_ > 0;
}

std::uint32_t AudioReader::read(float* left, float* right, std::uint32_t frames) {
  std::uint32_t done = 0;
  while (done < frames && (pending_frames_ > 0 || fetch())) {
    left[done] = pending_[0];
    right[done] = pending_[1];
    pending_ += 2;
    --pending_frames_;
    ++done;
  }
  return done;
}

}  // namespace vesk::tools
