#pragma once

/* The sound: eight plucked strings, each a loop of noise that loses a little in every round. */

#include <CoreAudioTypes/CoreAudioTypes.h>
#include <stdbool.h>

enum { kStringCount = 8, kEventCount = 256 };

typedef struct PluckedString {
  bool sounds, held;
  UInt8 note;
  float* samples; /* the loop, `Strings.capacity` of them */
  UInt32 position;
  float last; /* of the low-pass filter in the loop */
} PluckedString;

/* A short MIDI message at its frame of the next render. */
typedef struct StringEvent {
  UInt32 frame;
  UInt8 status, data1, data2;
} StringEvent;

typedef struct Strings {
  PluckedString strings[kStringCount];
  float period_of[128]; /* in frames, by note */
  UInt32 capacity, next_string;
  double sample_rate;
  StringEvent events[kEventCount];
  UInt32 event_count;
} Strings;

/* Not for the render thread. Gets memory; false when there is none. */
bool strings_allocate(Strings* strings, double sample_rate);
void strings_free(Strings* strings);

/* Silence. Not while rendering. */
void strings_reset(Strings* strings);

/* Render thread. What does not fit into the queue is lost. */
void strings_take_midi(Strings* strings, UInt32 status, UInt32 data1, UInt32 data2,
                       UInt32 frame) CA_REALTIME_API;

/* Render thread. `decay` in seconds until -60 dB, `brightness` in 0..1, `gain` linear. */
void strings_render(Strings* strings, float decay, float brightness, float gain, float* output,
                    UInt32 frames) CA_REALTIME_API;
