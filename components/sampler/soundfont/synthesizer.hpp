#pragma once

// One of libfluidsynth's synthesizers with one SoundFont in it.

#include <fluidsynth.h>

#include <memory>
#include <string>

#include "components/sampler/soundfont/soundfont.hpp"

namespace vesk::sampler {

inline constexpr int midi_channels = 16;

class Synthesizer {
 public:
  /// Null with `error` set when the file cannot be read, or has no such preset.
  static std::unique_ptr<Synthesizer> create(const std::string& path, const SoundFontPreset& preset,
                                             double sample_rate, std::string& error);
  fluid_synth_t* get() const noexcept { return synth_.get(); }

 private:
  template <auto destroy>
  struct Deleter {
    template <typename T>
    void operator()(T* object) const {
      destroy(object);
    }
  };

  bool select(const SoundFontPreset& preset, std::string& error);

  // In this order: a synthesizer lives in its settings.
  std::unique_ptr<fluid_settings_t, Deleter<delete_fluid_settings>> settings_;
  std::unique_ptr<fluid_synth_t, Deleter<delete_fluid_synth>> synth_;
  int font_ = -1;
};

}  // namespace vesk::sampler
