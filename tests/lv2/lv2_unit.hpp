#pragma once

#include <AudioToolbox/AudioToolbox.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "components/lv2/catalogue/description.hpp"
#include "tests/support/open_unit.hpp"

namespace vesk::tests {

/// A unit around one plugin.
class Lv2Unit final : public OpenUnit {
 public:
  /// Opens it and sets format, input and maximum frames.
  explicit Lv2Unit(const std::string& uri);

  const lv2::Description& plugin() const { return *plugin_; }

  /// What an effect reads.
  std::vector<float> input[2];
  /// What an effect gets instead of `input`.
  std::function<OSStatus(AudioUnitRenderActionFlags*, AudioBufferList*)> supply;

  AudioUnitParameterID id_of(const std::string& symbol) const;
  OSStatus set(const std::string& symbol, float value);
  float get(const std::string& symbol) const;

 private:
  static OSStatus give_input(void* self, AudioUnitRenderActionFlags* flags, const AudioTimeStamp*,
                             UInt32 bus, UInt32 frames, AudioBufferList* data);

  std::shared_ptr<const lv2::Description> plugin_;
};

/// Repeatable noise in -0.5..0.5.
std::vector<float> noise(UInt32 seed, UInt32 frames = period_frames);

}  // namespace vesk::tests
