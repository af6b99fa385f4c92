/* aufx:Gain:Vesk, a gain effect that says by a parameter whether it offers its input callback
 * buffers of its own or reads the caller's. */

#include <string.h>

#include "../basic_unit.h"

enum { kGain, kOffersBuffers };

static const UnitParameter kParameters[] = {
    {kGain, "Gain", kAudioUnitParameterUnit_LinearGain, 0, 4, 1, NULL, 0},
    {kOffersBuffers, "Offers input buffers", kAudioUnitParameterUnit_Boolean, 0, 1, 0, NULL,
     kAudioUnitParameterFlag_NonRealTime},
};

static const float kQuietValues[] = {0.5f, 0};
static const UnitPreset kPresets[] = {{"Half", kQuietValues}};

static void parameter_set(BasicUnit* unit, UInt32 index, float value) CA_REALTIME_API {
  if (index == kOffersBuffers) unit->allocates_input = value >= 0.5f;
}

static OSStatus render(BasicUnit* unit, AudioUnitRenderActionFlags* flags,
                       const AudioTimeStamp* time, UInt32 frames, const AudioBufferList* input,
                       AudioBufferList* output) CA_REALTIME_API {
  (void)flags;
  (void)time;
  const float gain = value_of(unit, kGain);
  for (UInt32 channel = 0; channel < output->mNumberBuffers; ++channel) {
    const float* in = input->mBuffers[channel].mData;
    float* out = output->mBuffers[channel].mData;
    for (UInt32 i = 0; i < frames; ++i) out[i] = gain * in[i];
  }
  return noErr;
}

static const UnitKind kGainKind = {
    .size = sizeof(BasicUnit),
    .parameters = kParameters,
    .parameter_count = sizeof kParameters / sizeof kParameters[0],
    .presets = kPresets,
    .preset_count = sizeof kPresets / sizeof kPresets[0],
    .has_input = true,
    .parameter_set = parameter_set,
    .render = render,
};

__attribute__((visibility("default"))) AudioComponentPlugInInterface* GainFactory(
    const AudioComponentDescription* description);

AudioComponentPlugInInterface* GainFactory(const AudioComponentDescription* description) {
  return make_unit(&kGainKind, description);
}
