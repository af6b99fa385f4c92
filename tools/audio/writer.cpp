#include "tools/audio/writer.hpp"

#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <utility>

#include "tools/audio/repeatable.hpp"

namespace vesk::tools {
namespace {

// A WAV file counts its bytes in 32 bits; the margin holds the header. What may become longer is
// begun as RF64, which becomes a WAV when it has stayed below. Not everything: the header of such a
// WAV is of a kind that fewer programs read.
constexpr std::uint64_t longest_wav_frames = (0xFFFF'FFFFull - 4096) / (2 * sizeof(float));

constexpr std::size_t chunk_samples = 16'384;

// Of 1: some 320 kbit/s, which few tell from the original.
constexpr double vorbis_quality = 0.9;
// Some 260 kbit/s, for the same reason.
constexpr double opus_quality = 0.5;

bool ends_with(const std::string& text, const char* ending) {
  const std::size_t length = std::strlen(ending);
  return text.size() > length &&
         std::equal(text.end() - static_cast<std::ptrdiff_t>(length), text.end(), ending,
                    [](unsigned char a, unsigned char b) { return std::tolower(a) == b; });
}

struct Format {
  AudioFormat format;
  int code;  ///< libsndfile's
  const char* name;
  const char* ending;
  const char* description;
  double quality;  ///< of what loses something; 0 of others
  bool (*takes_rate)(int hz);
  const char* rates;  ///< which it takes, in words
};

constexpr Format formats[] = {
    {AudioFormat::wav_float, SF_FORMAT_WAV | SF_FORMAT_FLOAT, "wav", ".wav", "32-bit float WAV", 0,
     [](int) { return true; }, ""},
    {AudioFormat::flac, SF_FORMAT_FLAC | SF_FORMAT_PCM_24, "flac", ".flac", "24-bit FLAC", 0,
     [](int) { return true; }, ""},
    {AudioFormat::vorbis, SF_FORMAT_OGG | SF_FORMAT_VORBIS, "ogg", ".ogg", "Ogg Vorbis",
     vorbis_quality, [](int hz) { return hz <= 200'000; }, "goes up to 200000 Hz"},
    {AudioFormat::opus, SF_FORMAT_OGG | SF_FORMAT_OPUS, "opus", ".opus", "Opus", opus_quality,
     [](int hz) {
       return hz == 8'000 || hz == 12'000 || hz == 16'000 || hz == 24'000 || hz == 48'000;
     },
     "has 8000, 12000, 16000, 24000 or 48000 Hz"},
};

const Format& row_of(AudioFormat format) {
  return *std::ranges::find(formats, format, &Format::format);
}

}  // namespace

bool format_of_name(const std::string& path, AudioFormat& format) {
  for (const Format& row : formats) {
    if (!ends_with(path, row.ending)) continue;
    format = row.format;
    return true;
  }
  return false;
}

bool format_called(const std::string& word, AudioFormat& format) {
  for (const Format& row : formats) {
    if (word != row.name) continue;
    format = row.format;
    return true;
  }
  return false;
}

const char* ending_of(AudioFormat format) {
  return row_of(format).ending;
}

const char* description_of(AudioFormat format) {
  return row_of(format).description;
}

bool takes_rate(AudioFormat format, int sample_rate) {
  return row_of(format).takes_rate(sample_rate);
}

/// libsndfile's way to the file. It forgets why a write failed, so the writes are ours and the
/// first failure is kept.
struct AudioWriter::Sink {
  OutputFile& file;
  SNDFILE* handle = nullptr;
  std::string failure;

  explicit Sink(OutputFile& output) : file(output) {}
  ~Sink() {
    if (handle) sf_close(handle);
  }

  static sf_count_t length(void* self) {
    struct stat status{};
    return fstat(static_cast<Sink*>(self)->file.descriptor(), &status) == 0 ? status.st_size : -1;
  }
  static sf_count_t seek(sf_count_t offset, int whence, void* self) {
    return lseek(static_cast<Sink*>(self)->file.descriptor(), offset, whence);
  }
  static sf_count_t read(void* bytes, sf_count_t count, void* self) {
    return ::read(static_cast<Sink*>(self)->file.descriptor(), bytes,
                  static_cast<std::size_t>(count));
  }
  static sf_count_t write(const void* bytes, sf_count_t count, void* self) {
    auto* sink = static_cast<Sink*>(self);
    std::string error;
    if (sink->file.write(bytes, static_cast<std::size_t>(count), error)) return count;
    if (sink->failure.empty()) sink->failure = std::move(error);
    return 0;
  }
  static sf_count_t tell(void* self) {
    return lseek(static_cast<Sink*>(self)->file.descriptor(), 0, SEEK_CUR);
  }
};

std::unique_ptr<AudioWriter> AudioWriter::open(OutputFile& file, AudioFormat format,
                                               int sample_rate, std::uint64_t most_frames,
                                               std::string& error) {
  const Format& row = row_of(format);
  if (!row.takes_rate(sample_rate)) {
    error = file.path() + ": " + row.description + " " + row.rates;
    return nullptr;
  }
  const bool may_be_long = format == AudioFormat::wav_float && most_frames > longest_wav_frames;
  auto sink = std::make_unique<Sink>(file);
  SF_VIRTUAL_IO calls{Sink::length, Sink::seek, Sink::read, Sink::write, Sink::tell};
  SF_INFO info{};
  info.samplerate = sample_rate;
  info.channels = 2;
  info.format = may_be_long ? SF_FORMAT_RF64 | SF_FORMAT_FLOAT : row.code;
  sink->handle = sf_open_virtual(&calls, SFM_WRITE, &info, sink.get());
  if (!sink->handle) {
    error = !sink->failure.empty() ? sink->failure
                                   : file.path() + ": " + sf_strerror(nullptr) + " (" +
                                         std::to_string(sample_rate) + " Hz)";
    return nullptr;
  }
  sf_command(sink->handle, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
  sf_command(sink->handle, SFC_SET_CLIPPING, nullptr, SF_TRUE);
  if (may_be_long) sf_command(sink->handle, SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
  if (double quality = row.quality; quality > 0)
    sf_command(sink->handle, SFC_SET_VBR_ENCODING_QUALITY, &quality, sizeof quality);
  std::unique_ptr<AudioWriter> writer(new AudioWriter(std::move(sink), format));
  if (format == AudioFormat::wav_float && !may_be_long) writer->longest_ = longest_wav_frames;
  return writer;
}

AudioWriter::AudioWriter(std::unique_ptr<Sink> sink, AudioFormat format)
    : sink_(std::move(sink)), format_(format) {}

AudioWriter::~AudioWriter() = default;

bool AudioWriter::write(const float* left, const float* right, std::uint32_t frames,
                        std::string& error) {
  if (frames_written_ + frames > longest_) {
    error =
        sink_->file.path() + ": more came than its source announced, and a WAV file ends at 4 GB";
    return false;
  }
  const bool clips = format_ != AudioFormat::wav_float;
  for (std::uint32_t i = 0; i < frames; ++i) {
    interleaved_.push_back(clips ? clip(left[i]) : left[i]);
    interleaved_.push_back(clips ? clip(right[i]) : right[i]);
  }
  frames_written_ += frames;
  return interleaved_.size() < chunk_samples || flush(error);
}

float AudioWriter::clip(float sample) {
  if (std::fabs(sample) <= 1.0f) return sample;
  const bool is_number = !std::isnan(sample);
  clipped_samples_ += is_number ? 1 : 0;
  return is_number ? std::copysign(1.0f, sample) : 0.0f;
}

/// Hands over what has gathered: a call for every short period would cost more than the audio.
bool AudioWriter::flush(std::string& error) {
  const auto frames = static_cast<sf_count_t>(interleaved_.size() / 2);
  const bool is_written = sf_writef_float(sink_->handle, interleaved_.data(), frames) == frames &&
                          sink_->failure.empty();
  interleaved_.clear();
  if (is_written) return true;
  error = !sink_->failure.empty() ? sink_->failure
                                  : sink_->file.path() + ": " + sf_strerror(sink_->handle);
  return false;
}

bool AudioWriter::finish(std::string& error) {
  if (!flush(error)) return false;
  const int status = sf_close(std::exchange(sink_->handle, nullptr));
  if (!sink_->failure.empty()) {
    error = sink_->failure;
    return false;
  }
  if (status != 0) {
    error = sink_->file.path() + ": " + sf_error_number(status);
    return false;
  }
  return make_repeatable(sink_->file, error);
}

}  // namespace vesk::tools
