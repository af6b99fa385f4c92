/* Draws its MIDI: a note-on puts key / 128 into the left and velocity / 128 into the right channel
 * at its frame, added where several meet; anything else, with its length, is counted. Shows the
 * last position it was told. */
#include <lv2/atom/util.h>
#include <lv2/midi/midi.h>
#include <lv2/time/time.h>
#include <lv2/urid/urid.h>
#include <stdlib.h>

#include "test_plugins.h"

enum { kEvents, kLeft, kRight, kOtherBytes, kPositions, kDisorder, kFirstOfPosition };
enum { kFrame, kSpeed, kTempo, kBar, kBarBeat, kPositionKeys };
enum { kPorts = kFirstOfPosition + kPositionKeys };

typedef struct {
  const LV2_Atom_Sequence* events;
  float* ports[kPorts];
  LV2_URID midi, object, integer;
  LV2_URID keys[kPositionKeys];
  float position[kPositionKeys];
  float other_bytes, positions, disorder;
} Events;

static LV2_Handle instantiate(const LV2_Descriptor* descriptor, double rate, const char* bundle,
                              const LV2_Feature* const* features) {
  (void)descriptor, (void)rate, (void)bundle;
  const LV2_URID_Map* map = feature_data(features, LV2_URID__map);
  if (map == NULL) return NULL;
  Events* self = calloc(1, sizeof(Events));
  self->midi = map->map(map->handle, LV2_MIDI__MidiEvent);
  self->object = map->map(map->handle, LV2_ATOM__Object);
  self->integer = map->map(map->handle, LV2_ATOM__Long);
  static const char* const keys[kPositionKeys] = {
      LV2_TIME__frame, LV2_TIME__speed, LV2_TIME__beatsPerMinute, LV2_TIME__bar, LV2_TIME__barBeat};
  for (int i = 0; i < kPositionKeys; ++i) self->keys[i] = map->map(map->handle, keys[i]);
  return self;
}

static void connect_port(LV2_Handle handle, uint32_t port, void* data) {
  Events* self = handle;
  if (port == kEvents)
    self->events = data;
  else if (port < kPorts)
    self->ports[port] = data;
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
  memset(self->ports[kLeft], 0, frames * sizeof(float));
  memset(self->ports[kRight], 0, frames * sizeof(float));
  int64_t last = 0;
  LV2_ATOM_SEQUENCE_FOREACH(self->events, event) {
    if (event->time.frames < last || event->time.frames >= frames) self->disorder += 1;
    last = event->time.frames;
    const uint8_t* bytes = (const uint8_t*)(event + 1);
    if (event->body.type == self->object) {
      see_position(self, event);
    } else if (event->body.type == self->midi && (bytes[0] & 0xf0) == 0x90) {
      self->ports[kLeft][last] += (float)bytes[1] / 128;
      self->ports[kRight][last] += (float)bytes[2] / 128;
    } else {
      self->other_bytes += (float)event->body.size;
    }
  }
  *self->ports[kOtherBytes] = self->other_bytes;
  *self->ports[kPositions] = self->positions;
  *self->ports[kDisorder] = self->disorder;
  for (int i = 0; i < kPositionKeys; ++i) *self->ports[kFirstOfPosition + i] = self->position[i];
}

const LV2_Descriptor test_events_descriptor = {
    "urn:vesk:test:events", instantiate, connect_port, NULL, run, NULL, free, NULL};
