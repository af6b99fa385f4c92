/* aumu:Bad_:Vesk, aufx:Bad_:Vesk and aumu:Asyn:Vesk (instantiated asynchronously), which do one
 * wrong thing each on command: docs/misbehaving.md. */

#define _GNU_SOURCE /* sched_getaffinity */
#include <locale.h>
#include <math.h>
#include <pthread.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

#include "../basic_unit.h"
#include "song_words.h"

#define ANY_RENDER 16777216.0f /* the last float that still counts by one */
#define ANY_STATUS 100000

/* The constant, the name, the lowest, highest and first value of each; numbered from 0. */
#define COMMANDS(COMMAND)                                            \
  COMMAND(kCrashInRender, "crash-in-render", 0, ANY_RENDER, 0)       \
  COMMAND(kExitInRender, "exit-in-render", 0, ANY_RENDER, 0)         \
  COMMAND(kHangInRender, "hang-in-render", 0, ANY_RENDER, 0)         \
  COMMAND(kSpinInRender, "spin-in-render", 0, ANY_RENDER, 0)         \
  COMMAND(kAllocateInRender, "allocate-in-render", 0, ANY_RENDER, 0) \
  COMMAND(kSleepInRender, "sleep-in-render", 0, 1e7f, 0)             \
  COMMAND(kLockInRender, "lock-in-render", 0, ANY_RENDER, 0)         \
  COMMAND(kNanInRender, "nan-in-render", 0, ANY_RENDER, 0)           \
  COMMAND(kLateInRender, "late-in-render", 0, ANY_RENDER, 0)         \
  COMMAND(kLateMs, "late-ms", 0, 60000, 20)                          \
  COMMAND(kFailInRender, "fail-in-render", 0, ANY_RENDER, 0)         \
  COMMAND(kFailStatus, "fail-status", -ANY_STATUS, ANY_STATUS,       \
          kAudioUnitErr_CannotDoInCurrentContext)                    \
  COMMAND(kThreadInRender, "thread-in-render", 0, ANY_RENDER, 0)     \
  COMMAND(kCommaLocale, "comma-locale", 0, 1, 0)                     \
  COMMAND(kPrintKib, "print-kib", 0, 65536, 0)                       \
  COMMAND(kCrashInLoad, "crash-in-load", 0, 2, 0)                    \
  COMMAND(kExitInLoad, "exit-in-load", 0, 2, 0)                      \
  COMMAND(kHangInLoad, "hang-in-load", 0, 2, 0)                      \
  COMMAND(kDelayInOpen, "delay-in-open", 0, 600000, 0)               \
  COMMAND(kFailInLoad, "fail-in-load", 0, 2, 0)                      \
  COMMAND(kRefuseStreamFormat, "refuse-stream-format", 0, 1, 0)      \
  COMMAND(kRefuseRenderCallback, "refuse-render-callback", 0, 1, 0)  \
  COMMAND(kRefuseLatency, "refuse-latency", 0, 1, 0)                 \
  COMMAND(kRefuseClassInfo, "refuse-class-info", 0, 3, 0)            \
  COMMAND(kRefuseMaxFrames, "refuse-max-frames", 0, 1, 0)            \
  COMMAND(kLatencyMs, "latency-ms", 0, 10000, 0)                     \
  COMMAND(kCrashInState, "crash-in-state", 0, 1, 0)                  \
  COMMAND(kOverflowInRender, "overflow-in-render", 0, ANY_RENDER, 0) \
  COMMAND(kHangInClose, "hang-in-close", 0, 1, 0)                    \
  COMMAND(kPrintInState, "print-in-state", 0, 65536, 0)              \
  COMMAND(kTellSong, "tell-song", 0, 1, 0)

#define AS_CONSTANT(id, ...) id,
#define AS_PARAMETER(id, name, minimum, maximum, initial) \
  {id, name, kAudioUnitParameterUnit_Generic, minimum, maximum, initial, NULL, 0},

enum Command { COMMANDS(AS_CONSTANT) kCommandCount };

/* What the unit saw, as read-only parameters numbered from 100. */
#define METERS(METER)                       \
  METER(kSeenRenders, "renders")            \
  METER(kSeenEvents, "events")              \
  METER(kSeenThreadPolicy, "thread_policy") \
  METER(kSeenThreadCpus, "thread_cpus")     \
  METER(kSeenFlushing, "flushes_denormals")

#define AS_METER(id, name)                                         \
  {id, name, kAudioUnitParameterUnit_Generic,      -1, ANY_RENDER, \
   -1, NULL, kAudioUnitParameterFlag_MeterReadOnly},

enum { kBeforeMeters = 99, METERS(AS_CONSTANT) kMeterEnd };

static const UnitParameter kParameters[] = {COMMANDS(AS_PARAMETER) METERS(AS_METER)};

typedef struct Misbehaving {
  BasicUnit basic;
  UInt32 renders, events;
  HostCallbackInfo host;
  UInt32 offline;
} Misbehaving;

enum Phase { kInitialize = 1, kOpen = 2 };

static int command(const BasicUnit* basic, enum Command id) {
  return (int)value_of(basic, id);
}

static void report(Misbehaving* unit, int id, float value) {
  atomic_store(&unit->basic.values[kCommandCount + id - kSeenRenders], value);
}

static float seen(const Misbehaving* unit, int id) {
  return value_of(&unit->basic, (UInt32)(kCommandCount + id - kSeenRenders));
}

static void crash(void) {
  *(volatile int*)NULL = 1;  // NOLINT(clang-analyzer-core.NullDereference): what it is for
}

static void sleep_for_ever(void) {
  for (;;) pause();
}

static void write_report(const Misbehaving* unit) {
  const char* path = getenv("VESK_MISBEHAVE_REPORT");
  FILE* file = path ? fopen(path, "w") : NULL;
  if (!file) return;
  for (int id = kSeenRenders; id < kMeterEnd; ++id) {
    const UnitParameter* meter = &kParameters[kCommandCount + id - kSeenRenders];
    fprintf(file, "%s %d\n", meter->name, (int)seen(unit, id));
  }
  fclose(file);
}

/* The first values of the parameters, from VESK_MISBEHAVE. */
static void read_environment(Misbehaving* unit) {
  const char* text = getenv("VESK_MISBEHAVE");
  while (text && *text) {
    const size_t length = strcspn(text, ",");
    const size_t name_length = strcspn(text, "=,");
    const float value = name_length < length ? strtof(text + name_length + 1, NULL) : 1;
    UInt32 i = 0;
    while (i < kCommandCount && (strlen(kParameters[i].name) != name_length ||
                                 strncmp(kParameters[i].name, text, name_length) != 0)) {
      ++i;
    }
    if (i < kCommandCount)
      atomic_store(&unit->basic.values[i], value);
    else if (length > 0)
      fprintf(stderr, "misbehaving unit: no command %.*s\n", (int)length, text);
    text += length;
    // At most at its end. NOLINTNEXTLINE(clang-analyzer-security.ArrayBound)
    if (*text == ',') ++text;
  }
}

static OSStatus misbehave_in_load(const BasicUnit* basic, enum Phase phase) {
  if (command(basic, kCrashInLoad) == (int)phase) crash();
  if (command(basic, kExitInLoad) == (int)phase) exit(3);
  if (command(basic, kHangInLoad) == (int)phase) sleep_for_ever();
  return command(basic, kFailInLoad) == (int)phase ? kAudioUnitErr_FailedInitialization
                                                   : (OSStatus)noErr;
}

static OSStatus open_unit(BasicUnit* basic) {
  Misbehaving* unit = (Misbehaving*)basic;
  read_environment(unit);
  usleep((useconds_t)command(basic, kDelayInOpen) * 1000);
  const OSStatus status = misbehave_in_load(basic, kOpen);
  if (status) return status;
  report(unit, kSeenRenders, 0);
  report(unit, kSeenEvents, 0);
  return noErr;
}

static void print_kib(size_t kib) {
  const char line[] = "misbehaving unit: a line of sixty-four bytes, one after the other\n";
  for (size_t bytes = 0; bytes < kib * 1024; bytes += sizeof line - 1) fputs(line, stderr);
}

static OSStatus initialize(BasicUnit* basic) {
  if (command(basic, kCommaLocale)) {
    const char* name = getenv("VESK_MISBEHAVE_LOCALE");
    if (!setlocale(LC_ALL, name ? name : "de_DE.UTF-8"))
      fprintf(stderr, "misbehaving unit: no such locale\n");
  }
  print_kib((size_t)command(basic, kPrintKib));
  return misbehave_in_load(basic, kInitialize);
}

static void uninitialize(BasicUnit* basic) {
  if (command(basic, kHangInClose)) sleep_for_ever();
  write_report((Misbehaving*)basic);
}

static int usable_cpus(void) {
  cpu_set_t cpus;
  return sched_getaffinity(0, sizeof cpus, &cpus) == 0 ? CPU_COUNT(&cpus) : -1;
}

static bool flushes_denormals(void) {
#if defined(__x86_64__)
  return (_mm_getcsr() & 0x8040) == 0x8040; /* flush to zero and denormals are zero */
#elif defined(__aarch64__)
  UInt64 control;
  __asm__ volatile("mrs %0, fpcr" : "=r"(control));
  return control >> 24 & 1;
#else
  return false;
#endif
}

static void* report_thread(void* context) {
  Misbehaving* unit = context;
  report(unit, kSeenThreadPolicy, (float)sched_getscheduler(0));
  report(unit, kSeenThreadCpus, (float)usable_cpus());
  return NULL;
}

/* Ended before the unit can go: the render waits for it. */
static void run_thread(Misbehaving* unit) {
  pthread_t thread;
  if (pthread_create(&thread, NULL, report_thread, unit) == 0) pthread_join(thread, NULL);
}

/* `depth` counts up for longer than any stack lasts. */
static int overflow(UInt64 depth) {
  volatile char frame[4096];
  frame[0] = (char)depth;
  return depth ? overflow(depth - 1) + frame[0] : 0;
}

static OSStatus midi(BasicUnit* basic, UInt32 status, UInt32 data1, UInt32 data2, UInt32 offset) {
  (void)status;
  (void)data1;
  (void)data2;
  (void)offset;
  Misbehaving* unit = (Misbehaving*)basic;
  report(unit, kSeenEvents, (float)++unit->events);
  return noErr;
}

static bool is_now(const Misbehaving* unit, enum Command id) {
  return (UInt32)command(&unit->basic, id) == unit->renders;
}

static bool has_begun(const Misbehaving* unit, enum Command id) {
  const UInt32 first = (UInt32)command(&unit->basic, id);
  return first > 0 && unit->renders >= first;
}

static OSStatus misbehave_in_render(Misbehaving* unit) {
  if (is_now(unit, kCrashInRender)) crash();
  if (is_now(unit, kExitInRender)) exit(3);
  if (is_now(unit, kHangInRender)) sleep_for_ever();
  if (is_now(unit, kSpinInRender)) spin_for(INFINITY);
  if (is_now(unit, kOverflowInRender)) return overflow(1 << 30);
  if (is_now(unit, kThreadInRender)) run_thread(unit);
  if (has_begun(unit, kAllocateInRender)) {
    void* volatile memory = malloc(64);
    free(memory);
  }
  if (has_begun(unit, kLockInRender)) {
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_lock(&mutex);
    pthread_mutex_unlock(&mutex);
  }
  if (has_begun(unit, kLateInRender)) spin_for(1e-3 * value_of(&unit->basic, kLateMs));
  const int sleep_us = command(&unit->basic, kSleepInRender);
  if (sleep_us > 0) usleep((useconds_t)sleep_us);
  return is_now(unit, kFailInRender) ? command(&unit->basic, kFailStatus) : noErr;
}

static void tell_song(const Misbehaving* unit, float words[kSongWords]) {
  const HostCallbackInfo* host = &unit->host;
  Float64 tempo, beat, bar_start, sample, loop_start, loop_end;
  Float32 beats_per_bar;
  UInt32 beat_unit, frames_to_beat;
  Boolean playing, changed, looping;
  for (int i = 0; i < kSongWords; ++i) words[i] = -1;
  words[kSongOffline] = (float)unit->offline;
  if (host->beatAndTempoProc && host->beatAndTempoProc(host->hostUserData, &beat, &tempo) == 0) {
    words[kSongTempo] = (float)tempo;
    words[kSongBeat] = (float)floor(beat);
    words[kSongBeatRest] = (float)(beat - floor(beat));
  }
  if (host->musicalTimeLocationProc &&
      host->musicalTimeLocationProc(host->hostUserData, &frames_to_beat, &beats_per_bar, &beat_unit,
                                    &bar_start) == 0) {
    words[kSongBarStart] = (float)bar_start;
    words[kSongBeatsPerBar] = beats_per_bar;
    words[kSongBeatUnit] = (float)beat_unit;
    words[kSongFramesToBeat] = (float)frames_to_beat;
  }
  if (host->transportStateProc &&
      host->transportStateProc(host->hostUserData, &playing, &changed, &sample, &looping,
                               &loop_start, &loop_end) == 0) {
    words[kSongPlaying] = playing;
    words[kSongChanged] = changed;
    words[kSongSample] = (float)sample;
    words[kSongLooping] = looping;
    words[kSongLoopStart] = (float)loop_start;
    words[kSongLoopEnd] = (float)loop_end;
  }
}

/* The instrument plays a constant, the effect its input. */
static OSStatus render(BasicUnit* basic, UInt32 frames, float* const input[kChannels],
                       float* const output[kChannels]) {
  Misbehaving* unit = (Misbehaving*)basic;
  ++unit->renders;
  report(unit, kSeenRenders, (float)unit->renders);
  report(unit, kSeenFlushing, flushes_denormals());
  const OSStatus status = misbehave_in_render(unit);
  const bool nan = has_begun(unit, kNanInRender);
  for (UInt32 channel = 0; channel < kChannels; ++channel)
    for (UInt32 i = 0; i < frames; ++i)
      output[channel][i] = nan ? NAN : input ? input[channel][i] : 0.25f;
  if (command(basic, kTellSong) && frames >= kSongWords) tell_song(unit, output[0]);
  return status;
}

static Float64 latency_seconds(const BasicUnit* basic) {
  return 1e-3 * value_of(basic, kLatencyMs);
}

static OSStatus get_property(BasicUnit* basic, AudioUnitPropertyID id, void* data, UInt32* size) {
  (void)size;
  if (id == kAudioUnitProperty_ClassInfo) {
    if (command(basic, kCrashInState)) crash();
    if (data) print_kib((size_t)command(basic, kPrintInState));
    if (command(basic, kRefuseClassInfo) & 1) return kAudioUnitErr_InvalidProperty;
  }
  if (id == kAudioUnitProperty_Latency && command(basic, kRefuseLatency))
    return kAudioUnitErr_InvalidProperty;
  return kNotHandled;
}

static OSStatus set_property(BasicUnit* basic, AudioUnitPropertyID id, const void* data,
                             UInt32 size) {
  Misbehaving* unit = (Misbehaving*)basic;
  switch (id) {
    case kAudioUnitProperty_OfflineRender:
      memcpy(&unit->offline, data, sizeof unit->offline);
      return noErr;
    case kAudioUnitProperty_HostCallbacks:
      memcpy(&unit->host, data, size < sizeof unit->host ? size : sizeof unit->host);
      return noErr;
    case kAudioUnitProperty_StreamFormat:
      return command(basic, kRefuseStreamFormat) ? kAudioUnitErr_FormatNotSupported : kNotHandled;
    case kAudioUnitProperty_SetRenderCallback:
      return command(basic, kRefuseRenderCallback) ? kAudioUnitErr_InvalidProperty : kNotHandled;
    case kAudioUnitProperty_MaximumFramesPerSlice:
      return command(basic, kRefuseMaxFrames) ? kAudioUnitErr_InvalidProperty : kNotHandled;
    case kAudioUnitProperty_ClassInfo:
      return command(basic, kRefuseClassInfo) & 2 ? kAudioUnitErr_InvalidProperty : kNotHandled;
    default:
      return kNotHandled;
  }
}

/* Its render breaks the rules on purpose: the mark that the table asks for comes by a cast. */
typedef OSStatus (*MarkedRender)(BasicUnit*, UInt32, float* const[kChannels],
                                 float* const[kChannels]) CA_REALTIME_API;
typedef OSStatus (*MarkedMidi)(BasicUnit*, UInt32, UInt32, UInt32, UInt32) CA_REALTIME_API;

static const UnitKind kKind = {
    .size = sizeof(Misbehaving),
    .parameters = kParameters,
    .parameter_count = sizeof kParameters / sizeof kParameters[0],
    .open = open_unit,
    .initialize = initialize,
    .uninitialize = uninitialize,
    .latency_seconds = latency_seconds,
    .get_property = get_property,
    .set_property = set_property,
    .midi = (MarkedMidi)midi,
    .render = (MarkedRender)render,
};

const UnitKind* const unit_kinds[2] = {&kKind, &kKind};
