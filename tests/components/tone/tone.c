/* aumu:Tone:Vesk, a small deterministic synthesizer: 16 voices, four waveforms, sample-accurate
 * MIDI. The same events give the same bytes in every run and at every period length. */

#include <stdlib.h>
#include <string.h>

#include "../basic_unit.h"

enum { kVoices = 16, kEvents = 256, kMaxLatencyFrames = 1 << 15 };

#define RELEASE_FRAMES 64

enum { kLevel, kWaveform, kLatencyMs };

static const char* const kWaveforms[] = {"Sine", "Triangle", "Saw", "Square"};

static const UnitParameter kParameters[] = {
    {kLevel, "Level", kAudioUnitParameterUnit_LinearGain, 0, 1, 0.25f, NULL,
     kAudioUnitParameterFlag_CanRamp},
    {kWaveform, "Waveform", kAudioUnitParameterUnit_Indexed, 0, 3, 0, kWaveforms,
     kAudioUnitParameterFlag_ValuesHaveStrings},
    {kLatencyMs, "Latency", kAudioUnitParameterUnit_Milliseconds, 0, 100, 0, NULL, 0},
};

static const float kSoftValues[] = {0.1f, 0, 0};
static const float kBrightValues[] = {0.25f, 2, 0};
static const UnitPreset kPresets[] = {{"Soft", kSoftValues}, {"Bright", kBrightValues}};

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
  float* delay; /* a ring of kMaxLatencyFrames, the sound of the reported latency */
  UInt32 delay_position;
} Tone;

static UInt32 latency_frames(const BasicUnit* basic) CA_REALTIME_API {
  const double frames = value_of(basic, kLatencyMs) * 1e-3 * basic->output_format.mSampleRate;
  return frames < kMaxLatencyFrames - 1 ? (UInt32)frames : kMaxLatencyFrames - 1;
}

static Float64 latency_seconds(const BasicUnit* basic) {
  return latency_frames(basic) / basic->output_format.mSampleRate;
}

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
  Voice* voice = &tone->voices[tone->next_voice];
  tone->next_voice = (tone->next_voice + 1) % kVoices;
  voice->sounds = true;
  voice->note = note;
  voice->amplitude = (float)velocity / 127.0f;
  voice->release_left = 0;
  voice->step = frequency_of(note) / tone->basic.output_format.mSampleRate;
  voice->phase = 0;
}

static void release(Tone* tone, int note) CA_REALTIME_API {
  for (UInt32 i = 0; i < kVoices; ++i) {
    Voice* voice = &tone->voices[i];
    if (voice->sounds && voice->release_left == 0 && (note < 0 || voice->note == note))
      voice->release_left = RELEASE_FRAMES;
  }
}

static void apply(Tone* tone, const Event* event) CA_REALTIME_API {
  switch (event->status & 0xF0) {
    case 0x90:
      if (event->data2) {
        note_on(tone, event->data1, event->data2);
        break;
      }
      release(tone, event->data1);
      break;
    case 0x80:
      release(tone, event->data1);
      break;
    case 0xB0:
      if (event->data1 == 120) memset(tone->voices, 0, sizeof tone->voices);
      if (event->data1 == 123) release(tone, -1);
      break;
    default:
      break;
  }
}

static OSStatus midi(BasicUnit* basic, UInt32 status, UInt32 data1, UInt32 data2,
                     UInt32 offset) CA_REALTIME_API {
  Tone* tone = (Tone*)basic;
  if (tone->event_count == kEvents) return noErr;
  Event* event = &tone->events[tone->event_count++];
  event->frame = offset;
  event->status = (UInt8)status;
  event->data1 = data1 & 0x7F;
  event->data2 = data2 & 0x7F;
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

static OSStatus render(BasicUnit* basic, AudioUnitRenderActionFlags* flags,
                       const AudioTimeStamp* time, UInt32 frames, const AudioBufferList* input,
                       AudioBufferList* output) CA_REALTIME_API {
  (void)time;
  (void)input;
  (void)flags;
  Tone* tone = (Tone*)basic;
  const float level = value_of(basic, kLevel);
  const int form = (int)value_of(basic, kWaveform);
  const UInt32 latency = latency_frames(basic);
  float* left = output->mBuffers[0].mData;
  UInt32 next = 0;
  for (UInt32 i = 0; i < frames; ++i) {
    while (next < tone->event_count && tone->events[next].frame <= i)
      apply(tone, &tone->events[next++]);
    const float sample = level * next_sample(tone, form);
    tone->delay[tone->delay_position] = sample;
    left[i] = tone->delay[(tone->delay_position + kMaxLatencyFrames - latency) % kMaxLatencyFrames];
    tone->delay_position = (tone->delay_position + 1) % kMaxLatencyFrames;
  }
  /* Offsets beyond the period take effect at its end rather than never. */
  while (next < tone->event_count) apply(tone, &tone->events[next++]);
  tone->event_count = 0;
  if (output->mNumberBuffers > 1) memcpy(output->mBuffers[1].mData, left, frames * sizeof(float));
  return noErr;
}

static void reset(BasicUnit* basic) {
  Tone* tone = (Tone*)basic;
  memset(tone->voices, 0, sizeof tone->voices);
  if (tone->delay) memset(tone->delay, 0, kMaxLatencyFrames * sizeof(float));
  tone->event_count = 0;
}

static OSStatus initialize(BasicUnit* basic) {
  Tone* tone = (Tone*)basic;
  tone->delay = calloc(kMaxLatencyFrames, sizeof(float));
  reset(basic);
  return tone->delay ? (OSStatus)noErr : kAudio_MemFullError;
}

static void uninitialize(BasicUnit* basic) {
  Tone* tone = (Tone*)basic;
  free(tone->delay);
  tone->delay = NULL;
}

static const UnitKind kTone = {
    .size = sizeof(Tone),
    .parameters = kParameters,
    .parameter_count = sizeof kParameters / sizeof kParameters[0],
    .presets = kPresets,
    .preset_count = sizeof kPresets / sizeof kPresets[0],
    .initialize = initialize,
    .uninitialize = uninitialize,
    .reset = reset,
    .latency_seconds = latency_seconds,
    .midi = midi,
    .render = render,
};

__attribute__((visibility("default"))) AudioComponentPlugInInterface* ToneFactory(
    const AudioComponentDescription* description);

AudioComponentPlugInInterface* ToneFactory(const AudioComponentDescription* description) {
  return make_unit(&kTone, description);
}
