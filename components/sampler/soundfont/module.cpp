#include "components/sampler/soundfont/soundfont.hpp"

extern "C" __attribute__((visibility("default"))) vesk::sampler::InstrumentSound*
vesk_load_soundfont(const char* path, const vesk::sampler::SoundFontPreset* preset,
                    std::string& error) {
  return vesk::sampler::load_soundfont(path, *preset, error).release();
}
