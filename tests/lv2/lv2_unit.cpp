#include "tests/lv2/lv2_unit.hpp"

#include <algorithm>
#if __has_feature(realtime_sanitizer)
#include <sanitizer/rtsan_interface.h>
#endif

#include "components/lv2/catalogue/plugin_search.hpp"

namespace vesk::tests {

Lv2Unit::Lv2Unit(const std::string& uri) {
  for (auto& channel : input) channel.resize(period_frames);
  std::string error;
  const auto found = lv2::find_by_uri(uri, error);
  EXPECT_TRUE(found) << uri << ": " << error;
  if (!found) return;
  plugin_ = found->description;
  open({plugin_->type, found->entry.code, 'LV2_', 0, 0});
  if (status() != noErr) return;
  if (plugin_->type == kAudioUnitType_Effect || plugin_->type == kAudioUnitType_MusicEffect) {
    const auto format = property<AudioStreamBasicDescription>(kAudioUnitProperty_StreamFormat,
                                                              kAudioUnitScope_Output);
    EXPECT_EQ(set_property(kAudioUnitProperty_StreamFormat, format, kAudioUnitScope_Input), noErr);
    const AURenderCallbackStruct callback{(AURenderCallback)&give_input, this};
    EXPECT_EQ(set_property(kAudioUnitProperty_SetRenderCallback, callback, kAudioUnitScope_Input),
              noErr);
  }
}

OSStatus Lv2Unit::give_input(void* self, AudioUnitRenderActionFlags* flags, const AudioTimeStamp*,
                             UInt32, UInt32, AudioBufferList* data) {
#if __has_feature(realtime_sanitizer)
  // What a test supplies is no real-time code.
  const __rtsan::ScopedDisabler for_the_test;
#endif
  auto* test = static_cast<Lv2Unit*>(self);
  if (test->supply) return test->supply(flags, data);
  for (UInt32 channel = 0; channel < 2; ++channel) {
    if (data->mBuffers[channel].mData != nullptr) return kAudio_ParamError;
    data->mBuffers[channel].mData = test->input[channel].data();
  }
  return noErr;
}

AudioUnitParameterID Lv2Unit::id_of(const std::string& symbol) const {
  const auto port = std::find_if(plugin_->ports.begin(), plugin_->ports.end(),
                                 [&](const lv2::Port& p) { return p.symbol == symbol; });
  return port != plugin_->ports.end() ? port->index : 0xffffffff;
}

OSStatus Lv2Unit::set(const std::string& symbol, float value) {
  return AudioUnitSetParameter(unit(), id_of(symbol), kAudioUnitScope_Global, 0, value, 0);
}

float Lv2Unit::get(const std::string& symbol) const {
  float value = -1e9f;
  EXPECT_EQ(AudioUnitGetParameter(unit(), id_of(symbol), kAudioUnitScope_Global, 0, &value), noErr)
      << symbol;
  return value;
}

std::vector<float> noise(UInt32 seed, UInt32 frames) {
  std::vector<float> samples(frames);
  UInt32 state = seed * 2654435761u + 1;
  for (float& sample : samples) {
    state = state * 1664525u + 1013904223u;
    sample = static_cast<float>(state >> 8) / 16777216.0f - 0.5f;
  }
  return samples;
}

}  // namespace vesk::tests
