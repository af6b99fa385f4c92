#include "platform/linux/audio_toolbox/mono_unit.hpp"

#include <AudioToolbox/AudioUnitProperties.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

#include "platform/linux/audio_toolbox/component.hpp"

namespace vesk::platform {
namespace {

constexpr UInt32 channels = 2;

struct StereoUnit;

/// One of the mono units: all of an instrument, the half of an effect that has one channel.
struct Half {
  StereoUnit* whole;
  UInt32 channel;
  AudioComponentPlugInInterface* interface;
  ComponentMethods methods;
};

struct StereoList {
  AudioBufferList list;
  AudioBuffer second;
};

struct StereoUnit {
  AudioComponentPlugInInterface interface;  // first: what callers hold; only its Close is called
  Half halves[channels];
  UInt32 count = 0;
  AURenderCallbackStruct input = {};
  UInt32 max_frames = 1156;  // what units start with

  // Render thread, but for their size.
  std::vector<float> buffers[channels];
  StereoList pulled = {};
  bool has_pulled = false;
  OSStatus pull_status = noErr;
};

StereoUnit& whole(void* self) CA_REALTIME_API {
  return *static_cast<StereoUnit*>(self);
}

/// The same call to each half; the first failure is the answer.
template <auto Method, typename... Arguments>
VESK_CALLS_COMPONENT OSStatus call_each(void* self, Arguments... arguments) {
  const StereoUnit& unit = whole(self);
  for (UInt32 i = 0; i < unit.count; ++i) {
    const Half& half = unit.halves[i];
    const OSStatus status = (half.methods.*Method)(half.interface, arguments...);
    if (status != noErr) return status;
  }
  return noErr;
}

template <auto Method, typename... Arguments>
VESK_CALLS_COMPONENT OSStatus call_each_realtime(void* self,
                                                 Arguments... arguments) CA_REALTIME_API {
  const StereoUnit& unit = whole(self);
  for (UInt32 i = 0; i < unit.count; ++i) {
    const Half& half = unit.halves[i];
    const OSStatus status = (half.methods.*Method)(half.interface, arguments...);
    if (status != noErr) return status;
  }
  return noErr;
}

/// The call to the first half, which speaks for both: they hear the same of their host.
template <auto Method, typename... Arguments>
VESK_CALLS_COMPONENT OSStatus ask_first(void* self, Arguments... arguments) {
  const Half& half = whole(self).halves[0];
  return (half.methods.*Method)(half.interface, arguments...);
}

template <auto Method, typename... Arguments>
VESK_CALLS_COMPONENT OSStatus ask_first_realtime(void* self,
                                                 Arguments... arguments) CA_REALTIME_API {
  const Half& half = whole(self).halves[0];
  return (half.methods.*Method)(half.interface, arguments...);
}

// Properties

using Methods = ComponentMethods;

OSStatus get_property_info(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                           AudioUnitElement element, UInt32* size, Boolean* writable) {
  const OSStatus status =
      ask_first<&Methods::get_property_info>(self, id, scope, element, size, writable);
  if (status == noErr && id == kAudioUnitProperty_SupportedNumChannels && size != nullptr)
    *size = sizeof(AUChannelInfo);
  return status;
}

OSStatus get_property(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                      AudioUnitElement element, void* data, UInt32* size) {
  if (id == kAudioUnitProperty_SupportedNumChannels && size != nullptr && data != nullptr) {
    if (*size < sizeof(AUChannelInfo)) return kAudioUnitErr_InvalidPropertyValue;
    const bool is_effect = whole(self).count == channels;
    const AUChannelInfo stereo = {static_cast<SInt16>(is_effect ? channels : 0), channels};
    std::memcpy(data, &stereo, *size = sizeof stereo);
    return noErr;
  }
  const OSStatus status = ask_first<&Methods::get_property>(self, id, scope, element, data, size);
  if (status == noErr && id == kAudioUnitProperty_StreamFormat && data != nullptr)
    static_cast<AudioStreamBasicDescription*>(data)->mChannelsPerFrame = channels;
  return status;
}

OSStatus set_format(void* self, AudioUnitScope scope, AudioUnitElement element, const void* data) {
  auto format = *static_cast<const AudioStreamBasicDescription*>(data);
  if (format.mChannelsPerFrame != channels) return kAudioUnitErr_FormatNotSupported;
  format.mChannelsPerFrame = 1;
  return call_each<&Methods::set_property>(self, kAudioUnitProperty_StreamFormat, scope, element,
                                           static_cast<const void*>(&format),
                                           UInt32{sizeof format});
}

/// Gets the caller's input for both channels, once a period.
void pull(StereoUnit& unit, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
          UInt32 frames) CA_REALTIME_API {
  AudioBufferList& list = unit.pulled.list;
  list.mNumberBuffers = channels;
  for (UInt32 i = 0; i < channels; ++i)
    list.mBuffers[i] = {1, frames * UInt32{sizeof(float)}, unit.buffers[i].data()};
  unit.has_pulled = true;
  unit.pull_status =
      frames > unit.buffers[0].size() ? OSStatus{kAudioUnitErr_TooManyFramesToProcess}
      : unit.input.inputProc == nullptr
          ? OSStatus{kAudioUnitErr_NoConnection}
          : unit.input.inputProc(unit.input.inputProcRefCon, flags, time, 0, frames, &list);
}

OSStatus give_channel(void* context, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                      UInt32, UInt32 frames, AudioBufferList* wanted) CA_REALTIME_API {
  const Half& half = *static_cast<const Half*>(context);
  StereoUnit& unit = *half.whole;
  if (!unit.has_pulled) pull(unit, flags, time, frames);
  if (unit.pull_status != noErr) return unit.pull_status;
  const AudioBuffer& input = unit.pulled.list.mBuffers[half.channel];
  AudioBuffer& buffer = wanted->mBuffers[0];
  if (buffer.mData == nullptr)
    buffer.mData = input.mData;
  else if (buffer.mData != input.mData)
    std::memcpy(buffer.mData, input.mData, frames * sizeof(float));
  buffer.mDataByteSize = frames * UInt32{sizeof(float)};
  return noErr;
}

VESK_CALLS_COMPONENT OSStatus set_input(void* self, AudioUnitScope scope, AudioUnitElement element,
                                        const void* data) {
  StereoUnit& unit = whole(self);
  for (Half& half : unit.halves) {
    const AURenderCallbackStruct callback = {give_channel, &half};
    const OSStatus status =
        half.methods.set_property(half.interface, kAudioUnitProperty_SetRenderCallback, scope,
                                  element, &callback, sizeof callback);
    if (status != noErr) return status;
  }
  unit.input = *static_cast<const AURenderCallbackStruct*>(data);
  return noErr;
}

OSStatus set_property(void* self, AudioUnitPropertyID id, AudioUnitScope scope,
                      AudioUnitElement element, const void* data, UInt32 size) {
  if (id == kAudioUnitProperty_StreamFormat && data != nullptr &&
      size >= sizeof(AudioStreamBasicDescription))
    return set_format(self, scope, element, data);
  if (id == kAudioUnitProperty_SetRenderCallback && data != nullptr &&
      size >= sizeof(AURenderCallbackStruct) && whole(self).count == channels)
    return set_input(self, scope, element, data);
  if (id == kAudioUnitProperty_MakeConnection) return kAudioUnitErr_InvalidProperty;
  const OSStatus status = call_each<&Methods::set_property>(self, id, scope, element, data, size);
  if (status == noErr && id == kAudioUnitProperty_MaximumFramesPerSlice)
    whole(self).max_frames = *static_cast<const UInt32*>(data);
  return status;
}

// Life

OSStatus uninitialize(void* self) {
  return call_each<&Methods::uninitialize>(self);
}

OSStatus initialize(void* self) {
  StereoUnit& unit = whole(self);
  if (unit.count == channels)
    for (std::vector<float>& buffer : unit.buffers) buffer.assign(unit.max_frames, 0);
  const OSStatus status = call_each<&Methods::initialize>(self);
  // One half alone is of no use; a half that was not initialised takes this as well.
  if (status != noErr) uninitialize(self);
  return status;
}

VESK_CALLS_COMPONENT OSStatus close(void* self) {
  const std::unique_ptr<StereoUnit> unit(static_cast<StereoUnit*>(self));
  OSStatus status = noErr;
  for (UInt32 i = unit->count; i-- > 0;)
    status = unit->halves[i].interface->Close(unit->halves[i].interface);
  return status;
}

// Rendering

VESK_CALLS_COMPONENT OSStatus render(void* self, AudioUnitRenderActionFlags* flags,
                                     const AudioTimeStamp* time, UInt32 bus, UInt32 frames,
                                     AudioBufferList* data) CA_REALTIME_API {
  StereoUnit& unit = whole(self);
  if (data == nullptr || data->mNumberBuffers != channels) return kAudio_ParamError;
  unit.has_pulled = false;
  AudioUnitRenderActionFlags all = 0, silent = kAudioUnitRenderAction_OutputIsSilence;
  for (UInt32 i = 0; i < unit.count; ++i) {
    AudioUnitRenderActionFlags own = flags != nullptr ? *flags : 0;
    AudioBufferList one = {1, {data->mBuffers[i]}};
    const OSStatus status =
        unit.halves[i].methods.render(unit.halves[i].interface, &own, time, bus, frames, &one);
    if (status != noErr) return status;
    data->mBuffers[i] = one.mBuffers[0];
    all |= own;
    silent &= own;
  }
  if (flags != nullptr)
    *flags = (all & ~AudioUnitRenderActionFlags{kAudioUnitRenderAction_OutputIsSilence}) | silent;
  if (unit.count == channels) return noErr;
  const AudioBuffer& first = data->mBuffers[0];
  AudioBuffer& second = data->mBuffers[1];
  second.mDataByteSize = first.mDataByteSize;
  if (second.mData == nullptr)
    second.mData = first.mData;
  else
    std::memcpy(second.mData, first.mData, first.mDataByteSize);
  return noErr;
}

/// What the stereo unit answers to, as far as the mono one does.
ComponentMethods stereo_methods(const ComponentMethods& mono, bool is_effect) {
  ComponentMethods methods{};
  const auto offer = [&]<typename Proc>(Proc ComponentMethods::* method,
                                        std::type_identity_t<Proc> proc) {
    if (mono.*method != nullptr) methods.*method = proc;
  };
  offer(&Methods::render, render);
  offer(&Methods::midi_event, call_each_realtime<&Methods::midi_event>);
  offer(&Methods::get_parameter, ask_first_realtime<&Methods::get_parameter>);
  offer(&Methods::set_parameter, call_each_realtime<&Methods::set_parameter>);
  offer(&Methods::schedule_parameters, call_each_realtime<&Methods::schedule_parameters>);
  offer(&Methods::sys_ex, call_each_realtime<&Methods::sys_ex>);
  if (!is_effect) {
    // Two halves would give two numbers to one note.
    offer(&Methods::start_note, ask_first_realtime<&Methods::start_note>);
    offer(&Methods::stop_note, ask_first_realtime<&Methods::stop_note>);
  }
  offer(&Methods::initialize, initialize);
  offer(&Methods::uninitialize, uninitialize);
  offer(&Methods::get_property_info, get_property_info);
  offer(&Methods::get_property, get_property);
  offer(&Methods::set_property, set_property);
  offer(&Methods::add_property_listener, ask_first<&Methods::add_property_listener>);
  offer(&Methods::remove_property_listener_with_user_data,
        ask_first<&Methods::remove_property_listener_with_user_data>);
  offer(&Methods::reset, call_each<&Methods::reset>);
  return methods;
}

/// The channels that the unit says it can have; empty when it does not say.
VESK_CALLS_COMPONENT std::vector<AUChannelInfo> supported_channels(
    const ComponentInstanceRecord& unit) {
  const ComponentMethods& methods = unit.methods;
  if (!methods.get_property || !methods.get_property_info || !methods.set_property ||
      !methods.initialize || !methods.uninitialize || !methods.render)
    return {};
  UInt32 size = 0;
  if (methods.get_property_info(unit.interface, kAudioUnitProperty_SupportedNumChannels,
                                kAudioUnitScope_Global, 0, &size, nullptr) != noErr)
    return {};
  std::vector<AUChannelInfo> infos(size / sizeof(AUChannelInfo));
  size = static_cast<UInt32>(infos.size() * sizeof(AUChannelInfo));
  if (infos.empty() ||
      methods.get_property(unit.interface, kAudioUnitProperty_SupportedNumChannels,
                           kAudioUnitScope_Global, 0, infos.data(), &size) != noErr)
    return {};
  infos.resize(std::min(infos.size(), size / sizeof(AUChannelInfo)));
  return infos;
}

bool is_effect(const ComponentInstanceRecord& unit) {
  const OSType type = unit.component->description.componentType;
  return type == kAudioUnitType_Effect || type == kAudioUnitType_MusicEffect;
}

}  // namespace

bool is_mono(const ComponentInstanceRecord& unit) {
  const std::vector<AUChannelInfo> infos = supported_channels(unit);
  const SInt16 inputs = is_effect(unit) ? 1 : 0;
  return !infos.empty() && std::ranges::all_of(infos, [&](const AUChannelInfo& info) {
    return info.inChannels == inputs && info.outChannels == 1;
  });
}

OSStatus make_stereo(ComponentInstanceRecord& unit) {
  auto stereo = std::make_unique<StereoUnit>();
  stereo->interface.Close = close;
  const bool has_input = is_effect(unit);
  stereo->halves[stereo->count++] = {stereo.get(), 0, unit.interface, unit.methods};
  if (has_input) {
    // Both know themselves by the handle that the caller has: what they tell of themselves then
    // reaches those who listen to it.
    AudioComponentPlugInInterface* second = nullptr;
    ComponentMethods methods{};
    const OSStatus status = open_interface(*unit.component, &unit, second, methods);
    if (status != noErr) {
      close(stereo.release());
      return status;
    }
    stereo->halves[stereo->count++] = {stereo.get(), 1, second, methods};
  }
  unit.methods = stereo_methods(unit.methods, has_input);
  unit.interface = &stereo.release()->interface;
  return noErr;
}

}  // namespace vesk::platform
