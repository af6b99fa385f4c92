/* Each note-on asks the worker for the level key / 128, which becomes the output with the answer.
 * `faults` counts what a host must not do: work on the thread that runs, answers outside the run's
 * thread, an end_run that is missing. */
#include <lv2/atom/util.h>
#include <lv2/midi/midi.h>
#include <lv2/urid/urid.h>
#include <lv2/worker/worker.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stdlib.h>

#include "test_plugins.h"

enum { kEvents, kLeft, kRight, kFaults };

typedef struct {
  const LV2_Atom_Sequence* events;
  float* ports[4];
  const LV2_Worker_Schedule* schedule;
  LV2_URID midi;
  _Atomic pthread_t runner;
  float level;
  int runs, ends;
  atomic_int faults;
} Worker;

static LV2_Handle instantiate(const LV2_Descriptor* descriptor, double rate, const char* bundle,
                              const LV2_Feature* const* features) {
  (void)descriptor, (void)rate, (void)bundle;
  const LV2_URID_Map* map = feature_data(features, LV2_URID__map);
  const LV2_Worker_Schedule* schedule = feature_data(features, LV2_WORKER__schedule);
  if (map == NULL || schedule == NULL) return NULL;
  Worker* self = calloc(1, sizeof(Worker));
  self->schedule = schedule;
  self->midi = map->map(map->handle, LV2_MIDI__MidiEvent);
  return self;
}

static void connect_port(LV2_Handle handle, uint32_t port, void* data) {
  Worker* self = handle;
  if (port == kEvents)
    self->events = data;
  else if (port < 4)
    self->ports[port] = data;
}

static void run(LV2_Handle handle, uint32_t frames) {
  Worker* self = handle;
  self->runner = pthread_self();
  if (self->ends != self->runs) atomic_fetch_add(&self->faults, 1);
  ++self->runs;
  LV2_ATOM_SEQUENCE_FOREACH(self->events, event) {
    const uint8_t* bytes = (const uint8_t*)(event + 1);
    if (event->body.type == self->midi && (bytes[0] & 0xf0) == 0x90) {
      const float level = (float)bytes[1] / 128;
      self->schedule->schedule_work(self->schedule->handle, sizeof level, &level);
    }
  }
  for (uint32_t i = 0; i < frames; ++i) {
    self->ports[kLeft][i] = self->level;
    self->ports[kRight][i] = self->level;
  }
  *self->ports[kFaults] = (float)atomic_load(&self->faults);
}

static LV2_Worker_Status work(LV2_Handle handle, LV2_Worker_Respond_Function respond,
                              LV2_Worker_Respond_Handle answer, uint32_t size, const void* data) {
  Worker* self = handle;
  if (pthread_equal(pthread_self(), self->runner)) atomic_fetch_add(&self->faults, 1);
  return respond(answer, size, data);
}

static LV2_Worker_Status work_response(LV2_Handle handle, uint32_t size, const void* data) {
  Worker* self = handle;
  if (!pthread_equal(pthread_self(), self->runner)) atomic_fetch_add(&self->faults, 1);
  if (size == sizeof self->level) memcpy(&self->level, data, size);
  return LV2_WORKER_SUCCESS;
}

static LV2_Worker_Status end_run(LV2_Handle handle) {
  ++((Worker*)handle)->ends;
  return LV2_WORKER_SUCCESS;
}

static const void* extension_data(const char* uri) {
  static const LV2_Worker_Interface methods = {work, work_response, end_run};
  return strcmp(uri, LV2_WORKER__interface) == 0 ? &methods : NULL;
}

const LV2_Descriptor test_worker_descriptor = {
    "urn:vesk:test:worker", instantiate, connect_port, NULL, run, NULL, free, extension_data};
