#include "tests/support/recording_unit.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdarg>
#include <cstdio>
#include <thread>
#if __has_feature(realtime_sanitizer)
#include <sanitizer/rtsan_interface.h>
#endif

namespace {

UnitScript* g_script = nullptr;

/// A unit, beginning with what the host knows of it.
struct RecordingUnit {
  AudioComponentPlugInInterface methods;
  AURenderCallbackStruct input{};
};

RecordingUnit* unit_of(void* self) {
  return static_cast<RecordingUnit*>(self);
}

[[gnu::format(printf, 1, 2)]] void record(const char* format, ...) {
#if __has_feature(realtime_sanitizer)
  // A unit that takes notes is no real-time unit, and what calls it is what the tests look at.
  __rtsan::ScopedDisabler taking_notes;
#endif
  char text[128];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  g_script->calls.emplace_back(text);
}

CFDictionaryRef make_state() {
  CFMutableDictionaryRef state = CFDictionaryCreateMutable(
      nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFStringRef text =
      CFStringCreateWithCString(nullptr, g_script->state_text.c_str(), kCFStringEncodingUTF8);
  CFDictionarySetValue(state, CFSTR("text"), text);
  CFRelease(text);
  return state;
}

void take_state(CFPropertyListRef list) {
  const auto text = static_cast<CFStringRef>(
      CFDictionaryGetValue(static_cast<CFDictionaryRef>(list), CFSTR("text")));
  std::string bytes;
  if (text != nullptr) {
    bytes.resize(static_cast<std::size_t>(
        CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8) + 1));
    CFStringGetCString(text, bytes.data(), static_cast<CFIndex>(bytes.size()),
                       kCFStringEncodingUTF8);
  }
  g_script->state_text = bytes.c_str();
}

OSStatus open_unit(void* self, AudioComponentInstance) {
  record("open");
  std::this_thread::sleep_for(g_script->pause);
  // A unit that cannot be opened is never closed: its block is its own to free.
  if (g_script->open_status != noErr) delete unit_of(self);
  return g_script->open_status;
}

OSStatus close_unit(void* self) {
  record("close");
  g_script->input = unit_of(self)->input;
  delete unit_of(self);
  return noErr;
}

OSStatus initialize(void*) {
  record("initialize");
  std::this_thread::sleep_for(g_script->pause);
  return g_script->initialize_status;
}

OSStatus uninitialize(void*) {
  record("uninitialize");
  return noErr;
}

OSStatus get_property(void*, AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement,
                      void* data, UInt32* size) {
  if (scope != kAudioUnitScope_Global) return kAudioUnitErr_InvalidScope;
  if (id == kAudioUnitProperty_ClassInfo && *size == sizeof(CFPropertyListRef)) {
    std::this_thread::sleep_for(g_script->pause);
    if (g_script->class_info_get_status != noErr) return g_script->class_info_get_status;
    *static_cast<CFPropertyListRef*>(data) = g_script->class_info_is_null ? nullptr : make_state();
    return noErr;
  }
  if (id == kAudioUnitProperty_Latency && *size == sizeof(double)) {
    record("latency");
    *static_cast<double*>(data) = g_script->latency;
    return g_script->latency < 0 ? OSStatus{kAudioUnitErr_InvalidProperty} : OSStatus{noErr};
  }
  return kAudioUnitErr_InvalidProperty;
}

OSStatus set_property(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                      AudioUnitElement element, const void* data, UInt32 size) {
  record("property %u scope %u size %u%s", id, scope, size, element == 0 ? "" : " elsewhere");
  switch (id) {
    case kAudioUnitProperty_StreamFormat:
      if (scope == kAudioUnitScope_Input) return g_script->input_format_status;
      g_script->output_format = *static_cast<const AudioStreamBasicDescription*>(data);
      return g_script->output_format_status;
    case kAudioUnitProperty_SetRenderCallback:
      unit_of(self)->input = *static_cast<const AURenderCallbackStruct*>(data);
      g_script->input = unit_of(self)->input;
      return g_script->callback_status;
    case kAudioUnitProperty_MaximumFramesPerSlice:
      g_script->max_frames = *static_cast<const UInt32*>(data);
      return g_script->max_frames_status;
    case kAudioUnitProperty_ClassInfo:
      std::this_thread::sleep_for(g_script->pause);
      if (g_script->class_info_set_status == noErr)
        take_state(*static_cast<const CFPropertyListRef*>(data));
      return g_script->class_info_set_status;
    case kAUSamplerProperty_LoadInstrument: {
      g_script->sampler_request = *static_cast<const AUSamplerInstrumentData*>(data);
      UInt8 path[1024] = "";
      CFURLGetFileSystemRepresentation(g_script->sampler_request.fileURL, true, path, sizeof path);
      g_script->sampler_path = reinterpret_cast<const char*>(path);
      return g_script->sampler_status;
    }
    default:
      return kAudioUnitErr_InvalidProperty;
  }
}

OSStatus set_parameter(void*, AudioUnitParameterID id, AudioUnitScope scope,
                       AudioUnitElement element, AudioUnitParameterValue value, UInt32 offset) {
  const bool is_usual = scope == kAudioUnitScope_Global && element == 0 && offset == 0;
  record("parameter %u=%g%s", id, static_cast<double>(value), is_usual ? "" : " elsewhere");
  if (g_script->on_parameter) g_script->on_parameter(id);
  return g_script->parameter_status;
}

OSStatus render(void* self, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                UInt32 bus, UInt32 frames, AudioBufferList* data) {
  bool is_usual = bus == 0 && *flags == 0 && data->mNumberBuffers == 2;
  const AudioBuffer* const buffers = data->mBuffers;
  for (UInt32 i = 0; i < data->mNumberBuffers; ++i)
    is_usual &= buffers[i].mNumberChannels == 1 && buffers[i].mDataByteSize == frames * 4;
  record("render %u at %g%s", frames, time->mSampleTime, is_usual ? "" : " otherwise");
  g_script->render_time = *time;
  g_script->input = unit_of(self)->input;
  return g_script->render ? g_script->render(frames, data) : noErr;
}

OSStatus midi(void*, UInt32 status, UInt32 data1, UInt32 data2, UInt32 offset) {
  record("midi %02x %02x %02x at %u", status, data1, data2, offset);
  return noErr;
}

AudioComponentMethod lookup(SInt16 selector) {
  switch (selector) {
    case kAudioUnitInitializeSelect:
      return reinterpret_cast<AudioComponentMethod>(initialize);
    case kAudioUnitUninitializeSelect:
      return reinterpret_cast<AudioComponentMethod>(uninitialize);
    case kAudioUnitGetPropertySelect:
      return reinterpret_cast<AudioComponentMethod>(get_property);
    case kAudioUnitSetPropertySelect:
      return reinterpret_cast<AudioComponentMethod>(set_property);
    case kAudioUnitSetParameterSelect:
      return reinterpret_cast<AudioComponentMethod>(set_parameter);
    case kAudioUnitRenderSelect:
      return reinterpret_cast<AudioComponentMethod>(render);
    case kMusicDeviceMIDIEventSelect:
      return reinterpret_cast<AudioComponentMethod>(midi);
    default:
      return nullptr;
  }
}

AudioComponentPlugInInterface* make_unit(const AudioComponentDescription*) {
  return &(new RecordingUnit{{open_unit, close_unit, lookup, nullptr}})->methods;
}

}  // namespace

UnitScript::UnitScript() {
  [[maybe_unused]] static const bool registered = [] {
    for (const auto& codes : {AudioComponentDescription{'aumu', 'Reco', 'Test', 0, 0},
                              {'aufx', 'Reco', 'Test', 0, 0},
                              {'aumu', 'samp', 'appl', 0, 0}})
      AudioComponentRegister(&codes, CFSTR("Test: Recorder"), 0x10000, make_unit);
    return true;
  }();
  g_script = this;
}

UnitScript::~UnitScript() {
  g_script = nullptr;
}

OSStatus UnitScript::pull_input(AudioUnitRenderActionFlags* flags, UInt32 frames,
                                AudioBufferList* data) {
  return input.inputProc(input.inputProcRefCon, flags, &render_time, 0, frames, data);
}
