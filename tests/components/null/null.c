/* aumu:Null:Vesk and aufx:Null:Vesk: next to nothing, for measurements. The instrument is silent,
 * the effect hands its input through; the parameter keeps them busy for a while each render. */

#include <mach/mach_time.h>
#include <string.h>

#include "../basic_unit.h"

enum { kWorkUs };

static const UnitParameter kParameters[] = {
    {kWorkUs, "Busy microseconds each render", kAudioUnitParameterUnit_Generic, 0, 1e6f, 0, NULL,
     0},
};

typedef struct Null {
  BasicUnit basic;
  double ticks_per_us;
} Null;

static void work(const Null* unit) CA_REALTIME_API {
  const float microseconds = value_of(&unit->basic, kWorkUs);
  if (microseconds <= 0) return;
  const UInt64 end = mach_absolute_time() + (UInt64)(microseconds * unit->ticks_per_us);
  while (mach_absolute_time() < end) {
  }
}

static OSStatus open_unit(BasicUnit* basic) {
  mach_timebase_info_data_t base;
  mach_timebase_info(&base);
  ((Null*)basic)->ticks_per_us = 1e3 * base.denom / base.numer;
  return noErr;
}

static OSStatus render(BasicUnit* basic, UInt32 frames, float* const input[kChannels],
                       float* const output[kChannels]) CA_REALTIME_API {
  for (UInt32 i = 0; i < kChannels; ++i)
    if (input)
      memcpy(output[i], input[i], frames * sizeof(float));
    else
      memset(output[i], 0, frames * sizeof(float));
  work((const Null*)basic);
  return noErr;
}

#define COMMON                                                                              \
  .size = sizeof(Null), .parameters = kParameters, .parameter_count = 1, .open = open_unit, \
  .render = render

static const UnitKind kInstrument = {COMMON};
static const UnitKind kEffect = {COMMON, .has_input = true};

const UnitKind* unit_kind(const AudioComponentDescription* description) {
  return description->componentType == kAudioUnitType_Effect ? &kEffect : &kInstrument;
}
