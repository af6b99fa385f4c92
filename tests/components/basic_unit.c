#include "basic_unit.h"

#include <mach/mach_time.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

static void free_unit(BasicUnit* unit) {
  for (UInt32 i = 0; i < unit->kind->preset_count; ++i)
    CFRelease(unit->factory_presets[i].presetName);
  CFRelease(unit->preset_name);
  free(unit);
}

static OSStatus unit_open(void* self, AudioComponentInstance instance) {
  BasicUnit* unit = self;
  unit->instance = instance;
  const OSStatus status = unit->kind->open ? unit->kind->open(unit) : noErr;
  if (status) free_unit(unit);
  return status;
}

static OSStatus unit_uninitialize(void* self) {
  BasicUnit* unit = self;
  if (!unit->initialized) return noErr;
  unit->initialized = false;
  if (unit->kind->uninitialize) unit->kind->uninitialize(unit);
  for (UInt32 i = 0; i < 2 * kChannels; ++i) free(unit->buffers[i]);
  return noErr;
}

static OSStatus unit_close(void* self) {
  BasicUnit* unit = self;
  unit_uninitialize(unit);
  if (unit->kind->close) unit->kind->close(unit);
  free_unit(unit);
  return noErr;
}

static OSStatus unit_initialize(void* self) {
  BasicUnit* unit = self;
  if (unit->initialized) return noErr;
  const OSStatus status = unit->kind->initialize ? unit->kind->initialize(unit) : noErr;
  if (status) return status;
  for (UInt32 i = 0; i < 2 * kChannels; ++i)
    unit->buffers[i] = calloc(unit->max_frames ? unit->max_frames : 1, sizeof(float));
  unit->initialized = true;
  return noErr;
}

int parameter_index(const BasicUnit* unit, AudioUnitParameterID id) CA_REALTIME_API {
  for (UInt32 i = 0; i < unit->kind->parameter_count; ++i)
    if (unit->kind->parameters[i].id == id) return (int)i;
  return -1;
}

static OSStatus unit_get_parameter(void* self, AudioUnitParameterID id, AudioUnitScope scope,
                                   AudioUnitElement element,
                                   AudioUnitParameterValue* value) CA_REALTIME_API {
  (void)element;
  const BasicUnit* unit = self;
  const int index = parameter_index(unit, id);
  if (scope != kAudioUnitScope_Global || index < 0) return kAudioUnitErr_InvalidParameter;
  *value = value_of(unit, (UInt32)index);
  return noErr;
}

static OSStatus unit_set_parameter(void* self, AudioUnitParameterID id, AudioUnitScope scope,
                                   AudioUnitElement element, AudioUnitParameterValue value,
                                   UInt32 offset) CA_REALTIME_API {
  (void)element;
  (void)offset;
  BasicUnit* unit = self;
  const int index = parameter_index(unit, id);
  if (scope != kAudioUnitScope_Global || index < 0) return kAudioUnitErr_InvalidParameter;
  if (!isfinite(value)) return kAudioUnitErr_InvalidParameterValue;
  const UnitParameter* parameter = &unit->kind->parameters[index];
  const float clamped = fminf(fmaxf(value, parameter->minimum), parameter->maximum);
  atomic_store_explicit(&unit->values[index], clamped, memory_order_relaxed);
  return noErr;
}

static OSStatus unit_add_property_listener(void* self, AudioUnitPropertyID id,
                                           AudioUnitPropertyListenerProc proc, void* user_data) {
  BasicUnit* unit = self;
  if (unit->listener_count == kMaxListeners) return kAudio_MemFullError;
  unit->listeners[unit->listener_count++] = (struct Listener){id, proc, user_data};
  return noErr;
}

static OSStatus unit_remove_property_listener(void* self, AudioUnitPropertyID id,
                                              AudioUnitPropertyListenerProc proc, void* user_data) {
  BasicUnit* unit = self;
  UInt32 kept = 0;
  for (UInt32 i = 0; i < unit->listener_count; ++i) {
    const struct Listener each = unit->listeners[i];
    if (each.id != id || each.proc != proc || each.user_data != user_data)
      unit->listeners[kept++] = each;
  }
  unit->listener_count = kept;
  return noErr;
}

void spin_for(double seconds) CA_REALTIME_API {
  mach_timebase_info_data_t base;
  mach_timebase_info(&base);
  const UInt64 start = mach_absolute_time();
  while ((double)(mach_absolute_time() - start) * base.numer / base.denom < 1e9 * seconds) {
  }
}

static OSStatus unit_midi_event(void* self, UInt32 status, UInt32 data1, UInt32 data2,
                                UInt32 offset) CA_REALTIME_API {
  BasicUnit* unit = self;
  if (!unit->initialized) return kAudioUnitErr_Uninitialized;
  return unit->kind->midi ? unit->kind->midi(unit, status, data1, data2, offset) : (OSStatus)noErr;
}

/* Pulls the input; `channels` are the buffers it stands in then. */
static OSStatus pull_input(BasicUnit* unit, AudioUnitRenderActionFlags* flags,
                           const AudioTimeStamp* time, UInt32 frames,
                           float* channels[kChannels]) CA_REALTIME_API {
  if (!unit->input_callback.inputProc) return kAudioUnitErr_NoConnection;
  struct {
    AudioBufferList list;
    AudioBuffer second;
  } input;
  AudioBufferList* list = &input.list;
  const bool offers = unit->kind->offers_input_buffers && unit->kind->offers_input_buffers(unit);
  list->mNumberBuffers = unit->channels;
  for (UInt32 i = 0; i < unit->channels; ++i) {
    list->mBuffers[i].mNumberChannels = 1;
    list->mBuffers[i].mDataByteSize = frames * (UInt32)sizeof(float);
    list->mBuffers[i].mData = offers ? unit->buffers[i] : NULL;
  }
  const OSStatus status = unit->input_callback.inputProc(unit->input_callback.inputProcRefCon,
                                                         flags, time, 0, frames, list);
  for (UInt32 i = 0; i < kChannels; ++i)
    channels[i] = list->mBuffers[i < unit->channels ? i : 0].mData;
  if (status) return status;
  return channels[0] && channels[1] ? (OSStatus)noErr : kAudioUnitErr_InvalidPropertyValue;
}

static OSStatus unit_render(void* self, AudioUnitRenderActionFlags* flags,
                            const AudioTimeStamp* time, UInt32 bus, UInt32 frames,
                            AudioBufferList* data) CA_REALTIME_API {
  BasicUnit* unit = self;
  if (!unit->initialized) return kAudioUnitErr_Uninitialized;
  if (frames > unit->max_frames) return kAudioUnitErr_TooManyFramesToProcess;
  if (bus != 0 || data->mNumberBuffers != unit->channels) return kAudio_ParamError;

  float* input[kChannels];
  float* output[kChannels];
  AudioUnitRenderActionFlags own_flags = 0;
  if (unit->has_input) {
    const OSStatus status = pull_input(unit, flags ? flags : &own_flags, time, frames, input);
    if (status) return status;
  }
  for (UInt32 i = 0; i < kChannels; ++i) {
    AudioBuffer* buffer = &data->mBuffers[i < unit->channels ? i : 0];
    if (!buffer->mData) buffer->mData = unit->buffers[kChannels + i];
    buffer->mDataByteSize = frames * (UInt32)sizeof(float);
    output[i] = buffer->mData;
  }
  return unit->kind->render(unit, frames, unit->has_input ? input : NULL, output);
}

static AudioComponentMethod unit_lookup(SInt16 selector) {
  switch (selector) {
    case kAudioUnitInitializeSelect:
      return (AudioComponentMethod)unit_initialize;
    case kAudioUnitUninitializeSelect:
      return (AudioComponentMethod)unit_uninitialize;
    case kAudioUnitGetPropertyInfoSelect:
      return (AudioComponentMethod)unit_get_property_info;
    case kAudioUnitGetPropertySelect:
      return (AudioComponentMethod)unit_get_property;
    case kAudioUnitSetPropertySelect:
      return (AudioComponentMethod)unit_set_property;
    case kAudioUnitGetParameterSelect:
      return (AudioComponentMethod)unit_get_parameter;
    case kAudioUnitSetParameterSelect:
      return (AudioComponentMethod)unit_set_parameter;
    case kAudioUnitAddPropertyListenerSelect:
      return (AudioComponentMethod)unit_add_property_listener;
    case kAudioUnitRemovePropertyListenerWithUserDataSelect:
      return (AudioComponentMethod)unit_remove_property_listener;
    case kAudioUnitRenderSelect:
      return (AudioComponentMethod)unit_render;
    case kMusicDeviceMIDIEventSelect:
      return (AudioComponentMethod)unit_midi_event;
    default:
      return NULL;
  }
}

__attribute__((visibility("default"))) AudioComponentPlugInInterface* TestUnitFactory(
    const AudioComponentDescription* description);

AudioComponentPlugInInterface* TestUnitFactory(const AudioComponentDescription* description) {
  const bool is_effect = description->componentType == kAudioUnitType_Effect;
  const UnitKind* kind = unit_kinds[is_effect];
  BasicUnit* unit = calloc(1, kind->size);
  if (!unit) return NULL;
  unit->interface.Open = unit_open;
  unit->interface.Close = unit_close;
  unit->interface.Lookup = unit_lookup;
  unit->kind = kind;
  unit->description = *description;
  unit->channels = description->componentSubType == 'Mono' ? 1 : kChannels;
  unit->has_input = is_effect;
  unit->format = (AudioStreamBasicDescription){
      .mSampleRate = 44100,
      .mFormatID = kAudioFormatLinearPCM,
      .mFormatFlags = kAudioFormatFlagsNativeFloatPacked | kAudioFormatFlagIsNonInterleaved,
      .mBytesPerPacket = sizeof(float),
      .mFramesPerPacket = 1,
      .mBytesPerFrame = sizeof(float),
      .mChannelsPerFrame = unit->channels,
      .mBitsPerChannel = 32,
  };
  unit->max_frames = 1156; /* what units of the field start with */
  unit->preset_number = -1;
  unit->preset_name = CFSTR("Untitled");
  for (UInt32 i = 0; i < kind->preset_count; ++i) {
    unit->factory_presets[i].presetNumber = (SInt32)i;
    unit->factory_presets[i].presetName = CFStringCreateWithCString(
        kCFAllocatorDefault, kind->presets[i].name, kCFStringEncodingUTF8);
  }
  for (UInt32 i = 0; i < kind->parameter_count; ++i)
    atomic_init(&unit->values[i], kind->parameters[i].initial);
  return &unit->interface;
}
