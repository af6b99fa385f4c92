#include "components/sampler/voices/envelope.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vesk::sampler {
namespace {

constexpr double silence = 1e-4;

/// How far below zero a fall to silence aims, as a share of where it begins: nearer a straight line
/// the shorter it is, as what is steep at its beginning clicks.
double overshoot_of(double seconds) noexcept VESK_REALTIME {
  const double shortness = shortest_release / seconds;
  return std::clamp(shortness * shortness, silence, 1.0);
}

}  // namespace

void EnvelopeGenerator::start(const Envelope& envelope, double attack_seconds,
                              double rate) noexcept VESK_REALTIME {
  envelope_ = envelope;
  envelope_.attack = attack_seconds;
  rate_ = rate;
  level_ = 0;
  begin(Stage::delay);
}

void EnvelopeGenerator::release(double seconds) noexcept VESK_REALTIME {
  if (stage_ == Stage::ended) return;
  envelope_.release = std::max(seconds, shortest_release);
  begin(Stage::release);
}

/// Begins a stage, or the first after it that takes any time.
void EnvelopeGenerator::begin(Stage stage) noexcept VESK_REALTIME {
  left_ = 0;
  for (stage_ = stage; left_ == 0; stage_ = static_cast<Stage>(static_cast<int>(stage_) + 1)) {
    switch (stage_) {
      case Stage::delay:
        stay(0, envelope_.delay);
        break;
      case Stage::attack: {
        const double frames = std::max(1.0, std::round(envelope_.attack * rate_));
        follow(envelope_.attack, 1, 1 / frames, 1);
        break;
      }
      case Stage::hold:
        stay(1, envelope_.hold);
        break;
      case Stage::decay:
        fall(envelope_.sustain, envelope_.decay);
        break;
      case Stage::sustain:
        if (envelope_.sustain > 0) {
          stay(envelope_.sustain, 0);
          left_ = std::numeric_limits<std::uint64_t>::max();
        }
        break;
      case Stage::release:
        // Nothing to release after a decay to silence.
        if (level_ > 0) fall(0, envelope_.release);
        break;
      case Stage::ended:
        stay(0, 0);
        return;
    }
    if (left_ > 0) return;
  }
}

void EnvelopeGenerator::follow(double seconds, double factor, double addend,
                               double end) noexcept VESK_REALTIME {
  left_ = static_cast<std::uint64_t>(std::llround(seconds * rate_));
  factor_ = factor;
  addend_ = addend;
  end_ = end;
  if (left_ == 0) level_ = end;
}

void EnvelopeGenerator::stay(double level, double seconds) noexcept VESK_REALTIME {
  level_ = level;
  follow(seconds, 1, 0, level);
}

void EnvelopeGenerator::fall(double to, double seconds) noexcept VESK_REALTIME {
  const double frames = std::max(1.0, std::round(seconds * rate_));
  if (to >= silence) return follow(seconds, std::pow(to / level_, 1 / frames), 0, to);
  const double overshoot = overshoot_of(seconds);
  const double factor = std::pow(overshoot / (1 + overshoot), 1 / frames);
  follow(seconds, factor, -overshoot * level_ * (1 - factor), 0);
}

void EnvelopeGenerator::write(float* levels, unsigned frames) noexcept VESK_REALTIME {
  while (frames > 0) {
    const auto part = static_cast<unsigned>(std::min<std::uint64_t>(frames, left_));
    if (stage_ == Stage::ended) {
      std::fill_n(levels, frames, 0.0f);
      return;
    }
    if (factor_ == 1 && addend_ == 0) {
      std::fill_n(levels, part, static_cast<float>(level_));
    } else {
      double level = level_;
      for (unsigned i = 0; i < part; ++i) {
        levels[i] = static_cast<float>(level);
        level = level * factor_ + addend_;
      }
      level_ = level;
    }
    levels += part;
    frames -= part;
    left_ -= part;
    if (left_ > 0) continue;
    level_ = end_;
    begin(static_cast<Stage>(static_cast<int>(stage_) + 1));
  }
}

void EnvelopeGenerator::skip(unsigned frames) noexcept VESK_REALTIME {
  float levels[64];
  for (; frames > 0; frames -= std::min(frames, 64u)) write(levels, std::min(frames, 64u));
}

}  // namespace vesk::sampler
