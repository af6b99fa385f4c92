// What the unit does on the render thread, and what may be called from there.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>

#include "components/lv2/unit/plugin_unit.hpp"

namespace vesk::lv2 {
namespace {

constexpr std::uint32_t sample_bytes = sizeof(float);

constexpr std::size_t bytes_of(UInt32 frames) {
  return std::size_t{frames} * sample_bytes;
}

bool overlaps(const float* first, const float* second, UInt32 frames) noexcept VESK_REALTIME {
  const std::less<const float*> before;
  return before(first, second + frames) && before(second, first + frames);
}

/// Bytes of a channel or system message by its status; 0 for what is no short message.
UInt32 message_bytes(UInt32 status) noexcept VESK_REALTIME {
  if (status < 0x80 || status > 0xff) return 0;
  switch (status & 0xf0) {
    case 0xc0:
    case 0xd0:
      return 2;
    case 0xf0:
      break;
    default:
      return 3;
  }
  switch (status) {
    case 0xf1:
    case 0xf3:
      return 2;
    case 0xf2:
      return 3;
    case 0xf6:
    case 0xf8:
    case 0xfa:
    case 0xfb:
    case 0xfc:
      return 1;
    default:
      return 0;
  }
}

}  // namespace

OSStatus PluginUnit::render(AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time,
                            UInt32 bus, UInt32 frames,
                            AudioBufferList* data) noexcept VESK_REALTIME {
  OSStatus status = check_arguments(time, bus, frames, data);
  if (status == noErr) {
    const AudioUnitRenderActionFlags given = flags != nullptr ? *flags : 0;
    notifies_.call(given | kAudioUnitRenderAction_PreRender, *time, bus, frames, *data);
    status = render_period(*time, frames, *data);
    const AudioUnitRenderActionFlags outcome =
        status == noErr ? 0 : kAudioUnitRenderAction_PostRenderError;
    notifies_.call(given | kAudioUnitRenderAction_PostRender | outcome, *time, bus, frames, *data);
    if (status == noErr && flags != nullptr)
      *flags &= ~static_cast<AudioUnitRenderActionFlags>(kAudioUnitRenderAction_OutputIsSilence);
  }
  if (status != noErr) remember_error(status);
  return status;
}

OSStatus PluginUnit::check_arguments(const AudioTimeStamp* time, UInt32 bus, UInt32 frames,
                                     const AudioBufferList* data) const noexcept VESK_REALTIME {
  if (time == nullptr || data == nullptr) return kAudio_ParamError;
  // Acquire: what initialize made is visible once this is true.
  if (!initialized_.load(std::memory_order_acquire)) return kAudioUnitErr_Uninitialized;
  if (bus != 0) return kAudioUnitErr_InvalidElement;
  if (frames > max_frames_) return kAudioUnitErr_TooManyFramesToProcess;
  if (data->mNumberBuffers != 2) return kAudio_ParamError;
  for (UInt32 i = 0; i < 2; ++i) {
    const AudioBuffer& buffer = data->mBuffers[i];
    if (buffer.mData != nullptr && buffer.mDataByteSize < frames * sample_bytes)
      return kAudio_ParamError;
  }
  return noErr;
}

OSStatus PluginUnit::render_period(const AudioTimeStamp& time, UInt32 frames,
                                   AudioBufferList& data) noexcept VESK_REALTIME {
  Period period;
  period.frames = frames;
  for (UInt32 i = 0; i < 2; ++i) {
    AudioBuffer& buffer = data.mBuffers[i];
    if (buffer.mData == nullptr) buffer.mData = own_output_.channel[i];
    buffer.mNumberChannels = 1;
    buffer.mDataByteSize = frames * sample_bytes;
    period.outputs[i] = static_cast<float*>(buffer.mData);
  }
  if (frames == 0) return noErr;
  if (ports_.has_input_bus) {
    if (const OSStatus status = pull_input(time, frames, period.inputs); status != noErr)
      return status;
    keep_input_apart(period.inputs, period.outputs, frames);
  }
  Instance* instance = slot_.borrow();
  if (instance == nullptr) {
    // Being reset at this moment.
    for (float* output : period.outputs) std::memset(output, 0, bytes_of(frames));
    return noErr;
  }
  // Events are read only while the instance is out, which keeps a reset away from them.
  if (ports_.has_input_bus && !ports_.enabled && bypass_.load(std::memory_order_relaxed) != 0) {
    for (UInt32 i = 0; i < 2; ++i)
      std::memcpy(period.outputs[i], period.inputs[i], bytes_of(frames));
    midi_.clear();
    slot_.give_back(instance);
    return noErr;
  }
  const Position position = position_at(time);
  period.position = &position;
  period.midi = midi_.collect(frames);
  period.editor = editor_ != nullptr ? editor_->feed() : nullptr;
  period.wait_for_work = offline_.load(std::memory_order_relaxed) != 0;
  instance->render(period);
  const float latency = instance->latency_frames();
  midi_.release();
  slot_.give_back(instance);
  next_frame_ = position.frame + frames;
  last_frames_ = frames;
  if (latency_frames_.load(std::memory_order_relaxed) != latency) {
    latency_frames_.store(latency, std::memory_order_relaxed);
    listeners_.latency_changed();
  }
  return noErr;
}

OSStatus PluginUnit::pull_input(const AudioTimeStamp& time, UInt32 frames,
                                const float* inputs[2]) noexcept VESK_REALTIME {
  const InputSource* source = input_.load(std::memory_order_acquire);
  if (source == nullptr) return kAudioUnitErr_NoConnection;
  // No buffer is offered: the pointers that come back go to the plugin's ports as they are.
  const bool offers = source->unit == nullptr && offers_input_.load(std::memory_order_relaxed) != 0;
  StereoList pulled;
  pulled.list.mNumberBuffers = 2;
  AudioBuffer* buffers = pulled.list.mBuffers;
  for (UInt32 i = 0; i < 2; ++i)
    buffers[i] = {1, frames * sample_bytes, offers ? own_input_.channel[i] : nullptr};
  AudioUnitRenderActionFlags flags = 0;
  const OSStatus status =
      source->unit != nullptr
          ? AudioUnitRender(source->unit, &flags, &time, source->bus, frames, &pulled.list)
          : source->proc(source->user, &flags, &time, 0, frames, &pulled.list);
  if (status != noErr) return status;
  for (UInt32 i = 0; i < 2; ++i) {
    if (buffers[i].mData == nullptr) {
      if ((flags & kAudioUnitRenderAction_OutputIsSilence) == 0)
        return kAudioUnitErr_InvalidPropertyValue;
      inputs[i] = silence_;
    } else if (buffers[i].mDataByteSize < frames * sample_bytes) {
      return kAudio_ParamError;
    } else {
      inputs[i] = static_cast<const float*>(buffers[i].mData);
    }
  }
  return noErr;
}

void PluginUnit::keep_input_apart(const float* inputs[2], float* const outputs[2],
                                  UInt32 frames) noexcept VESK_REALTIME {
  // Dozens of plugins are wrong when they run in place, and none of them says so.
  for (UInt32 in = 0; in < 2; ++in) {
    if (overlaps(inputs[in], outputs[0], frames) || overlaps(inputs[in], outputs[1], frames)) {
      std::memcpy(own_input_.channel[in], inputs[in], bytes_of(frames));
      inputs[in] = own_input_.channel[in];
    }
  }
}

Position PluginUnit::position_at(const AudioTimeStamp& time) noexcept VESK_REALTIME {
  Position position;
  position.urids = &urids_;
  const bool known =
      (time.mFlags & kAudioTimeStampSampleTimeValid) != 0 && std::fabs(time.mSampleTime) < 9.0e15;
  position.frame = known ? static_cast<std::int64_t>(time.mSampleTime) : next_frame_;
  if (const HostTransport* host = transport_.load(std::memory_order_acquire))
    ask_transport(host->info, position);
  return position;
}

void PluginUnit::ask_transport(const HostCallbackInfo& host,
                               Position& position) noexcept VESK_REALTIME {
  // The host gave these functions to be called inside its own render call.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wfunction-effects"
  Float64 beat = 0, tempo = 0;
  if (host.beatAndTempoProc != nullptr &&
      host.beatAndTempoProc(host.hostUserData, &beat, &tempo) == noErr && tempo > 0) {
    position.has_tempo = true;
    position.beats_per_minute = static_cast<float>(tempo);
  }
  UInt32 to_next_beat = 0, denominator = 0;
  Float32 numerator = 0;
  Float64 down_beat = 0;
  if (position.has_tempo && host.musicalTimeLocationProc != nullptr &&
      host.musicalTimeLocationProc(host.hostUserData, &to_next_beat, &numerator, &denominator,
                                   &down_beat) == noErr &&
      numerator > 0 && denominator > 0) {
    // The host counts quarter notes, the plugin beats of the meter.
    const Float64 beats_per_quarter = denominator / 4.0;
    position.has_meter = true;
    position.beats_per_bar = numerator;
    position.beat_unit = static_cast<std::int32_t>(denominator);
    position.bar_beat = static_cast<float>((beat - down_beat) * beats_per_quarter);
    position.bar = std::llround(down_beat * beats_per_quarter / static_cast<Float64>(numerator));
  }
  Boolean playing = true, changed = false, cycling = false;
  Float64 sample = 0, cycle_start = 0, cycle_end = 0;
  if (host.transportStateProc != nullptr &&
      host.transportStateProc(host.hostUserData, &playing, &changed, &sample, &cycling,
                              &cycle_start, &cycle_end) == noErr) {
    position.speed = playing ? 1.0f : 0.0f;
    position.frame = static_cast<std::int64_t>(sample);
  }
#pragma clang diagnostic pop
}

void PluginUnit::remember_error(OSStatus status) noexcept VESK_REALTIME {
  OSStatus none = noErr;
  if (last_error_.compare_exchange_strong(none, status, std::memory_order_relaxed))
    listeners_.render_failed();
}

OSStatus PluginUnit::get_parameter(AudioUnitParameterID id, AudioUnitScope scope,
                                   AudioUnitElement element,
                                   AudioUnitParameterValue* value) const noexcept VESK_REALTIME {
  if (value == nullptr) return kAudio_ParamError;
  if (scope != kAudioUnitScope_Global) return kAudioUnitErr_InvalidScope;
  if (element != 0) return kAudioUnitErr_InvalidElement;
  if (!parameters_.is_readable(id)) return kAudioUnitErr_InvalidParameter;
  *value = parameters_.value(id);
  return noErr;
}

OSStatus PluginUnit::set_parameter(AudioUnitParameterID id, AudioUnitScope scope,
                                   AudioUnitElement element,
                                   AudioUnitParameterValue value) noexcept VESK_REALTIME {
  if (scope != kAudioUnitScope_Global) return kAudioUnitErr_InvalidScope;
  if (element != 0) return kAudioUnitErr_InvalidElement;
  if (!parameters_.is_writable(id)) return kAudioUnitErr_InvalidParameter;
  if (!std::isfinite(value)) return kAudioUnitErr_InvalidParameterValue;
  parameters_.set(id, value);
  return noErr;
}

OSStatus PluginUnit::schedule(const AudioUnitParameterEvent* events,
                              UInt32 count) noexcept VESK_REALTIME {
  if (events == nullptr && count != 0) return kAudio_ParamError;
  // Control ports hold one value a period, and cutting a period changes what many plugins play.
  for (UInt32 i = 0; i < count; ++i) {
    const AudioUnitParameterEvent& event = events[i];
    float value = event.eventValues.immediate.value;
    if (event.eventType == kParameterEvent_Ramped) {
      const auto& ramp = event.eventValues.ramp;
      const float done =
          static_cast<float>(last_frames_) - static_cast<float>(ramp.startBufferOffset);
      const float length = static_cast<float>(std::max<UInt32>(ramp.durationInFrames, 1));
      const float part = std::clamp(done / length, 0.0f, 1.0f);
      value = ramp.startValue + (ramp.endValue - ramp.startValue) * part;
    }
    const OSStatus status = set_parameter(event.parameter, event.scope, event.element, value);
    if (status != noErr) return status;
  }
  return noErr;
}

OSStatus PluginUnit::midi(UInt32 status, UInt32 data1, UInt32 data2,
                          UInt32 offset) noexcept VESK_REALTIME {
  if (!ports_.takes_midi) return kAudio_UnimplementedError;
  if (!initialized_.load(std::memory_order_acquire)) return kAudioUnitErr_Uninitialized;
  const UInt32 size = message_bytes(status);
  if (size == 0) return noErr;
  // Plugins index tables with data bytes.
  const UInt8 bytes[3] = {static_cast<UInt8>(status), static_cast<UInt8>(data1 & 0x7f),
                          static_cast<UInt8>(data2 & 0x7f)};
  if (!midi_.push(offset, bytes, size)) return kAudio_MemFullError;
  return noErr;
}

OSStatus PluginUnit::sysex(const UInt8* bytes, UInt32 length) noexcept VESK_REALTIME {
  if (!ports_.takes_midi) return kAudio_UnimplementedError;
  if (!initialized_.load(std::memory_order_acquire)) return kAudioUnitErr_Uninitialized;
  if (bytes == nullptr || length < 2) return kAudio_ParamError;
  if (!midi_.push(0, bytes, length)) return kAudio_MemFullError;
  return noErr;
}

}  // namespace vesk::lv2
