#pragma once

/* The misbehaving units: aumu:Bad_:Vesk, aufx:Bad_:Vesk and aumu:Asyn:Vesk (instantiated
 * asynchronously), which do one wrong thing each on command.
 *
 * A command is a parameter: in a specification text `aumu:Bad_:Vesk#0=3` crashes in the third
 * render. The environment variable VESK_MISBEHAVE gives parameters their first values, which is the
 * only way for what happens before parameters are set:
 * `VESK_MISBEHAVE=hang-in-load=2,print-kib=64`, 1 where no value is written. "n" is a render
 * counted from 1, 0 is never.
 *
 * | id | name                   | value       | what happens                                     |
 * |----|------------------------|-------------|--------------------------------------------------|
 * |  0 | crash-in-render        | n           | writes to address 0                              |
 * |  1 | exit-in-render         | n           | ends the process with exit(3)                    |
 * |  2 | hang-in-render         | n           | sleeps for ever                                  |
 * |  3 | spin-in-render         | n           | spins for ever                                   |
 * |  4 | allocate-in-render     | n           | allocates and frees in this and later renders    |
 * |  5 | sleep-in-render        | microseconds| sleeps in every render                           |
 * |  6 | lock-in-render         | n           | takes a mutex in this and later renders          |
 * |  7 | nan-in-render          | n           | its output is not a number from then on          |
 * |  8 | late-in-render         | n           | this and later renders take longer, busily       |
 * |  9 | late-ms                | ms (20)     | by this much                                     |
 * | 10 | fail-in-render         | n           | this render returns a status                     |
 * | 11 | fail-status            | status      | namely this (-10863)                             |
 * | 12 | thread-in-render       | n           | starts a thread, which reports and ends          |
 * | 13 | comma-locale           | 1           | Initialize sets $VESK_MISBEHAVE_LOCALE           |
 * |    |                        |             | (de_DE.UTF-8) for the whole process              |
 * | 14 | print-kib              | KiB         | Initialize prints that much on standard error    |
 * | 15 | crash-in-load          | 1, 2        | crashes in Initialize (1) or Open (2)            |
 * | 16 | exit-in-load           | 1, 2        | ends the process there                           |
 * | 17 | hang-in-load           | 1, 2        | never comes back from there                      |
 * | 18 | delay-in-open          | ms          | Open takes that long                             |
 * | 19 | fail-in-load           | 1, 2        | returns -10875 there                             |
 * | 20 | refuse-stream-format   | 1           | setting it gives -10868                          |
 * | 21 | refuse-render-callback | 1           | setting it gives -10879                          |
 * | 22 | refuse-latency         | 1           | reading it gives -10879                          |
 * | 23 | refuse-class-info      | 1, 2, 3     | reading (1), setting (2), both give -10879       |
 * | 24 | refuse-max-frames      | 1           | setting it gives -10879                          |
 * | 25 | latency-ms             | ms          | reports this latency                             |
 * | 26 | crash-in-state         | 1           | crashes when its ClassInfo is read               |
 * | 27 | overflow-in-render     | n           | runs out of stack                                |
 * | 28 | hang-in-close          | 1           | never comes back from Uninitialize               |
 * | 29 | print-in-state         | KiB         | prints that much when its ClassInfo is read      |
 * | 30 | tell-song              | 1           | puts what it is told of the song into each       |
 * |    |                        |             | period's first samples, in the order of SongWord |
 *
 * What they saw, readable as parameters (meters):
 *
 * | id  | value                                                                                 |
 * |-----|---------------------------------------------------------------------------------------|
 * | 100 | renders so far                                                                        |
 * | 101 | MIDI events so far                                                                    |
 * | 102 | scheduling policy of the thread of command 12, -1 before it ran                       |
 * | 103 | number of CPUs that thread may use                                                    |
 * | 104 | scheduling policy of the render thread, -1 unless a report is asked for (below)       |
 * | 105 | number of CPUs the render thread may use, likewise                                    |
 * | 106 | 1 when the render thread flushes denormal numbers                                     |
 *
 * and, for tests in another process, in the file named by VESK_MISBEHAVE_REPORT, written in
 * Uninitialize: lines "renders N", "events N",
 * "thread_policy N", "thread_cpus N", "render_policy N", "render_cpus N", "flushes_denormals N",
 * then "event PERIOD OFFSET STATUS DATA1 DATA2" for each MIDI event, in decimal, PERIOD being the
 * render it came before, counted from 1. The same events are the property kReceivedEvents. */

#include <AudioUnit/AudioUnit.h>

enum Command {
  kCrashInRender,
  kExitInRender,
  kHangInRender,
  kSpinInRender,
  kAllocateInRender,
  kSleepInRender,
  kLockInRender,
  kNanInRender,
  kLateInRender,
  kLateMs,
  kFailInRender,
  kFailStatus,
  kThreadInRender,
  kCommaLocale,
  kPrintKib,
  kCrashInLoad,
  kExitInLoad,
  kHangInLoad,
  kDelayInOpen,
  kFailInLoad,
  kRefuseStreamFormat,
  kRefuseRenderCallback,
  kRefuseLatency,
  kRefuseClassInfo,
  kRefuseMaxFrames,
  kLatencyMs,
  kCrashInState,
  kOverflowInRender,
  kHangInClose,
  kPrintInState,
  kTellSong,
  kCommandCount
};

/* What tell-song writes, in both channels; beats as whole and rest, since a float holds seven
 * digits. Offline is 1 or 0; the rest is -1 where the host has no answer. */
enum SongWord {
  kSongOffline,
  kSongTempo,
  kSongBeat,
  kSongBeatRest,
  kSongBarStart,
  kSongBeatsPerBar,
  kSongBeatUnit,
  kSongFramesToBeat,
  kSongPlaying,
  kSongChanged,
  kSongSample,
  kSongLooping,
  kSongLoopStart,
  kSongLoopEnd,
  kSongWords
};

enum {
  kSeenRenders = 100,
  kSeenEvents,
  kSeenThreadPolicy,
  kSeenThreadCpus,
  kSeenRenderPolicy,
  kSeenRenderCpus,
  kSeenFlushing
};

/* Global, read: an array of ReceivedEvent. */
enum { kReceivedEvents = 64000 };

typedef struct ReceivedEvent {
  UInt32 period; /* the render it came before, counted from 1 */
  UInt32 offset, status, data1, data2;
} ReceivedEvent;
