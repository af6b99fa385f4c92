#pragma once

#include <AudioToolbox/AudioToolbox.h>
#include <gtest/gtest.h>

#include <vector>

namespace vesk::tests {

constexpr double rate = 48'000;
constexpr UInt32 period_frames = 128;

/// A stereo unit in the test's own process, driven through the public calls alone, as a host drives
/// it.
class OpenUnit {
 public:
  /// Opens it and sets the output's format and the maximum frames.
  explicit OpenUnit(const AudioComponentDescription& codes, double sample_rate = rate);
  virtual ~OpenUnit();
  OpenUnit(const OpenUnit&) = delete;
  OpenUnit& operator=(const OpenUnit&) = delete;

  /// Whether it was opened, as the call says; nothing else may be asked of one that was not.
  OSStatus status() const { return status_; }
  AudioUnit unit() const { return unit_; }
  bool initialize() { return AudioUnitInitialize(unit_) == noErr; }

  /// Renders the next period into `output`.
  OSStatus render(UInt32 frames = period_frames);
  std::vector<float> output[2];
  double sample_time = 0;

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

 protected:
  OpenUnit();
  void open(const AudioComponentDescription& codes, double sample_rate = rate);

 private:
  AudioUnit unit_ = nullptr;
  OSStatus status_ = -1;
};

}  // namespace vesk::tests
