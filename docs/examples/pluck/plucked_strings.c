#include "plucked_strings.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>

static const double kLowestHz = 8; /* below MIDI note 0 */
static const float kReleaseSeconds = 0.15f;

bool strings_allocate(Strings* strings, double sample_rate) {
  strings->sample_rate = sample_rate;
  strings->capacity = (UInt32)(sample_rate / kLowestHz) + 4;
  for (int i = 0; i < kStringCount; ++i) {
    strings->strings[i].samples = calloc(strings->capacity, sizeof(float));
    if (!strings->strings[i].samples) {
      strings_free(strings);
      return false;
    }
  }
  for (int note = 0; note < 128; ++note)
    strings->period_of[note] = (float)(sample_rate / (440 * exp2((note - 69) / 12.0)));
  strings_reset(strings);
  return true;
}

void strings_free(Strings* strings) {
  for (int i = 0; i < kStringCount; ++i) {
    free(strings->strings[i].samples);
    strings->strings[i].samples = NULL;
  }
}

void strings_reset(Strings* strings) {
  for (int i = 0; i < kStringCount; ++i) strings->strings[i].sounds = false;
  strings->next_string = 0;
  strings->event_count = 0;
}

void strings_take_midi(Strings* strings, UInt32 status, UInt32 data1, UInt32 data2,
                       UInt32 frame) CA_REALTIME_API {
  if (strings->event_count == kEventCount) return;
  StringEvent* event = &strings->events[strings->event_count++];
  event->frame = frame;
  event->status = (UInt8)(status & 0xF0);
  event->data1 = data1 & 0x7F;
  event->data2 = data2 & 0x7F;
}

static void pluck(Strings* strings, UInt8 note, UInt8 velocity) CA_REALTIME_API {
  PluckedString* string = &strings->strings[strings->next_string];
  strings->next_string = (strings->next_string + 1) % kStringCount;
  string->sounds = string->held = true;
  string->note = note;
  string->position = 0;
  string->last = 0;
  memset(string->samples, 0, strings->capacity * sizeof(float));
  const UInt32 length = (UInt32)strings->period_of[note] + 2;
  UInt32 noise = note; /* the same note always sounds the same */
  for (UInt32 i = 0; i < length; ++i) {
    noise = noise * 1664525 + 1013904223;
    const float sample = (float)(noise >> 8) / 8388608.0f - 1;
    string->samples[strings->capacity - 1 - i] = sample * velocity / 127.0f;
  }
}

static void apply(Strings* strings, const StringEvent* event) CA_REALTIME_API {
  if (event->status == 0x90 && event->data2 > 0) {
    pluck(strings, event->data1, event->data2);
  } else if (event->status == 0x80 || event->status == 0x90) {
    for (int i = 0; i < kStringCount; ++i)
      if (strings->strings[i].note == event->data1) strings->strings[i].held = false;
  } else if (event->status == 0xB0 && (event->data1 == 120 || event->data1 == 123)) {
    /* All sound off, all notes off. */
    for (int i = 0; i < kStringCount; ++i) {
      strings->strings[i].held = false;
      if (event->data1 == 120) strings->strings[i].sounds = false;
    }
  }
}

static void add_string(const Strings* strings, PluckedString* string, float decay, float brightness,
                       float gain, float* output, UInt32 frames) CA_REALTIME_API {
  const float smoothing = 0.6f * (1 - brightness);
  /* The filter holds the wave back as well, so the loop is that much shorter. */
  float delay = strings->period_of[string->note] - smoothing / (1 - smoothing);
  if (delay < 2) delay = 2;
  const UInt32 whole = (UInt32)delay;
  const float part = delay - (float)whole;
  const float seconds = string->held ? decay : kReleaseSeconds;
  /* exp(-x) as 1 - x: a round loses little, and nothing here calls the mathematics library. */
  float loss = 6.9078f * delay / (seconds * (float)strings->sample_rate);
  if (loss > 1) loss = 1;
  float loudest = 0;
  for (UInt32 i = 0; i < frames; ++i) {
    const UInt32 capacity = strings->capacity;
    const UInt32 near = (string->position + capacity - whole) % capacity;
    const UInt32 far = (near + capacity - 1) % capacity;
    const float sample = string->samples[near] * (1 - part) + string->samples[far] * part;
    string->last += (1 - smoothing) * (sample - string->last);
    string->samples[string->position] = string->last * (1 - loss);
    string->position = (string->position + 1) % capacity;
    output[i] += gain * string->last;
    if (string->last > loudest) loudest = string->last;
    if (-string->last > loudest) loudest = -string->last;
  }
  if (frames > whole && loudest < 1e-5f) string->sounds = false;
}

static void render_part(Strings* strings, float decay, float brightness, float gain, float* output,
                        UInt32 frames) CA_REALTIME_API {
  memset(output, 0, frames * sizeof(float));
  for (int i = 0; i < kStringCount; ++i) {
    PluckedString* string = &strings->strings[i];
    if (string->sounds) add_string(strings, string, decay, brightness, gain, output, frames);
  }
}

void strings_render(Strings* strings, float decay, float brightness, float gain, float* output,
                    UInt32 frames) CA_REALTIME_API {
  UInt32 done = 0;
  for (UInt32 i = 0; i < strings->event_count; ++i) {
    const StringEvent* event = &strings->events[i];
    const UInt32 until = event->frame < frames ? event->frame : frames;
    if (until > done) {
      render_part(strings, decay, brightness, gain, output + done, until - done);
      done = until;
    }
    apply(strings, event);
  }
  strings->event_count = 0;
  if (frames > done) render_part(strings, decay, brightness, gain, output + done, frames - done);
}
