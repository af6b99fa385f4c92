#pragma once

/* What the test units have in common: an Audio Unit with one stereo output bus and at most one
 * stereo input bus (of the subtype Mono: with one channel each, and no other), a table of global
 * parameters and a state. A unit's own part is a struct that
 * begins with BasicUnit, and a table of functions. */

#include <AudioUnit/AudioUnit.h>
#include <stdatomic.h>
#include <stdbool.h>

enum { kMaxParameters = 48, kMaxPresets = 8, kMaxListeners = 16, kChannels = 2 };

/* What a unit's own property hooks return to leave a property to the common part. They are asked
 * before it, for every scope; with `data` NULL for the value's size alone. */
enum { kNotHandled = 1 };

typedef struct UnitParameter {
  AudioUnitParameterID id;
  const char* name;
  AudioUnitParameterUnit unit;
  float minimum, maximum, initial;
  const char* const* value_names;  /* for Indexed, maximum - minimum + 1 of them, or NULL */
  AudioUnitParameterOptions flags; /* besides readable, writable and those for the names */
} UnitParameter;

/* A factory preset: a value for each parameter of the table. */
typedef struct UnitPreset {
  const char* name;
  const float* values;
} UnitPreset;

typedef struct BasicUnit BasicUnit;

/* Every function but render may be NULL. */
typedef struct UnitKind {
  size_t size;
  const UnitParameter* parameters;
  UInt32 parameter_count;
  const UnitPreset* presets;
  UInt32 preset_count;

  OSStatus (*open)(BasicUnit*);
  void (*close)(BasicUnit*);
  OSStatus (*initialize)(BasicUnit*);
  void (*uninitialize)(BasicUnit*);
  /* Whether an input callback is given buffers; otherwise its own are read. */
  bool (*offers_input_buffers)(const BasicUnit*) CA_REALTIME_API;
  Float64 (*latency_seconds)(const BasicUnit*);
  OSStatus (*get_property)(BasicUnit*, AudioUnitPropertyID, void* data, UInt32* size);
  OSStatus (*set_property)(BasicUnit*, AudioUnitPropertyID, const void* data, UInt32 size);
  OSStatus (*midi)(BasicUnit*, UInt32 status, UInt32 data1, UInt32 data2,
                   UInt32 offset) CA_REALTIME_API;
  /* `input` is NULL for an instrument. A mono unit's second channel is its first once more. */
  OSStatus (*render)(BasicUnit*, UInt32 frames, float* const input[kChannels],
                     float* const output[kChannels]) CA_REALTIME_API;
} UnitKind;

struct BasicUnit {
  AudioComponentPlugInInterface interface; /* first: what the factory returns */
  const UnitKind* kind;
  AudioComponentDescription description;
  AudioComponentInstance instance;

  _Atomic float values[kMaxParameters]; /* by index in the table */
  AudioStreamBasicDescription format;   /* of every bus */
  UInt32 max_frames;
  UInt32 channels;
  bool has_input; /* is an effect */
  bool initialized;
  AURenderCallbackStruct input_callback;
  SInt32 preset_number;
  CFStringRef preset_name;
  AUPreset factory_presets[kMaxPresets]; /* as many as the kind has */

  struct Listener {
    AudioUnitPropertyID id;
    AudioUnitPropertyListenerProc proc;
    void* user_data;
  } listeners[kMaxListeners];
  UInt32 listener_count;

  float* buffers[2 * kChannels]; /* inputs, then outputs; max_frames each */
};

/* What a component has: instruments, then effects. The factory function of them all is
 * TestUnitFactory. */
extern const UnitKind* const unit_kinds[2];

/* A parameter's present value by its index in the table. */
static inline float value_of(const BasicUnit* unit, UInt32 index) {
  return atomic_load_explicit(&unit->values[index], memory_order_relaxed);
}

/* A parameter's index in the table, or -1. */
int parameter_index(const BasicUnit* unit, AudioUnitParameterID id) CA_REALTIME_API;

/* Keeps a CPU busy for that long. */
void spin_for(double seconds) CA_REALTIME_API;

/* Methods that the sources of the common part share. */
OSStatus unit_get_property_info(void* self, AudioUnitPropertyID, AudioUnitScope, AudioUnitElement,
                                UInt32* size, Boolean* writable);
OSStatus unit_get_property(void* self, AudioUnitPropertyID, AudioUnitScope, AudioUnitElement,
                           void* data, UInt32* size);
OSStatus unit_set_property(void* self, AudioUnitPropertyID, AudioUnitScope, AudioUnitElement,
                           const void* data, UInt32 size);
