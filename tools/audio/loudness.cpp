#include "tools/audio/loudness.hpp"

#include <ebur128.h>

#include <algorithm>
#include <cmath>

namespace vesk::tools {

struct LoudnessMeter::State {
  ebur128_state* handle;
  ~State() {
    if (handle) ebur128_destroy(&handle);
  }
};

LoudnessMeter::LoudnessMeter(int sample_rate)
    : state_(new State{ebur128_init(2, static_cast<unsigned long>(sample_rate), EBUR128_MODE_I)}) {}

LoudnessMeter::~LoudnessMeter() = default;

void LoudnessMeter::add(const float* left, const float* right, std::uint32_t frames) {
  interleaved_.resize(std::size_t{2} * frames);
  for (std::size_t i = 0; i < frames; ++i) {
    interleaved_[2 * i] = left[i];
    interleaved_[2 * i + 1] = right[i];
  }
  for (float& sample : interleaved_) {
    if (!std::isfinite(sample)) {
      ++bad_samples_;
      sample = 0.0f;
    }
    peak_ = std::max(peak_, std::fabs(sample));
  }
  if (state_->handle) ebur128_add_frames_float(state_->handle, interleaved_.data(), frames);
}

std::optional<double> LoudnessMeter::integrated_lufs() const {
  double lufs = 0.0;
  if (!state_->handle || ebur128_loudness_global(state_->handle, &lufs) != EBUR128_SUCCESS ||
      !std::isfinite(lufs)) {
    return std::nullopt;
  }
  return lufs;
}

double to_dbfs(double amplitude) {
  return 20.0 * std::log10(amplitude);
}

}  // namespace vesk::tools
