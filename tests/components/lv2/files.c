/* Plays numbers that stand in files: the sum of those of its two files, times `gain`. It is told of
 * a file by patch:Set and has its worker read it; what is no number is no file for it, and then it
 * says nothing. Its files show how plugins differ: the sample is answered for and saved under a key
 * of another name, the quiet one is saved under its own and never answered for; the third is always
 * refused. What it saved it reads again in its first run only, and saves what it has read. */
#include <lv2/atom/forge.h>
#include <lv2/atom/util.h>
#include <lv2/patch/patch.h>
#include <lv2/state/state.h>
#include <lv2/worker/worker.h>
#include <stdio.h>
#include <stdlib.h>

#include "test_plugins.h"

#define KEY(name) "urn:vesk:test:files#" name

enum { kControl, kNotify, kLeft, kRight, kGain };
enum { kSample, kQuiet, kFiles };

typedef struct {
  int which;
  float value;
  char path[500];
} File;

typedef struct {
  Ports ports;
  const LV2_Worker_Schedule* schedule;
  LV2_Atom_Forge forge;
  LV2_URID object, path, set, error, property, value;
  LV2_URID told[kFiles], kept[kFiles], refused;
  File files[kFiles], wanted[kFiles];
  int is_wanted[kFiles];
  int answers; /* 1: that it has the sample, 2: that it refuses */
} Files;

static LV2_Handle instantiate(const LV2_Descriptor* descriptor, double rate, const char* bundle,
                              const LV2_Feature* const* features) {
  (void)descriptor, (void)rate, (void)bundle;
  LV2_URID_Map* map = (LV2_URID_Map*)feature_data(features, LV2_URID__map);
  Files* self = calloc(1, sizeof(Files));
  self->schedule = feature_data(features, LV2_WORKER__schedule);
  lv2_atom_forge_init(&self->forge, map);
  self->object = urid(map, LV2_ATOM__Object);
  self->path = urid(map, LV2_ATOM__Path);
  self->set = urid(map, LV2_PATCH__Set);
  self->error = urid(map, LV2_PATCH__Error);
  self->property = urid(map, LV2_PATCH__property);
  self->value = urid(map, LV2_PATCH__value);
  self->told[kSample] = urid(map, KEY("sample"));
  self->kept[kSample] = urid(map, KEY("kept"));
  self->told[kQuiet] = self->kept[kQuiet] = urid(map, KEY("quiet"));
  self->refused = urid(map, KEY("refused"));
  return self;
}

static void want(Files* self, int which, const char* path) {
  self->is_wanted[which] = 1;
  self->wanted[which].which = which;
  snprintf(self->wanted[which].path, sizeof self->wanted[which].path, "%s", path);
}

static void hear(Files* self, const LV2_Atom_Object* message) {
  const LV2_Atom_URID* property = NULL;
  const LV2_Atom* value = NULL;
  lv2_atom_object_get(message, self->property, &property, self->value, &value, 0);
  if (message->body.otype != self->set || property == NULL || value == NULL) return;
  if (property->body == self->refused) self->answers = 2;
  for (int which = 0; which < kFiles; ++which)
    if (property->body == self->told[which] && value->type == self->path)
      want(self, which, (const char*)(value + 1));
}

static void answer(Files* self) {
  LV2_Atom_Sequence* notify = self->ports.data[kNotify];
  lv2_atom_forge_set_buffer(&self->forge, (uint8_t*)notify, notify->atom.size);
  LV2_Atom_Forge_Frame sequence, object;
  lv2_atom_forge_sequence_head(&self->forge, &sequence, 0);
  if (self->answers != 0) {
    lv2_atom_forge_frame_time(&self->forge, 0);
    lv2_atom_forge_object(&self->forge, &object, 0, self->answers == 1 ? self->set : self->error);
    if (self->answers == 1) {
      const char* path = self->files[kSample].path;
      lv2_atom_forge_key(&self->forge, self->property);
      lv2_atom_forge_urid(&self->forge, self->told[kSample]);
      lv2_atom_forge_key(&self->forge, self->value);
      lv2_atom_forge_path(&self->forge, path, (uint32_t)strlen(path));
    }
    lv2_atom_forge_pop(&self->forge, &object);
  }
  lv2_atom_forge_pop(&self->forge, &sequence);
  self->answers = 0;
}

static void run(LV2_Handle handle, uint32_t frames) {
  Files* self = handle;
  LV2_ATOM_SEQUENCE_FOREACH((const LV2_Atom_Sequence*)self->ports.data[kControl], event) {
    if (event->body.type == self->object) hear(self, (const LV2_Atom_Object*)&event->body);
  }
  for (int which = 0; which < kFiles; ++which)
    if (self->is_wanted[which])
      self->schedule->schedule_work(self->schedule->handle, sizeof(File), &self->wanted[which]);
  memset(self->is_wanted, 0, sizeof self->is_wanted);
  answer(self);
  const float sum = self->files[kSample].value + self->files[kQuiet].value;
  for (uint32_t i = 0; i < frames; ++i)
    samples(handle, kLeft)[i] = samples(handle, kRight)[i] = sum * *samples(handle, kGain);
}

static LV2_Worker_Status work(LV2_Handle handle, LV2_Worker_Respond_Function respond,
                              LV2_Worker_Respond_Handle to, uint32_t size, const void* data) {
  (void)handle, (void)size;
  File file = *(const File*)data;
  FILE* text = fopen(file.path, "r");
  const int is_read = text != NULL && fscanf(text, "%f", &file.value) == 1;
  if (text != NULL) fclose(text);
  return is_read ? respond(to, sizeof file, &file) : LV2_WORKER_SUCCESS;
}

static LV2_Worker_Status work_response(LV2_Handle handle, uint32_t size, const void* data) {
  (void)size;
  Files* self = handle;
  const File* file = data;
  self->files[file->which] = *file;
  if (file->which == kSample) self->answers = 1;
  return LV2_WORKER_SUCCESS;
}

static LV2_State_Status save(LV2_Handle handle, LV2_State_Store_Function store, LV2_State_Handle to,
                             uint32_t flags, const LV2_Feature* const* features) {
  (void)flags;
  Files* self = handle;
  const LV2_State_Map_Path* paths = feature_data(features, LV2_STATE__mapPath);
  const LV2_State_Free_Path* freer = feature_data(features, LV2_STATE__freePath);
  for (int which = 0; which < kFiles; ++which) {
    if (self->files[which].path[0] == 0) continue;
    char* path = paths->abstract_path(paths->handle, self->files[which].path);
    store(to, self->kept[which], path, strlen(path) + 1, self->path, LV2_STATE_IS_POD);
    freer->free_path(freer->handle, path);
  }
  return LV2_STATE_SUCCESS;
}

static LV2_State_Status restore(LV2_Handle handle, LV2_State_Retrieve_Function retrieve,
                                LV2_State_Handle from, uint32_t flags,
                                const LV2_Feature* const* features) {
  (void)flags;
  Files* self = handle;
  const LV2_State_Map_Path* paths = feature_data(features, LV2_STATE__mapPath);
  const LV2_State_Free_Path* freer = feature_data(features, LV2_STATE__freePath);
  for (int which = 0; which < kFiles; ++which) {
    size_t size = 0;
    const void* saved = retrieve(from, self->kept[which], &size, NULL, NULL);
    if (saved == NULL) continue;
    char* path = paths->absolute_path(paths->handle, saved);
    want(self, which, path);
    freer->free_path(freer->handle, path);
  }
  return LV2_STATE_SUCCESS;
}

static const void* extension_data(const char* uri) {
  static const LV2_Worker_Interface worker = {work, work_response, NULL};
  static const LV2_State_Interface state = {save, restore};
  if (strcmp(uri, LV2_WORKER__interface) == 0) return &worker;
  return strcmp(uri, LV2_STATE__interface) == 0 ? &state : NULL;
}

const LV2_Descriptor test_files_descriptor = {
    "urn:vesk:test:files", instantiate, connect_port, NULL, run, NULL, free, extension_data};
