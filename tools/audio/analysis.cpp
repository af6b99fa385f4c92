#include "tools/audio/analysis.hpp"

#include <fftw3.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

namespace vesk::tools {
namespace {

constexpr double window_seconds = 0.085;
constexpr double floor_db = -200.0;
constexpr unsigned most_windows_a_column = 4;

struct FileCloser {
  void operator()(SNDFILE* file) const { sf_close(file); }
};
using AudioFile = std::unique_ptr<SNDFILE, FileCloser>;

float finite(float sample) {
  return std::isfinite(sample) ? sample : 0.0f;
}

/// Power spectra of windows of one length.
class Spectrum {
 public:
  explicit Spectrum(int length)
      : length_(length),
        samples_(fftwf_alloc_real(static_cast<std::size_t>(length))),
        bins_(fftwf_alloc_complex(static_cast<std::size_t>(length) / 2 + 1)),
        // Estimated, not measured: a measured plan may differ from run to run.
        plan_(fftwf_plan_dft_r2c_1d(length, samples_, bins_, FFTW_ESTIMATE)),
        window_(static_cast<std::size_t>(length)) {
    for (int i = 0; i < length; ++i) {
      window_[static_cast<std::size_t>(i)] =
          static_cast<float>(0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * i / length));
    }
  }
  ~Spectrum() {
    fftwf_destroy_plan(plan_);
    fftwf_free(bins_);
    fftwf_free(samples_);
  }
  Spectrum(const Spectrum&) = delete;
  Spectrum& operator=(const Spectrum&) = delete;

  int length() const { return length_; }

  /// Raises `power` (length / 2 + 1 entries) to this window's where it is higher. A sine of full
  /// scale has power 1 in its bin.
  void raise(const std::vector<float>& mono, std::vector<float>& power) {
    for (std::size_t i = 0; i < window_.size(); ++i) samples_[i] = mono[i] * window_[i];
    fftwf_execute(plan_);
    // Hann halves the amplitude, and a real sine puts half of it into each of two bins.
    const float scale = 4.0f / static_cast<float>(length_);
    for (std::size_t i = 0; i < power.size(); ++i) {
      const float real = bins_[i][0] * scale;
      const float imaginary = bins_[i][1] * scale;
      power[i] = std::max(power[i], real * real + imaginary * imaginary);
    }
  }

 private:
  int length_;
  float* samples_;
  fftwf_complex* bins_;
  fftwf_plan plan_;
  std::vector<float> window_;
};

/// The level of one row: the highest bin inside it, or between two bins the line that joins them.
float row_level(const std::vector<float>& power, double low_bin, double high_bin) {
  const auto last = static_cast<double>(power.size() - 1);
  low_bin = std::clamp(low_bin, 0.0, last);
  high_bin = std::clamp(high_bin, 0.0, last);
  const auto first = static_cast<std::size_t>(std::ceil(low_bin));
  const auto end = static_cast<std::size_t>(std::floor(high_bin)) + 1;
  double highest = 0.0;
  if (first < end) {
    for (std::size_t i = first; i < end; ++i) highest = std::max<double>(highest, power[i]);
  } else {
    const double middle = 0.5 * (low_bin + high_bin);
    const auto below = static_cast<std::size_t>(middle);
    const std::size_t above = std::min(below + 1, power.size() - 1);
    const double share = middle - static_cast<double>(below);
    highest = power[below] * (1.0 - share) + power[above] * share;
  }
  return static_cast<float>(std::max(floor_db, 10.0 * std::log10(highest + 1e-30)));
}

class Analyser {
 public:
  Analyser(AudioFile file, const SF_INFO& info, unsigned columns, unsigned rows)
      : file_(std::move(file)),
        frames_(info.frames),
        channels_(static_cast<std::size_t>(info.channels)) {
    result_.duration_seconds = static_cast<double>(info.frames) / info.samplerate;
    result_.sample_rate = info.samplerate;
    result_.columns = columns;
    result_.rows = rows;
    result_.lowest_hz = 40.0;
    result_.highest_hz = std::min(20'000.0, 0.5 * info.samplerate);
    result_.left.resize(columns);
    result_.right.resize(columns);
    result_.levels_db.assign(std::size_t{columns} * rows, static_cast<float>(floor_db));
  }

  AudioAnalysis run() {
    if (frames_ > 0) {
      find_extents();
      find_levels();
    }
    return std::move(result_);
  }

 private:
  sf_count_t column_start(unsigned column) const {
    return static_cast<sf_count_t>(static_cast<double>(frames_) * column / result_.columns);
  }

  void find_extents() {
    constexpr sf_count_t chunk = 65'536;
    for (unsigned column = 0; column < result_.columns; ++column) {
      const sf_count_t start = column_start(column);
      sf_count_t left_over = std::max<sf_count_t>(1, column_start(column + 1) - start);
      AudioAnalysis::Extent& left = result_.left[column];
      AudioAnalysis::Extent& right = result_.right[column];
      left = {1e9f, -1e9f};
      right = left;
      sf_count_t position = start;
      while (left_over > 0) {
        const sf_count_t got = read(position, std::min(chunk, left_over));
        if (got <= 0) break;
        for (std::size_t i = 0; i < static_cast<std::size_t>(got); ++i) {
          widen(left, finite(samples_[i * channels_]));
          widen(right, finite(samples_[i * channels_ + (channels_ > 1 ? 1 : 0)]));
        }
        left_over -= got;
        position += got;
      }
      if (left.low > left.high) left = right = {};
      result_.peak = std::max({result_.peak, left.high, -left.low, right.high, -right.low});
    }
  }

  static void widen(AudioAnalysis::Extent& extent, float sample) {
    extent.low = std::min(extent.low, sample);
    extent.high = std::max(extent.high, sample);
  }

  void find_levels() {
    int length = 64;
    while (length * 1.5 < window_seconds * result_.sample_rate) length *= 2;
    Spectrum spectrum(length);
    std::vector<float> mono(static_cast<std::size_t>(length));
    std::vector<float> power(static_cast<std::size_t>(length) / 2 + 1);
    const double ratio = result_.highest_hz / result_.lowest_hz;
    const double bins_per_hz = static_cast<double>(length) / result_.sample_rate;
    std::vector<double> edges(result_.rows + 1);
    for (unsigned row = 0; row <= result_.rows; ++row) {
      edges[row] = bins_per_hz * result_.highest_hz *
                   std::pow(ratio, -static_cast<double>(row) / result_.rows);
    }
    for (unsigned column = 0; column < result_.columns; ++column) {
      const sf_count_t start = column_start(column);
      const sf_count_t span = column_start(column + 1) - start;
      const auto windows =
          static_cast<unsigned>(std::clamp<sf_count_t>(span / length, 1, most_windows_a_column));
      std::ranges::fill(power, 0.0f);
      for (unsigned i = 0; i < windows; ++i) {
        const sf_count_t centre =
            start + span * (2 * sf_count_t{i} + 1) / (2 * sf_count_t{windows});
        read_mono(centre - length / 2, mono);
        spectrum.raise(mono, power);
      }
      float* levels = &result_.levels_db[std::size_t{column} * result_.rows];
      for (unsigned row = 0; row < result_.rows; ++row)
        levels[row] = row_level(power, edges[row + 1], edges[row]);
    }
  }

  /// The mean of both sides; zeros before the start and beyond the end.
  void read_mono(sf_count_t start, std::vector<float>& mono) {
    std::ranges::fill(mono, 0.0f);
    const sf_count_t skip = std::max<sf_count_t>(0, -start);
    const sf_count_t wanted = static_cast<sf_count_t>(mono.size()) - skip;
    if (wanted <= 0) return;
    const sf_count_t got = read(start + skip, wanted);
    const float share = 1.0f / static_cast<float>(channels_);
    for (sf_count_t i = 0; i < got; ++i) {
      float sum = 0.0f;
      for (std::size_t c = 0; c < channels_; ++c)
        sum += finite(samples_[static_cast<std::size_t>(i) * channels_ + c]);
      mono[static_cast<std::size_t>(skip + i)] = sum * share;
    }
  }

  sf_count_t read(sf_count_t position, sf_count_t frames) {
    samples_.resize(static_cast<std::size_t>(frames) * channels_);
    if (position >= frames_ || sf_seek(file_.get(), position, SEEK_SET) < 0) return 0;
    return sf_readf_float(file_.get(), samples_.data(), frames);
  }

  AudioFile file_;
  sf_count_t frames_;
  std::size_t channels_;
  std::vector<float> samples_;
  AudioAnalysis result_;
};

}  // namespace

std::optional<AudioAnalysis> analyse_audio(const std::string& path, unsigned columns, unsigned rows,
                                           std::string& error) {
  SF_INFO info{};
  AudioFile file(sf_open(path.c_str(), SFM_READ, &info));
  if (!file || info.channels < 1 || info.samplerate < 1) {
    error = path + ": " + sf_strerror(file.get());
    return std::nullopt;
  }
  return Analyser(std::move(file), info, columns, rows).run();
}

}  // namespace vesk::tools
