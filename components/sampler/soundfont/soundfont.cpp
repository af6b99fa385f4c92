#include "components/sampler/soundfont/soundfont.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "components/sampler/soundfont/synthesizer.hpp"

namespace vesk::sampler {
namespace {

constexpr double lowest_rate = 8'000, highest_rate = 96'000;
constexpr unsigned block_frames = 64;
constexpr double ramp_seconds = 0.01;

constexpr unsigned note_off = 0x80, note_on = 0x90, key_pressure = 0xa0, controller = 0xb0,
                   channel_pressure = 0xd0, bend = 0xe0;
constexpr int bank_select_high = 0, volume = 7, bank_select_low = 32, all_controllers_off = 121;
constexpr int loudest = 127;

// A sample at full scale, at the highest velocity and centred, comes out at full scale on both
// sides. As measured, the library's pan law takes 3.01 dB off it and its filter adds 1.09.
constexpr float unity_gain = 1.2471f;

class SoundFontPlayer final : public Player {
 public:
  SoundFontPlayer(std::unique_ptr<Synthesizer> synthesizer, double sample_rate)
      : synthesizer_(std::move(synthesizer)),
        synth_(synthesizer_->get()),
        step_limit_(static_cast<float>(1 / (ramp_seconds * sample_rate))) {
    fluid_synth_set_gain(synth_, unity_gain);
    rest();
  }

  // The library's calls are plain C, and known not to block with the settings that they run under.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wfunction-effects"

  void midi(std::uint8_t status, std::uint8_t data1,
            std::uint8_t data2) noexcept VESK_REALTIME override {
    const int channel = status & 0x0f;
    switch (status & 0xf0) {
      case note_off:
        fluid_synth_noteoff(synth_, channel, data1);
        break;
      case note_on:
        fluid_synth_noteon(synth_, channel, data1, data2);
        break;
      case key_pressure:
        fluid_synth_key_pressure(synth_, channel, data1, data2);
        break;
      case controller:
        if (data1 != bank_select_high && data1 != bank_select_low)
          fluid_synth_cc(synth_, channel, data1, data2);
        break;
      case channel_pressure:
        fluid_synth_channel_pressure(synth_, channel, data1);
        break;
      case bend:
        fluid_synth_pitch_bend(synth_, channel, data1 | data2 << 7);
        break;
      default:
        break;
    }
  }

  void render(float* left, float* right, unsigned frames) noexcept VESK_REALTIME override {
    fluid_synth_write_float(synth_, static_cast<int>(frames), left, 0, 1, right, 0, 1);
    // What is left of a block that was under way at a reset.
    const unsigned old = std::min(old_frames_, frames);
    std::fill_n(left, old, 0.0f);
    std::fill_n(right, old, 0.0f);
    old_frames_ -= old;
    in_block_ = (in_block_ + frames) % block_frames;
    scale(left, left_, frames);
    scale(right, right_, frames);
  }

  void set(const Controls& controls) noexcept VESK_REALTIME override {
    const auto gain = static_cast<float>(std::pow(10, controls.gain_db / 20));
    const auto pan = static_cast<float>(std::clamp(controls.pan, -1.0, 1.0));
    left_.target = gain * std::min(1.0f, 1 - pan);
    right_.target = gain * std::min(1.0f, 1 + pan);
    if (std::exchange(is_new_, false)) {
      left_.now = left_.target;
      right_.now = right_.target;
    }
    if (controls.tune_cents == tune_cents_) return;
    tune_cents_ = controls.tune_cents;
    const double semitones = std::trunc(tune_cents_ / 100);
    for (int channel = 0; channel < midi_channels; ++channel) {
      fluid_synth_set_gen(synth_, channel, GEN_COARSETUNE, static_cast<float>(semitones));
      fluid_synth_set_gen(synth_, channel, GEN_FINETUNE,
                          static_cast<float>(tune_cents_ - semitones * 100));
    }
  }

  void set_offline(bool) noexcept VESK_REALTIME override {}

  void reset() noexcept VESK_REALTIME override {
    fluid_synth_all_sounds_off(synth_, -1);
    rest();
    old_frames_ = (block_frames - in_block_) % block_frames;
  }

 private:
  struct Gain {
    float now = 1, target = 1;
  };

  void rest() noexcept VESK_REALTIME {
    for (int channel = 0; channel < midi_channels; ++channel) {
      fluid_synth_cc(synth_, channel, all_controllers_off, 0);
      fluid_synth_cc(synth_, channel, volume, loudest);
    }
  }

#pragma clang diagnostic pop

  void scale(float* samples, Gain& gain, unsigned frames) const noexcept VESK_REALTIME {
    for (unsigned i = 0; i < frames; ++i) {
      gain.now += std::clamp(gain.target - gain.now, -step_limit_, step_limit_);
      samples[i] *= gain.now;
    }
  }

  const std::unique_ptr<Synthesizer> synthesizer_;
  fluid_synth_t* const synth_;
  const float step_limit_;  ///< of a gain, a frame
  Gain left_, right_;
  double tune_cents_ = 0;
  bool is_new_ = true;
  unsigned in_block_ = 0;    ///< frames of the library's present block that were heard
  unsigned old_frames_ = 0;  ///< that are still to be silenced
};

class SoundFont final : public InstrumentSound {
 public:
  SoundFont(std::string path, const SoundFontPreset& preset, std::unique_ptr<Synthesizer> loaded)
      : path_(std::move(path)), preset_(preset), loaded_(std::move(loaded)) {}

  Controls controls() const override { return {}; }
  bool has_voice_controls() const override { return false; }

  std::unique_ptr<Player> make_player(double sample_rate, unsigned, std::string& error) override {
    if (!(sample_rate >= lowest_rate && sample_rate <= highest_rate)) {
      error = "SoundFonts are played at 8 to 96 kHz, not at " +
              std::to_string(std::lround(sample_rate)) + " Hz";
      return nullptr;
    }
    auto synthesizer = Synthesizer::create(path_, preset_, sample_rate, error);
    if (synthesizer == nullptr) return nullptr;
    return std::make_unique<SoundFontPlayer>(std::move(synthesizer), sample_rate);
  }

 private:
  const std::string path_;
  const SoundFontPreset preset_;
  /// Never plays. The library keeps one copy of a file's samples while anybody has it open, so with
  /// this the next player reads none.
  const std::unique_ptr<Synthesizer> loaded_;
};

}  // namespace

std::unique_ptr<InstrumentSound> load_soundfont(const std::string& path,
                                                const SoundFontPreset& preset, std::string& error) {
  auto loaded = Synthesizer::create(path, preset, 48'000, error);
  if (loaded == nullptr) return nullptr;
  return std::make_unique<SoundFont>(path, preset, std::move(loaded));
}

}  // namespace vesk::sampler
