#include "basic_unit.h"

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
  for (UInt32 i = 0; i < 2 * kMaxChannels; ++i) {
    free(unit->buffers[i]);
    unit->buffers[i] = NULL;
  }
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
  if (unit->kind->has_input &&
      unit->input_format.mChannelsPerFrame != unit->output_format.mChannelsPerFrame) {
    return kAudioUnitErr_FormatNotSupported;
  }
  const OSStatus status = unit->kind->initialize ? unit->kind->initialize(unit) : noErr;
  if (status != noErr) return status;
  for (UInt32 i = 0; i < 2 * kMaxChannels; ++i)
    unit->buffers[i] = calloc(unit->max_frames ? unit->max_frames : 1, sizeof(float));
  unit->initialized = true;
  return noErr;
}

static OSStatus unit_reset(void* self, AudioUnitScope scope, AudioUnitElement element) {
  BasicUnit* unit = self;
  if (scope != kAudioUnitScope_Global) return kAudioUnitErr_InvalidScope;
  if (element != 0) return kAudioUnitErr_InvalidElement;
  if (unit->kind->reset) unit->kind->reset(unit);
  return noErr;
}

/* Index in the table, or -1. */
static int index_of(const BasicUnit* unit, AudioUnitParameterID id) CA_REALTIME_API {
  for (UInt32 i = 0; i < unit->kind->parameter_count; ++i)
    if (unit->kind->parameters[i].id == id) return (int)i;
  return -1;
}

static OSStatus check_place(AudioUnitScope scope, AudioUnitElement element) CA_REALTIME_API {
  if (scope != kAudioUnitScope_Global) return kAudioUnitErr_InvalidScope;
  return element == 0 ? (OSStatus)noErr : kAudioUnitErr_InvalidElement;
}

static OSStatus unit_get_parameter(void* self, AudioUnitParameterID id, AudioUnitScope scope,
                                   AudioUnitElement element,
                                   AudioUnitParameterValue* value) CA_REALTIME_API {
  const BasicUnit* unit = self;
  const OSStatus status = check_place(scope, element);
  if (status) return status;
  const int index = index_of(unit, id);
  if (index < 0) return kAudioUnitErr_InvalidParameter;
  if (!value) return kAudio_ParamError;
  *value = value_of(unit, (UInt32)index);
  return noErr;
}

static OSStatus unit_set_parameter(void* self, AudioUnitParameterID id, AudioUnitScope scope,
                                   AudioUnitElement element, AudioUnitParameterValue value,
                                   UInt32 offset) CA_REALTIME_API {
  (void)offset;
  BasicUnit* unit = self;
  const OSStatus status = check_place(scope, element);
  if (status) return status;
  const int index = index_of(unit, id);
  if (index < 0) return kAudioUnitErr_InvalidParameter;
  if (!isfinite(value)) return kAudioUnitErr_InvalidParameterValue;
  const UnitParameter* parameter = &unit->kind->parameters[index];
  const float clamped = value < parameter->minimum   ? parameter->minimum
                        : value > parameter->maximum ? parameter->maximum
                                                     : value;
  atomic_store_explicit(&unit->values[index], clamped, memory_order_relaxed);
  if (unit->kind->parameter_set) unit->kind->parameter_set(unit, (UInt32)index, clamped);
  return noErr;
}

static OSStatus unit_schedule_parameters(void* self, const AudioUnitParameterEvent* events,
                                         UInt32 count) CA_REALTIME_API {
  for (UInt32 i = 0; i < count; ++i) {
    if (events[i].eventType != kParameterEvent_Immediate) continue;
    const OSStatus status =
        unit_set_parameter(self, events[i].parameter, events[i].scope, events[i].element,
                           events[i].eventValues.immediate.value, 0);
    if (status) return status;
  }
  return noErr;
}

static OSStatus unit_add_property_listener(void* self, AudioUnitPropertyID id,
                                           AudioUnitPropertyListenerProc proc, void* user_data) {
  BasicUnit* unit = self;
  if (unit->listener_count == kMaxListeners) return kAudio_MemFullError;
  unit->listeners[unit->listener_count].id = id;
  unit->listeners[unit->listener_count].proc = proc;
  unit->listeners[unit->listener_count++].user_data = user_data;
  return noErr;
}

static OSStatus unit_remove_property_listener(void* self, AudioUnitPropertyID id,
                                              AudioUnitPropertyListenerProc proc, void* user_data) {
  BasicUnit* unit = self;
  UInt32 kept = 0;
  for (UInt32 i = 0; i < unit->listener_count; ++i) {
    const bool gone = unit->listeners[i].id == id && unit->listeners[i].proc == proc &&
                      unit->listeners[i].user_data == user_data;
    if (!gone) unit->listeners[kept++] = unit->listeners[i];
  }
  unit->listener_count = kept;
  return noErr;
}

void property_changed(BasicUnit* unit, AudioUnitPropertyID id) {
  for (UInt32 i = 0; i < unit->listener_count; ++i) {
    if (unit->listeners[i].id == id) {
      unit->listeners[i].proc(unit->listeners[i].user_data, unit->instance, id,
                              kAudioUnitScope_Global, 0);
    }
  }
}

static OSStatus unit_add_render_notify(void* self, AURenderCallback proc, void* user_data) {
  BasicUnit* unit = self;
  for (UInt32 i = 0; i < unit->notify_count; ++i)
    if (unit->notifies[i].proc == proc && unit->notifies[i].user_data == user_data) return noErr;
  if (unit->notify_count == kMaxListeners) return kAudio_MemFullError;
  unit->notifies[unit->notify_count].proc = proc;
  unit->notifies[unit->notify_count++].user_data = user_data;
  return noErr;
}

static OSStatus unit_remove_render_notify(void* self, AURenderCallback proc, void* user_data) {
  BasicUnit* unit = self;
  UInt32 kept = 0;
  for (UInt32 i = 0; i < unit->notify_count; ++i) {
    const bool gone = unit->notifies[i].proc == proc && unit->notifies[i].user_data == user_data;
    if (!gone) unit->notifies[kept++] = unit->notifies[i];
  }
  unit->notify_count = kept;
  return noErr;
}

static OSStatus unit_midi_event(void* self, UInt32 status, UInt32 data1, UInt32 data2,
                                UInt32 offset) CA_REALTIME_API {
  BasicUnit* unit = self;
  if (!unit->initialized) return kAudioUnitErr_Uninitialized;
  if (!unit->kind->midi) return kAudio_UnimplementedError;
  return unit->kind->midi(unit, status, data1, data2, offset);
}

static OSStatus pull_input(BasicUnit* unit, AudioUnitRenderActionFlags* flags,
                           const AudioTimeStamp* time, UInt32 frames,
                           StereoBufferList* input) CA_REALTIME_API {
  const UInt32 channels = unit->input_format.mChannelsPerFrame;
  const bool offers = unit->allocates_input && !unit->connection.sourceAudioUnit;
  input->list.mNumberBuffers = channels;
  for (UInt32 i = 0; i < channels; ++i) {
    AudioBuffer* buffer = i == 0 ? &input->list.mBuffers[0] : &input->second;
    buffer->mNumberChannels = 1;
    buffer->mDataByteSize = frames * (UInt32)sizeof(float);
    buffer->mData = offers ? unit->buffers[i] : NULL;
  }
  OSStatus status = kAudioUnitErr_NoConnection;
  if (unit->connection.sourceAudioUnit) {
    status = AudioUnitRender(unit->connection.sourceAudioUnit, flags, time,
                             unit->connection.sourceOutputNumber, frames, &input->list);
  } else if (unit->input_callback.inputProc) {
    status = unit->input_callback.inputProc(unit->input_callback.inputProcRefCon, flags, time, 0,
                                            frames, &input->list);
  }
  if (status) return status;
  const bool complete = input->list.mBuffers[0].mData && (channels < 2 || input->second.mData);
  return complete ? (OSStatus)noErr : kAudioUnitErr_InvalidPropertyValue;
}

static OSStatus render_checked(BasicUnit* unit, AudioUnitRenderActionFlags* flags,
                               const AudioTimeStamp* time, UInt32 frames,
                               AudioBufferList* data) CA_REALTIME_API {
  StereoBufferList input;
  if (unit->kind->has_input) {
    const OSStatus status = pull_input(unit, flags, time, frames, &input);
    if (status) return status;
  }
  const bool own_buffers = data->mBuffers[0].mData == NULL;
  for (UInt32 i = 0; i < data->mNumberBuffers; ++i) {
    AudioBuffer* buffer = &data->mBuffers[i];
    if (own_buffers) buffer->mData = unit->buffers[kMaxChannels + i];
    buffer->mDataByteSize = frames * (UInt32)sizeof(float);
  }
  if (!unit->kind->render) return noErr;
  return unit->kind->render(unit, flags, time, frames, unit->kind->has_input ? &input.list : NULL,
                            data);
}

static OSStatus unit_render(void* self, AudioUnitRenderActionFlags* flags,
                            const AudioTimeStamp* time, UInt32 bus, UInt32 frames,
                            AudioBufferList* data) CA_REALTIME_API {
  BasicUnit* unit = self;
  if (!unit->initialized) return kAudioUnitErr_Uninitialized;
  if (bus != 0) return kAudioUnitErr_InvalidElement;
  if (!time || !data) return kAudio_ParamError;
  if (frames > unit->max_frames) return kAudioUnitErr_TooManyFramesToProcess;
  if (data->mNumberBuffers != unit->output_format.mChannelsPerFrame) return kAudio_ParamError;
  for (UInt32 i = 0; i < data->mNumberBuffers; ++i)
    if (data->mBuffers[i].mData && data->mBuffers[i].mDataByteSize < frames * sizeof(float))
      return kAudio_ParamError;

  AudioUnitRenderActionFlags own_flags = 0;
  if (!flags) flags = &own_flags;
  for (UInt32 i = 0; i < unit->notify_count; ++i) {
    AudioUnitRenderActionFlags before = *flags | kAudioUnitRenderAction_PreRender;
    unit->notifies[i].proc(unit->notifies[i].user_data, &before, time, bus, frames, data);
  }
  const OSStatus status = render_checked(unit, flags, time, frames, data);
  for (UInt32 i = 0; i < unit->notify_count; ++i) {
    AudioUnitRenderActionFlags after = *flags | kAudioUnitRenderAction_PostRender;
    if (status) after |= kAudioUnitRenderAction_PostRenderError;
    unit->notifies[i].proc(unit->notifies[i].user_data, &after, time, bus, frames, data);
  }
  return status;
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
    case kAudioUnitScheduleParametersSelect:
      return (AudioComponentMethod)unit_schedule_parameters;
    case kAudioUnitResetSelect:
      return (AudioComponentMethod)unit_reset;
    case kAudioUnitAddPropertyListenerSelect:
      return (AudioComponentMethod)unit_add_property_listener;
    case kAudioUnitRemovePropertyListenerWithUserDataSelect:
      return (AudioComponentMethod)unit_remove_property_listener;
    case kAudioUnitAddRenderNotifySelect:
      return (AudioComponentMethod)unit_add_render_notify;
    case kAudioUnitRemoveRenderNotifySelect:
      return (AudioComponentMethod)unit_remove_render_notify;
    case kAudioUnitRenderSelect:
      return (AudioComponentMethod)unit_render;
    case kMusicDeviceMIDIEventSelect:
      return (AudioComponentMethod)unit_midi_event;
    default:
      return NULL;
  }
}

static AudioStreamBasicDescription default_format(void) {
  AudioStreamBasicDescription format = {0};
  format.mSampleRate = 44100;
  format.mFormatID = kAudioFormatLinearPCM;
  format.mFormatFlags = kAudioFormatFlagsNativeFloatPacked | kAudioFormatFlagIsNonInterleaved;
  format.mBytesPerPacket = format.mBytesPerFrame = sizeof(float);
  format.mFramesPerPacket = 1;
  format.mChannelsPerFrame = 2;
  format.mBitsPerChannel = 32;
  return format;
}

AudioComponentPlugInInterface* make_unit(const UnitKind* kind,
                                         const AudioComponentDescription* description) {
  BasicUnit* unit = calloc(1, kind->size);
  if (!unit) return NULL;
  unit->interface.Open = unit_open;
  unit->interface.Close = unit_close;
  unit->interface.Lookup = unit_lookup;
  unit->kind = kind;
  unit->description = *description;
  unit->input_format = unit->output_format = default_format();
  unit->max_frames = 1156; /* what units of the field start with */
  unit->allocates_input = kind->offers_input_buffers;
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
