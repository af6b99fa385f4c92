#pragma once

#include <string>
#include <vector>

#include "tests/support/cf_text.hpp"
#include "tests/support/open_unit.hpp"

namespace vesk::tests {

/// The sampler unit in the test's own process.
class OpenSampler final : public OpenUnit {
 public:
  explicit OpenSampler(double sample_rate = rate)
      : OpenUnit({kAudioUnitType_MusicDevice, kAudioUnitSubType_Sampler,
                  kAudioUnitManufacturer_Apple, 0, 0},
                 sample_rate) {}

  OSStatus load(const std::string& path, UInt8 type = kInstrumentType_EXS24,
                UInt8 bank_msb = kAUSampler_DefaultMelodicBankMSB, UInt8 preset = 0) {
    const auto url = own(CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()),
        static_cast<CFIndex>(path.size()), false));
    return set_property(kAUSamplerProperty_LoadInstrument,
                        AUSamplerInstrumentData{url.get(), type, bank_msb, 0, preset});
  }
  OSStatus set(AudioUnitParameterID id, float value) {
    return AudioUnitSetParameter(unit(), id, kAudioUnitScope_Global, 0, value, 0);
  }
  float get(AudioUnitParameterID id) const {
    float value = -1e9f;
    EXPECT_EQ(AudioUnitGetParameter(unit(), id, kAudioUnitScope_Global, 0, &value), noErr) << id;
    return value;
  }

  struct Sound {
    std::vector<float> left, right;
  };
  /// The next `periods`.
  Sound play(int periods) {
    Sound sound;
    for (int i = 0; i < periods; ++i) {
      EXPECT_EQ(render(), noErr);
      sound.left.insert(sound.left.end(), output[0].begin(), output[0].end());
      sound.right.insert(sound.right.end(), output[1].begin(), output[1].end());
    }
    return sound;
  }
};

}  // namespace vesk::tests
