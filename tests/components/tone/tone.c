/* aumu:Tone:Vesk, a small deterministic synthesizer: 16 voices, four waveforms, sample-accurate
 * MIDI. The same events give the same bytes in every run and at every period length.
 *
 * aufx:Gain:Vesk, a gain effect that says by a parameter whether it offers its input callback
 * buffers of its own or reads the caller's.
 *
 * aumu:Mono:Vesk and aufx:Mono:Vesk are the same with one channel. */

#include <string.h>

#include "../basic_unit.h"

enum { kVoices = 16, kEvents = 256 };

#define RELEASE_FRAMES 64

enum { kLevel, kWaveform };

static const UnitParameter kParameters[] = {
    {kLevel, "Level", kAudioUnitParameterUnit_LinearGain, 0, 1, 0.25f, NULL, 0},
    {kWaveform, "Waveform", kAudioUnitParameterUnit_Indexed, 0, 3, 0, NULL, 0},
};

typedef struct Voice {
  bool sounds;
  UInt8 note;
  float amplitude;
  UInt32 release_left; /* frames until silence, 0 while held */
  double phase, step;  /* in turns */
} Voice;

typedef struct Event {
  UInt32 frame;
  UInt8 status, data1, data2;
} Event;

typedef struct Tone {
  BasicUnit basic;
  Voice voices[kVoices];
  UInt32 next_voice;
  Event events[kEvents]; /* for the next render, in the order of their arrival */
  UInt32 event_count;
} Tone;

/* Equal temperament by multiplication, so that no libm's last digit enters the sound. */
static double frequency_of(UInt8 note) CA_REALTIME_API {
  double frequency = 440;
  for (int i = 69; i < note; ++i) frequency *= 1.0594630943592953;
  for (int i = 69; i > note; --i) frequency /= 1.0594630943592953;
  return frequency;
}

/* `phase` in 0..1. The sine is Bhaskara's approximation, exact at its zeros and peaks. */
static float wave(int form, double phase) CA_REALTIME_API {
  switch (form) {
    case 1:
      return (float)(phase < 0.5 ? 4 * phase - 1 : 3 - 4 * phase);
    case 2:
      return (float)(2 * phase - 1);
    case 3:
      return phase < 0.5 ? 1 : -1;
    default: {
      const double half = phase < 0.5 ? phase : phase - 0.5;
      const double product = half * (0.5 - half) * 4;
      const double sine = 4 * product / (1.25 - product);
      return (float)(phase < 0.5 ? sine : -sine);
    }
  }
}

static void note_on(Tone* tone, UInt8 note, UInt8 velocity) CA_REALTIME_API {
  tone->voices[tone->next_voice] =
      (Voice){.sounds = true,
              .note = note,
              .amplitude = (float)velocity / 127.0f,
              .step = frequency_of(note) / tone->basic.format.mSampleRate};
  tone->next_voice = (tone->next_voice + 1) % kVoices;
}

static void release(Tone* tone, UInt8 note) CA_REALTIME_API {
  for (UInt32 i = 0; i < kVoices; ++i) {
    Voice* voice = &tone->voices[i];
    if (voice->sounds && voice->release_left == 0 && voice->note == note)
      voice->release_left = RELEASE_FRAMES;
  }
}

static void apply(Tone* tone, const Event* event) CA_REALTIME_API {
  const UInt8 kind = event->status & 0xF0;
  if (kind == 0x90 && event->data2)
    note_on(tone, event->data1, event->data2);
  else if (kind == 0x90 || kind == 0x80)
    release(tone, event->data1);
}

static OSStatus midi(BasicUnit* basic, UInt32 status, UInt32 data1, UInt32 data2,
                     UInt32 offset) CA_REALTIME_API {
  Tone* tone = (Tone*)basic;
  if (tone->event_count < kEvents)
    tone->events[tone->event_count++] = (Event){offset, (UInt8)status, data1 & 0x7F, data2 & 0x7F};
  return noErr;
}

static float next_sample(Tone* tone, int form) CA_REALTIME_API {
  float sum = 0;
  for (UInt32 i = 0; i < kVoices; ++i) {
    Voice* voice = &tone->voices[i];
    if (!voice->sounds) continue;
    /* Moved first: the first frame of a note is not the sine's zero. */
    voice->phase += voice->step;
    if (voice->phase >= 1) voice->phase -= 1;
    float gain = voice->amplitude;
    if (voice->release_left) {
      gain *= (float)voice->release_left / RELEASE_FRAMES;
      voice->sounds = --voice->release_left > 0;
    }
    sum += gain * wave(form, voice->phase);
  }
  return sum;
}

static OSStatus render(BasicUnit* basic, UInt32 frames, float* const input[kChannels],
                       float* const output[kChannels]) CA_REALTIME_API {
  (void)input;
  Tone* tone = (Tone*)basic;
  const float level = value_of(basic, kLevel);
  const int form = (int)value_of(basic, kWaveform);
  UInt32 next = 0;
  for (UInt32 i = 0; i < frames; ++i) {
    while (next < tone->event_count && tone->events[next].frame <= i)
      apply(tone, &tone->events[next++]);
    output[0][i] = output[1][i] = level * next_sample(tone, form);
  }
  /* Offsets beyond the period take effect at its end rather than never. */
  while (next < tone->event_count) apply(tone, &tone->events[next++]);
  tone->event_count = 0;
  return noErr;
}

static OSStatus initialize(BasicUnit* basic) {
  Tone* tone = (Tone*)basic;
  memset(tone->voices, 0, sizeof tone->voices);
  tone->event_count = 0;
  return noErr;
}

static const UnitKind kTone = {
    .size = sizeof(Tone),
    .parameters = kParameters,
    .parameter_count = sizeof kParameters / sizeof kParameters[0],
    .initialize = initialize,
    .midi = midi,
    .render = render,
};

enum { kGain, kOffersBuffers };

static const UnitParameter kGainParameters[] = {
    {kGain, "Gain", kAudioUnitParameterUnit_LinearGain, 0, 4, 1, NULL, 0},
    {kOffersBuffers, "Offers input buffers", kAudioUnitParameterUnit_Boolean, 0, 1, 0, NULL, 0},
};

static bool offers_input_buffers(const BasicUnit* unit) CA_REALTIME_API {
  return value_of(unit, kOffersBuffers) >= 0.5f;
}

static OSStatus render_gain(BasicUnit* unit, UInt32 frames, float* const input[kChannels],
                            float* const output[kChannels]) CA_REALTIME_API {
  const float gain = value_of(unit, kGain);
  for (UInt32 channel = 0; channel < kChannels; ++channel)
    for (UInt32 i = 0; i < frames; ++i) output[channel][i] = gain * input[channel][i];
  return noErr;
}

static const UnitKind kGainKind = {
    .size = sizeof(BasicUnit),
    .parameters = kGainParameters,
    .parameter_count = sizeof kGainParameters / sizeof kGainParameters[0],
    .offers_input_buffers = offers_input_buffers,
    .render = render_gain,
};

const UnitKind* const unit_kinds[2] = {&kTone, &kGainKind};
