/* aufx:Lost:Vesk, a wire with a parameter that its state does not bring back. */

#include <string.h>

#include "../basic_unit.h"

static const UnitParameter kParameters[] = {
    {0, "Forgotten", kAudioUnitParameterUnit_Generic, 0, 1, 0.5f, NULL, 0},
};

static OSStatus set_property(BasicUnit* basic, AudioUnitPropertyID id, const void* data,
                             UInt32 size) {
  (void)basic, (void)data, (void)size;
  return id == kAudioUnitProperty_ClassInfo ? noErr : kNotHandled;
}

static OSStatus render(BasicUnit* basic, UInt32 frames, float* const input[kChannels],
                       float* const output[kChannels]) CA_REALTIME_API {
  (void)basic;
  for (UInt32 i = 0; i < kChannels; ++i) memcpy(output[i], input[i], frames * sizeof(float));
  return noErr;
}

static const UnitKind kKind = {.size = sizeof(BasicUnit),
                               .parameters = kParameters,
                               .parameter_count = 1,
                               .set_property = set_property,
                               .render = render};

const UnitKind* const unit_kinds[2] = {NULL, &kKind};
