/* aumu:Null:Vesk and aufx:Null:Vesk: next to nothing, for measurements. The instrument is silent,
 * the effect hands its input through; the parameter keeps them busy for a while each render. */

#include <string.h>

#include "../basic_unit.h"

enum { kWorkUs };

static const UnitParameter kParameters[] = {
    {kWorkUs, "Busy microseconds each render", kAudioUnitParameterUnit_Generic, 0, 1e6f, 0, NULL,
     0},
};

static OSStatus render(BasicUnit* basic, UInt32 frames, float* const input[kChannels],
                       float* const output[kChannels]) CA_REALTIME_API {
  for (UInt32 i = 0; i < kChannels; ++i)
    if (input)
      memcpy(output[i], input[i], frames * sizeof(float));
    else
      memset(output[i], 0, frames * sizeof(float));
  spin_for(1e-6 * value_of(basic, kWorkUs));
  return noErr;
}

static const UnitKind kKind = {
    .size = sizeof(BasicUnit), .parameters = kParameters, .parameter_count = 1, .render = render};

const UnitKind* const unit_kinds[2] = {&kKind, &kKind};
