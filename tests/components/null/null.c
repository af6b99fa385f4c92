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

static OSStatus midi(BasicUnit* basic, UInt32 status, UInt32 data1, UInt32 data2,
                     UInt32 offset) CA_REALTIME_API {
  (void)basic;
  (void)status;
  (void)data1;
  (void)data2;
  (void)offset;
  return noErr;
}

static OSStatus render(BasicUnit* basic, AudioUnitRenderActionFlags* flags,
                       const AudioTimeStamp* time, UInt32 frames, const AudioBufferList* input,
                       AudioBufferList* output) CA_REALTIME_API {
  (void)time;
  for (UInt32 i = 0; i < output->mNumberBuffers; ++i) {
    float* out = output->mBuffers[i].mData;
    if (input)
      memcpy(out, input->mBuffers[i].mData, frames * sizeof(float));
    else
      memset(out, 0, frames * sizeof(float));
  }
  if (!input) *flags |= kAudioUnitRenderAction_OutputIsSilence;
  work((const Null*)basic);
  return noErr;
}

static const UnitKind kInstrument = {.size = sizeof(Null),
                                     .parameters = kParameters,
                                     .parameter_count = 1,
                                     .open = open_unit,
                                     .midi = midi,
                                     .render = render};

static const UnitKind kEffect = {.size = sizeof(Null),
                                 .parameters = kParameters,
                                 .parameter_count = 1,
                                 .has_input = true,
                                 .open = open_unit,
                                 .render = render};

__attribute__((visibility("default"))) AudioComponentPlugInInterface* NullFactory(
    const AudioComponentDescription* description);

AudioComponentPlugInInterface* NullFactory(const AudioComponentDescription* description) {
  const bool is_effect = description->componentType == kAudioUnitType_Effect;
  return make_unit(is_effect ? &kEffect : &kInstrument, description);
}
