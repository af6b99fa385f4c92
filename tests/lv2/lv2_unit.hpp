#pragma once

#include <AudioToolbox/AudioToolbox.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "components/lv2/catalogue/description.hpp"

namespace vesk::tests {

constexpr double rate = 48'000;
constexpr UInt32 period_frames = 128;

/// A unit around one plugin, driven through the public calls alone, as a host drives it.
class Lv2Unit {
 public:
  /// Opens it and sets format, input and maximum frames.
  explicit Lv2Unit(const std::string& uri);
  ~Lv2Unit();
  Lv2Unit(const Lv2Unit&) = delete;
  Lv2Unit& operator=(const Lv2Unit&) = delete;

  /// Whether it was opened, as the call says; nothing else may be asked of one that was not.
  OSStatus status() const { return status_; }
  AudioUnit unit() const { return unit_; }
  const lv2::Description& plugin() const { return *plugin_; }
  bool initialize() { return AudioUnitInitialize(unit_) == noErr; }

  /// Renders the next period into `output`; an effect reads `input`.
  OSStatus render(UInt32 frames = period_frames);
  std::vector<float> input[2];
  std::vector<float> output[2];
  double sample_time = 0;
  /// What an effect gets instead of `input`.
  std::function<OSStatus(AudioUnitRenderActionFlags*, AudioBufferList*)> supply;

  AudioUnitParameterID id_of(const std::string& symbol) const;
  OSStatus set(const std::string& symbol, float value);
  float get(const std::string& symbol) const;
  template <typename T>
  T property(AudioUnitPropertyID id, AudioUnitScope scope = kAudioUnitScope_Global,
             AudioUnitElement element = 0) const {
    T value{};
    UInt32 size = sizeof value;
    EXPECT_EQ(AudioUnitGetProperty(unit_, id, scope, element, &value, &size), noErr) << id;
    return value;
  }
  template <typename T>
  OSStatus set_property(AudioUnitPropertyID id, const T& value,
                        AudioUnitScope scope = kAudioUnitScope_Global) {
    return AudioUnitSetProperty(unit_, id, scope, 0, &value, sizeof value);
  }
  /// Its state as a file holds it.
  std::vector<UInt8> saved() const;
  void midi(UInt32 status, UInt32 data1, UInt32 data2, UInt32 offset) {
    EXPECT_EQ(MusicDeviceMIDIEvent(unit_, status, data1, data2, offset), noErr);
  }

 private:
  static OSStatus give_input(void* self, AudioUnitRenderActionFlags* flags, const AudioTimeStamp*,
                             UInt32 bus, UInt32 frames, AudioBufferList* data);

  std::shared_ptr<const lv2::Description> plugin_;
  AudioUnit unit_ = nullptr;
  OSStatus status_ = -1;
};

/// Repeatable noise in -0.5..0.5.
std::vector<float> noise(UInt32 seed, UInt32 frames = period_frames);

}  // namespace vesk::tests
