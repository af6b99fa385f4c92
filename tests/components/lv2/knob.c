/* An instrument with an interface: plays two of its controls, one a channel, and answers questions
 * that come as atoms. */
#include <lv2/atom/forge.h>
#include <lv2/atom/util.h>
#include <stdlib.h>

#include "test_plugins.h"

enum { kQuestions, kAnswers, kLeft, kRight, kLevel, kReport, kOwn, kHalf, kConnected };

typedef struct {
  Ports ports;
  LV2_Atom_Forge forge;
} Knob;

static LV2_Handle instantiate(const LV2_Descriptor* descriptor, double rate, const char* bundle,
                              const LV2_Feature* const* features) {
  (void)descriptor, (void)rate, (void)bundle;
  const LV2_URID_Map* map = feature_data(features, LV2_URID__map);
  if (map == NULL) return NULL;
  Knob* self = calloc(1, sizeof(Knob));
  lv2_atom_forge_init(&self->forge, (LV2_URID_Map*)map);
  return self;
}

/* Each number that is asked about comes back doubled. */
static void answer(Knob* self) {
  LV2_Atom_Sequence* answers = self->ports.data[kAnswers];
  if (answers == NULL) return;
  LV2_Atom_Forge_Frame frame;
  lv2_atom_forge_set_buffer(&self->forge, (uint8_t*)answers,
                            answers->atom.size + (uint32_t)sizeof(LV2_Atom));
  lv2_atom_forge_sequence_head(&self->forge, &frame, 0);
  LV2_ATOM_SEQUENCE_FOREACH((const LV2_Atom_Sequence*)self->ports.data[kQuestions], event) {
    if (event->body.type != self->forge.Int) continue;
    lv2_atom_forge_frame_time(&self->forge, event->time.frames);
    lv2_atom_forge_int(&self->forge, 2 * ((const LV2_Atom_Int*)&event->body)->body);
  }
  lv2_atom_forge_pop(&self->forge, &frame);
}

static void run(LV2_Handle handle, uint32_t frames) {
  Knob* self = handle;
  const float level = *samples(handle, kLevel), report = *samples(handle, kReport);
  for (uint32_t i = 0; i < frames; ++i) {
    samples(handle, kLeft)[i] = level;
    samples(handle, kRight)[i] = report;
  }
  *samples(handle, kHalf) = level / 2;
  *samples(handle, kConnected) = self->ports.data[kAnswers] != NULL ? 1 : 0;
  answer(self);
}

const LV2_Descriptor test_knob_descriptor = {
    "urn:vesk:test:knob", instantiate, connect_port, NULL, run, NULL, free, NULL};

/* The same with an interface that says it draws with OpenGL. */
const LV2_Descriptor test_gl_knob_descriptor = {
    "urn:vesk:test:gl-knob", instantiate, connect_port, NULL, run, NULL, free, NULL};

/* The same with an interface that opens a window of its own. */
const LV2_Descriptor test_external_knob_descriptor = {
    "urn:vesk:test:external-knob", instantiate, connect_port, NULL, run, NULL, free, NULL};
