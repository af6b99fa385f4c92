#include "components/sampler/unit/component_interface.hpp"

#include <memory>
#include <new>

#include "components/sampler/unit/sampler_unit.hpp"
#include "components/unit_support/component_methods.hpp"

namespace vesk::sampler {
namespace {

/// What a method's first argument points to.
struct PlugIn {
  AudioComponentPlugInInterface interface;
  std::unique_ptr<SamplerUnit> unit = nullptr;

  OSStatus open(AudioComponentInstance) {
    unit = std::make_unique<SamplerUnit>(sampler_codes());
    return noErr;
  }
};

}  // namespace

AudioComponentDescription sampler_codes() {
  return {kAudioUnitType_MusicDevice, kAudioUnitSubType_Sampler, kAudioUnitManufacturer_Apple, 0,
          0};
}

AudioComponentPlugInInterface* make_unit(OSStatus* status) {
  auto* plug_in = new (std::nothrow) PlugIn{ComponentMethods<PlugIn>::interface()};
  *status = plug_in != nullptr ? OSStatus{noErr} : OSStatus{kAudio_MemFullError};
  return plug_in != nullptr ? &plug_in->interface : nullptr;
}

}  // namespace vesk::sampler
