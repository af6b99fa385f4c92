/* Draws its MIDI: a note-on puts key / 128 into the left and velocity / 128 into the right channel
 * at its frame, added where several meet; a controller asks the worker for its number, which
 * becomes `answer`; anything else, with its length, is counted. Shows the last position it was
 * told. `faults` counts what a host must not do: events out of order, work on the thread that runs,
 * answers outside the run's thread, an end_run that is missing, two at work at once. */
#include <lv2/atom/util.h>
#include <lv2/midi/midi.h>
#include <lv2/time/time.h>
#include <lv2/worker/worker.h>
#include <pthread.h>
#include <sched.h>
#include <stdatomic.h>
#include <stdlib.h>

#include "test_plugins.h"

enum { kEvents, kLeft, kRight, kOther, kPositions, kFaults, kAnswer, kFirstOfPosition };
enum { kFrame, kSpeed, kTempo, kBar, kBarBeat, kPositionKeys };

typedef struct {
  Ports ports;
  const LV2_Worker_Schedule* schedule;
  LV2_URID midi, object, integer;
  LV2_URID keys[kPositionKeys];
  float position[kPositionKeys];
  float other, positions, answer;
  _Atomic pthread_t runner;
  int runs, ends;
  atomic_int faults;
} Events;

/* Uses what only one thread of the process may use. */
static void use_alone(Events* self) {
  static atomic_int users;
  if (atomic_fetch_add(&users, 1) != 0) atomic_fetch_add(&self->faults, 1);
  for (int i = 0; i < 20; ++i) sched_yield();
  atomic_fetch_sub(&users, 1);
}

static LV2_Handle instantiate(const LV2_Descriptor* descriptor, double rate, const char* bundle,
                              const LV2_Feature* const* features) {
  (void)descriptor, (void)rate, (void)bundle;
  const LV2_URID_Map* map = feature_data(features, LV2_URID__map);
  const LV2_Worker_Schedule* schedule = feature_data(features, LV2_WORKER__schedule);
  if (map == NULL || schedule == NULL) return NULL;
  Events* self = calloc(1, sizeof(Events));
  self->schedule = schedule;
  use_alone(self);
  self->midi = urid(map, LV2_MIDI__MidiEvent);
  self->object = urid(map, LV2_ATOM__Object);
  self->integer = urid(map, LV2_ATOM__Long);
  static const char* const keys[kPositionKeys] = {
      LV2_TIME__frame, LV2_TIME__speed, LV2_TIME__beatsPerMinute, LV2_TIME__bar, LV2_TIME__barBeat};
  for (int i = 0; i < kPositionKeys; ++i) self->keys[i] = urid(map, keys[i]);
  return self;
}

static void see_position(Events* self, const LV2_Atom_Event* event) {
  LV2_ATOM_OBJECT_FOREACH((const LV2_Atom_Object*)&event->body, property) {
    for (int i = 0; i < kPositionKeys; ++i)
      if (property->key == self->keys[i])
        self->position[i] = property->value.type == self->integer
                                ? (float)((const LV2_Atom_Long*)&property->value)->body
                                : ((const LV2_Atom_Float*)&property->value)->body;
  }
  self->positions += 1;
}

static void run(LV2_Handle handle, uint32_t frames) {
  Events* self = handle;
  self->runner = pthread_self();
  if (self->ends != self->runs) atomic_fetch_add(&self->faults, 1);
  ++self->runs;
  memset(samples(handle, kLeft), 0, frames * sizeof(float));
  memset(samples(handle, kRight), 0, frames * sizeof(float));
  int64_t last = 0;
  LV2_ATOM_SEQUENCE_FOREACH((const LV2_Atom_Sequence*)self->ports.data[kEvents], event) {
    if (event->time.frames < last || event->time.frames >= frames)
      atomic_fetch_add(&self->faults, 1);
    last = event->time.frames;
    const uint8_t* bytes = (const uint8_t*)(event + 1);
    const int status = event->body.type == self->midi ? bytes[0] & 0xf0 : 0;
    if (event->body.type == self->object) {
      see_position(self, event);
    } else if (status == 0x90) {
      samples(handle, kLeft)[last] += (float)bytes[1] / 128;
      samples(handle, kRight)[last] += (float)bytes[2] / 128;
    } else if (status == 0xb0) {
      const float number = bytes[1];
      self->schedule->schedule_work(self->schedule->handle, sizeof number, &number);
    } else {
      self->other += (float)event->body.size;
    }
  }
  *samples(handle, kOther) = self->other;
  *samples(handle, kPositions) = self->positions;
  *samples(handle, kFaults) = (float)atomic_load(&self->faults);
  *samples(handle, kAnswer) = self->answer;
  for (uint32_t i = 0; i < kPositionKeys; ++i)
    *samples(handle, kFirstOfPosition + i) = self->position[i];
}

static LV2_Worker_Status work(LV2_Handle handle, LV2_Worker_Respond_Function respond,
                              LV2_Worker_Respond_Handle answer, uint32_t size, const void* data) {
  Events* self = handle;
  if (pthread_equal(pthread_self(), self->runner)) atomic_fetch_add(&self->faults, 1);
  use_alone(self);
  return respond(answer, size, data);
}

static LV2_Worker_Status work_response(LV2_Handle handle, uint32_t size, const void* data) {
  Events* self = handle;
  if (!pthread_equal(pthread_self(), self->runner)) atomic_fetch_add(&self->faults, 1);
  if (size == sizeof self->answer) memcpy(&self->answer, data, size);
  return LV2_WORKER_SUCCESS;
}

static LV2_Worker_Status end_run(LV2_Handle handle) {
  ++((Events*)handle)->ends;
  return LV2_WORKER_SUCCESS;
}

static const void* extension_data(const char* uri) {
  static const LV2_Worker_Interface methods = {work, work_response, end_run};
  return strcmp(uri, LV2_WORKER__interface) == 0 ? &methods : NULL;
}

const LV2_Descriptor test_events_descriptor = {
    "urn:vesk:test:events", instantiate, connect_port, NULL, run, NULL, free, extension_data};
