/* aumu:Pluk:Exmp, a plucked string: a complete Audio Unit in plain C. This file is the Audio Unit,
 * plucked_strings.c the sound, PluckView.mm the editor. */

#define _GNU_SOURCE /* dladdr */
#include "pluck.h"

#include <AudioUnit/AudioUnit.h>
#include <dlfcn.h>
#include <math.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "plucked_strings.h"

typedef struct Parameter {
  const char* name;
  AudioUnitParameterUnit unit;
  float minimum, maximum, initial;
  AudioUnitParameterOptions flags;
} Parameter;

static const Parameter kParameters[kParameterCount] = {
    [kDecay] = {"Decay", kAudioUnitParameterUnit_Seconds, 0.1f, 10, 3,
                kAudioUnitParameterFlag_DisplayLogarithmic},
    [kBrightness] = {"Brightness", kAudioUnitParameterUnit_Percent, 0, 100, 50, 0},
    [kGain] = {"Gain", kAudioUnitParameterUnit_Decibels, -40, 6, -6, 0},
};

typedef struct Pluck {
  /* First: what the factory returns is this. */
  AudioComponentPlugInInterface interface;
  AudioComponentDescription description;
  /* Set by the main thread and by automation, read by the render thread: each value whole. */
  _Atomic float values[kParameterCount];
  AudioStreamBasicDescription format;
  UInt32 max_frames;
  bool initialized;
  Strings strings;
  float* output; /* for callers that bring no buffers */
} Pluck;

/* ---- Parameters: any thread ---- */

static OSStatus check_parameter(AudioUnitParameterID id, AudioUnitScope scope,
                                AudioUnitElement element) CA_REALTIME_API {
  if (scope != kAudioUnitScope_Global) return kAudioUnitErr_InvalidScope;
  if (element != 0) return kAudioUnitErr_InvalidElement;
  return id < kParameterCount ? (OSStatus)noErr : kAudioUnitErr_InvalidParameter;
}

static OSStatus get_parameter(void* self, AudioUnitParameterID id, AudioUnitScope scope,
                              AudioUnitElement element,
                              AudioUnitParameterValue* value) CA_REALTIME_API {
  const OSStatus status = check_parameter(id, scope, element);
  if (status) return status;
  *value = atomic_load_explicit(&((Pluck*)self)->values[id], memory_order_relaxed);
  return noErr;
}

static OSStatus set_parameter(void* self, AudioUnitParameterID id, AudioUnitScope scope,
                              AudioUnitElement element, AudioUnitParameterValue value,
                              UInt32 offset) CA_REALTIME_API {
  (void)offset; /* takes effect with the next render */
  const OSStatus status = check_parameter(id, scope, element);
  if (status) return status;
  if (!isfinite(value)) return kAudioUnitErr_InvalidParameterValue;
  const Parameter* parameter = &kParameters[id];
  if (value < parameter->minimum) value = parameter->minimum;
  if (value > parameter->maximum) value = parameter->maximum;
  atomic_store_explicit(&((Pluck*)self)->values[id], value, memory_order_relaxed);
  return noErr;
}

static void fill_parameter_info(const Parameter* parameter, AudioUnitParameterInfo* info) {
  memset(info, 0, sizeof *info);
  strncpy(info->name, parameter->name, sizeof info->name - 1);
  /* The reader releases the string, as the flag says. */
  info->cfNameString =
      CFStringCreateWithCString(kCFAllocatorDefault, parameter->name, kCFStringEncodingUTF8);
  info->unit = parameter->unit;
  info->minValue = parameter->minimum;
  info->maxValue = parameter->maximum;
  info->defaultValue = parameter->initial;
  info->flags = kAudioUnitParameterFlag_IsReadable | kAudioUnitParameterFlag_IsWritable |
                kAudioUnitParameterFlag_HasCFNameString | kAudioUnitParameterFlag_CFNameRelease |
                parameter->flags;
}

/* ---- State: what a preset file holds ---- */

static void set_number(CFMutableDictionaryRef dictionary, CFStringRef key, CFNumberType type,
                       const void* value) {
  CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, type, value);
  CFDictionarySetValue(dictionary, key, number);
  CFRelease(number);
}

static CFMutableDictionaryRef new_dictionary(void) {
  return CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                   &kCFTypeDictionaryValueCallBacks);
}

/* The five keys that every state has, and the parameters under a key of our own, by name: a later
 * version may number them otherwise. */
static CFPropertyListRef copy_state(Pluck* pluck) {
  CFMutableDictionaryRef values = new_dictionary();
  for (int i = 0; i < kParameterCount; ++i) {
    const float value = atomic_load(&pluck->values[i]);
    CFStringRef name =
        CFStringCreateWithCString(kCFAllocatorDefault, kParameters[i].name, kCFStringEncodingUTF8);
    set_number(values, name, kCFNumberFloat32Type, &value);
    CFRelease(name);
  }
  CFMutableDictionaryRef state = new_dictionary();
  const SInt32 version = 0;
  set_number(state, CFSTR(kAUPresetVersionKey), kCFNumberSInt32Type, &version);
  set_number(state, CFSTR(kAUPresetTypeKey), kCFNumberSInt32Type,
             &pluck->description.componentType);
  set_number(state, CFSTR(kAUPresetSubtypeKey), kCFNumberSInt32Type,
             &pluck->description.componentSubType);
  set_number(state, CFSTR(kAUPresetManufacturerKey), kCFNumberSInt32Type,
             &pluck->description.componentManufacturer);
  CFDictionarySetValue(state, CFSTR(kAUPresetNameKey), CFSTR("Untitled"));
  CFDictionarySetValue(state, CFSTR("parameters"), values);
  CFRelease(values);
  return state;
}

static bool number_is(CFDictionaryRef dictionary, CFStringRef key, UInt32 wanted) {
  CFTypeRef number = CFDictionaryGetValue(dictionary, key);
  SInt32 value = 0;
  return number && CFGetTypeID(number) == CFNumberGetTypeID() &&
         CFNumberGetValue(number, kCFNumberSInt32Type, &value) && (UInt32)value == wanted;
}

/* A file may hold anything, so every type is looked at; another unit's state is refused. */
static OSStatus restore_state(Pluck* pluck, CFPropertyListRef list) {
  if (!list || CFGetTypeID(list) != CFDictionaryGetTypeID() ||
      !number_is(list, CFSTR(kAUPresetSubtypeKey), pluck->description.componentSubType) ||
      !number_is(list, CFSTR(kAUPresetManufacturerKey), pluck->description.componentManufacturer)) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  CFTypeRef values = CFDictionaryGetValue(list, CFSTR("parameters"));
  if (!values || CFGetTypeID(values) != CFDictionaryGetTypeID())
    return kAudioUnitErr_InvalidPropertyValue;
  for (AudioUnitParameterID id = 0; id < kParameterCount; ++id) {
    CFStringRef name =
        CFStringCreateWithCString(kCFAllocatorDefault, kParameters[id].name, kCFStringEncodingUTF8);
    CFTypeRef number = CFDictionaryGetValue(values, name);
    CFRelease(name);
    float value = 0;
    if (number && CFGetTypeID(number) == CFNumberGetTypeID() &&
        CFNumberGetValue(number, kCFNumberFloat32Type, &value)) {
      set_parameter(pluck, id, kAudioUnitScope_Global, 0, value, 0);
    }
  }
  return noErr;
}

/* ---- The editor ---- */

/* The bundle of the view stands in this component's Resources; its code, and with it the window
 * libraries, is loaded only when somebody wants to see it. */
static OSStatus copy_cocoa_view(AudioUnitCocoaViewInfo* info) {
  Dl_info image;
  char path[4096];
  if (!dladdr((void*)copy_cocoa_view, &image)) return kAudioUnitErr_InvalidProperty;
  const char* slash = strrchr(image.dli_fname, '/');
  const int folder = slash ? (int)(slash - image.dli_fname) : 1;
  const int length = snprintf(path, sizeof path, "%.*s/Resources/" PLUCK_VIEW_BUNDLE, folder,
                              slash ? image.dli_fname : ".");
  if (length < 0 || (size_t)length >= sizeof path) return kAudioUnitErr_InvalidProperty;
  info->mCocoaAUViewBundleLocation =
      CFURLCreateFromFileSystemRepresentation(kCFAllocatorDefault, (UInt8*)path, length, true);
  /* A reference of the reader's own, as of the URL: it releases both. */
  info->mCocoaAUViewClass[0] =
      CFStringCreateWithCString(kCFAllocatorDefault, PLUCK_VIEW_CLASS, kCFStringEncodingUTF8);
  return noErr;
}

/* ---- Properties: main thread ---- */

static OSStatus get_property_info(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                                  AudioUnitElement element, UInt32* size, Boolean* writable) {
  (void)self;
  static const struct {
    AudioUnitPropertyID id;
    AudioUnitScope scope;
    UInt32 size;
    Boolean writable;
  } properties[] = {
      {kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, sizeof(AudioStreamBasicDescription),
       true},
      {kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, sizeof(UInt32), true},
      {kAudioUnitProperty_ElementCount, kAudioUnitScope_Output, sizeof(UInt32), false},
      {kAudioUnitProperty_SupportedNumChannels, kAudioUnitScope_Global, sizeof(AUChannelInfo),
       false},
      {kAudioUnitProperty_ParameterList, kAudioUnitScope_Global,
       kParameterCount * sizeof(AudioUnitParameterID), false},
      {kAudioUnitProperty_ParameterInfo, kAudioUnitScope_Global, sizeof(AudioUnitParameterInfo),
       false},
      {kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, sizeof(CFPropertyListRef), true},
      {kAudioUnitProperty_CocoaUI, kAudioUnitScope_Global, sizeof(AudioUnitCocoaViewInfo), false},
  };
  for (size_t i = 0; i < sizeof properties / sizeof properties[0]; ++i) {
    if (properties[i].id != id) continue;
    if (properties[i].scope != scope) return kAudioUnitErr_InvalidScope;
    const UInt32 elements = id == kAudioUnitProperty_ParameterInfo ? kParameterCount : 1;
    if (element >= elements) return kAudioUnitErr_InvalidElement;
    if (size) *size = properties[i].size;
    if (writable) *writable = properties[i].writable;
    return noErr;
  }
  return kAudioUnitErr_InvalidProperty;
}

static OSStatus get_property(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                             AudioUnitElement element, void* data, UInt32* size) {
  Pluck* pluck = self;
  UInt32 needed = 0;
  const OSStatus status = get_property_info(self, id, scope, element, &needed, NULL);
  if (status) return status;
  if (data && *size < needed) return kAudioUnitErr_InvalidPropertyValue;
  *size = needed;
  if (!data) return noErr;
  switch (id) {
    case kAudioUnitProperty_StreamFormat:
      *(AudioStreamBasicDescription*)data = pluck->format;
      return noErr;
    case kAudioUnitProperty_MaximumFramesPerSlice:
      *(UInt32*)data = pluck->max_frames;
      return noErr;
    case kAudioUnitProperty_ElementCount:
      *(UInt32*)data = 1;
      return noErr;
    case kAudioUnitProperty_SupportedNumChannels:
      *(AUChannelInfo*)data = (AUChannelInfo){.inChannels = 0, .outChannels = 2};
      return noErr;
    case kAudioUnitProperty_ParameterList:
      for (AudioUnitParameterID i = 0; i < kParameterCount; ++i)
        ((AudioUnitParameterID*)data)[i] = i;
      return noErr;
    case kAudioUnitProperty_ParameterInfo:
      fill_parameter_info(&kParameters[element], data);
      return noErr;
    case kAudioUnitProperty_ClassInfo:
      *(CFPropertyListRef*)data = copy_state(pluck);
      return noErr;
    default:
      return copy_cocoa_view(data);
  }
}

static OSStatus set_format(Pluck* pluck, const AudioStreamBasicDescription* format) {
  const AudioFormatFlags wanted =
      kAudioFormatFlagsNativeFloatPacked | kAudioFormatFlagIsNonInterleaved;
  if (pluck->initialized) return kAudioUnitErr_Initialized;
  if (format->mFormatID != kAudioFormatLinearPCM || (format->mFormatFlags & wanted) != wanted ||
      format->mBitsPerChannel != 32 || format->mChannelsPerFrame != 2 ||
      !(format->mSampleRate >= 8000 && format->mSampleRate <= 400000)) {
    return kAudioUnitErr_FormatNotSupported;
  }
  pluck->format = *format;
  return noErr;
}

static OSStatus set_property(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                             AudioUnitElement element, const void* data, UInt32 size) {
  Pluck* pluck = self;
  UInt32 needed = 0;
  Boolean writable = false;
  const OSStatus status = get_property_info(self, id, scope, element, &needed, &writable);
  if (status) return status;
  if (!writable) return kAudioUnitErr_PropertyNotWritable;
  if (!data || size < needed) return kAudioUnitErr_InvalidPropertyValue;
  switch (id) {
    case kAudioUnitProperty_StreamFormat:
      return set_format(pluck, data);
    case kAudioUnitProperty_MaximumFramesPerSlice:
      if (pluck->initialized) return kAudioUnitErr_Initialized;
      pluck->max_frames = *(const UInt32*)data;
      return noErr;
    default:
      return restore_state(pluck, *(const CFPropertyListRef*)data);
  }
}

/* ---- Sound: the render thread, but for the first three ---- */

static OSStatus initialize(void* self) {
  Pluck* pluck = self;
  if (pluck->initialized) return noErr;
  pluck->output = calloc(pluck->max_frames + 1, sizeof(float));
  if (!pluck->output) return kAudio_MemFullError;
  if (!strings_allocate(&pluck->strings, pluck->format.mSampleRate)) {
    free(pluck->output);
    pluck->output = NULL;
    return kAudio_MemFullError;
  }
  pluck->initialized = true;
  return noErr;
}

static OSStatus uninitialize(void* self) {
  Pluck* pluck = self;
  if (!pluck->initialized) return noErr;
  pluck->initialized = false;
  strings_free(&pluck->strings);
  free(pluck->output);
  pluck->output = NULL;
  return noErr;
}

static OSStatus reset(void* self, AudioUnitScope scope, AudioUnitElement element) {
  (void)scope;
  (void)element;
  strings_reset(&((Pluck*)self)->strings);
  return noErr;
}

static OSStatus midi_event(void* self, UInt32 status, UInt32 data1, UInt32 data2,
                           UInt32 offset) CA_REALTIME_API {
  Pluck* pluck = self;
  if (!pluck->initialized) return kAudioUnitErr_Uninitialized;
  strings_take_midi(&pluck->strings, status, data1, data2, offset);
  return noErr;
}

/* 10^(decibels / 20) for -40..6, by squaring; good to a tenth of a decibel. */
static float linear_of(float decibels) CA_REALTIME_API {
  float base = 1 + decibels * (0.11512925f / 1024);
  for (int i = 0; i < 10; ++i) base *= base;
  return base;
}

static OSStatus render(void* self, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                       UInt32 bus, UInt32 frames, AudioBufferList* data) CA_REALTIME_API {
  (void)flags;
  (void)time;
  Pluck* pluck = self;
  if (!pluck->initialized) return kAudioUnitErr_Uninitialized;
  if (bus != 0) return kAudioUnitErr_InvalidElement;
  if (frames > pluck->max_frames) return kAudioUnitErr_TooManyFramesToProcess;
  if (data->mNumberBuffers != 2) return kAudio_ParamError;
  const float decay = atomic_load_explicit(&pluck->values[kDecay], memory_order_relaxed);
  const float percent = atomic_load_explicit(&pluck->values[kBrightness], memory_order_relaxed);
  const float decibels = atomic_load_explicit(&pluck->values[kGain], memory_order_relaxed);
  strings_render(&pluck->strings, decay, percent / 100, linear_of(decibels), pluck->output, frames);
  for (UInt32 channel = 0; channel < 2; ++channel) {
    AudioBuffer* buffer = &data->mBuffers[channel];
    if (buffer->mData)
      memcpy(buffer->mData, pluck->output, frames * sizeof(float));
    else
      buffer->mData = pluck->output;
    buffer->mDataByteSize = frames * (UInt32)sizeof(float);
  }
  return noErr;
}

/* ---- The component ---- */

static OSStatus open_unit(void* self, AudioComponentInstance instance) {
  (void)self;
  (void)instance;
  return noErr;
}

static OSStatus close_unit(void* self) {
  uninitialize(self);
  free(self);
  return noErr;
}

static AudioComponentMethod lookup(SInt16 selector) {
  switch (selector) {
    case kAudioUnitInitializeSelect:
      return (AudioComponentMethod)initialize;
    case kAudioUnitUninitializeSelect:
      return (AudioComponentMethod)uninitialize;
    case kAudioUnitGetPropertyInfoSelect:
      return (AudioComponentMethod)get_property_info;
    case kAudioUnitGetPropertySelect:
      return (AudioComponentMethod)get_property;
    case kAudioUnitSetPropertySelect:
      return (AudioComponentMethod)set_property;
    case kAudioUnitGetParameterSelect:
      return (AudioComponentMethod)get_parameter;
    case kAudioUnitSetParameterSelect:
      return (AudioComponentMethod)set_parameter;
    case kAudioUnitResetSelect:
      return (AudioComponentMethod)reset;
    case kAudioUnitRenderSelect:
      return (AudioComponentMethod)render;
    case kMusicDeviceMIDIEventSelect:
      return (AudioComponentMethod)midi_event;
    default:
      return NULL;
  }
}

__attribute__((visibility("default"))) AudioComponentPlugInInterface* PluckFactory(
    const AudioComponentDescription* description) {
  Pluck* pluck = calloc(1, sizeof *pluck);
  if (!pluck) return NULL;
  pluck->interface.Open = open_unit;
  pluck->interface.Close = close_unit;
  pluck->interface.Lookup = lookup;
  pluck->description = *description;
  pluck->format = (AudioStreamBasicDescription){
      .mSampleRate = 44100,
      .mFormatID = kAudioFormatLinearPCM,
      .mFormatFlags = kAudioFormatFlagsNativeFloatPacked | kAudioFormatFlagIsNonInterleaved,
      .mBytesPerPacket = sizeof(float),
      .mFramesPerPacket = 1,
      .mBytesPerFrame = sizeof(float),
      .mChannelsPerFrame = 2,
      .mBitsPerChannel = 32,
  };
  pluck->max_frames = 1156; /* what hosts expect that set nothing */
  for (int i = 0; i < kParameterCount; ++i) atomic_init(&pluck->values[i], kParameters[i].initial);
  return &pluck->interface;
}
