// What the unit does on the render thread, and what may be called from there.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>

#include "components/lv2/unit/plugin_unit.hpp"
#include "components/unit_support/stereo_output.hpp"

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

}  // namespace

OSStatus PluginUnit::render(const AudioTimeStamp& time, UInt32 frames,
                            AudioBufferList& data) noexcept VESK_REALTIME {
  // While it is out, the control thread leaves alone what a period needs: formats, functions of the
  // host, buffers, events.
  Instance* instance = slot_.borrow();
  if (instance == nullptr) return kAudioUnitErr_Uninitialized;
  OSStatus status = check_stereo_output(frames, max_frames_, data);
  if (status == noErr) status = render_period(*instance, time, frames, data);
  slot_.give_back(instance);
  return status;
}

OSStatus PluginUnit::render_period(Instance& instance, const AudioTimeStamp& time, UInt32 frames,
                                   AudioBufferList& data) noexcept VESK_REALTIME {
  Period period;
  period.frames = frames;
  prepare_stereo_output(frames, own_output_.channel, data, period.outputs);
  if (frames == 0) return noErr;
  if (ports_.has_input_bus) {
    if (const OSStatus status = pull_input(time, frames, period.inputs); status != noErr)
      return status;
    keep_input_apart(period.inputs, period.outputs, frames);
  }
  if (ports_.has_input_bus && !ports_.enabled && bypass_.load(std::memory_order_relaxed)) {
    for (UInt32 i = 0; i < 2; ++i)
      std::memcpy(period.outputs[i], period.inputs[i], bytes_of(frames));
    midi_.clear();
    return noErr;
  }
  period.position = position_at(time);
  period.midi = midi_.collect(frames);
  period.editor = editor_ != nullptr ? editor_->feed() : nullptr;
  period.wait_for_work = offline_.load(std::memory_order_relaxed);
  instance.render(period);
  midi_.release();
  next_frame_ = period.position.frame + frames;
  latency_frames_.store(instance.latency_frames(), std::memory_order_relaxed);
  return noErr;
}

OSStatus PluginUnit::pull_input(const AudioTimeStamp& time, UInt32 frames,
                                const float* inputs[2]) noexcept VESK_REALTIME {
  if (input_.inputProc == nullptr) return kAudioUnitErr_NoConnection;
  // No buffer is offered: the pointers that come back go to the plugin's ports as they are.
  StereoList pulled;
  pulled.list.mNumberBuffers = 2;
  AudioBuffer* buffers = pulled.list.mBuffers;
  for (UInt32 i = 0; i < 2; ++i) buffers[i] = {1, frames * sample_bytes, nullptr};
  AudioUnitRenderActionFlags flags = 0;
  const OSStatus status =
      input_.inputProc(input_.inputProcRefCon, &flags, &time, 0, frames, &pulled.list);
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
  const bool known =
      (time.mFlags & kAudioTimeStampSampleTimeValid) != 0 && std::fabs(time.mSampleTime) < 9.0e15;
  position.frame = known ? static_cast<std::int64_t>(time.mSampleTime) : next_frame_;
  ask_transport(position);
  return position;
}

void PluginUnit::ask_transport(Position& position) noexcept VESK_REALTIME {
  const HostCallbackInfo& host = transport_;
  // The host gave these functions to be called inside its own render call.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wfunction-effects"
  Float64 beat = 0, tempo = 0;
  if (host.beatAndTempoProc != nullptr &&
      host.beatAndTempoProc(host.hostUserData, &beat, &tempo) == noErr && tempo > 0) {
    position.has_tempo = true;
    position.beats_per_minute = static_cast<float>(tempo);
    position.beat = beat;
    position.beats_per_frame = tempo / 60 / sample_rate_;
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

OSStatus PluginUnit::get_parameter(AudioUnitParameterID id,
                                   AudioUnitParameterValue& value) const noexcept VESK_REALTIME {
  if (!parameters_.is_readable(id)) return kAudioUnitErr_InvalidParameter;
  value = parameters_.value(id);
  return noErr;
}

OSStatus PluginUnit::set_parameter(AudioUnitParameterID id,
                                   AudioUnitParameterValue value) noexcept VESK_REALTIME {
  if (!parameters_.is_writable(id)) return kAudioUnitErr_InvalidParameter;
  if (!std::isfinite(value)) return kAudioUnitErr_InvalidParameterValue;
  parameters_.set(id, value);
  return noErr;
}

OSStatus PluginUnit::midi(UInt32 status, UInt32 data1, UInt32 data2,
                          UInt32 offset) noexcept VESK_REALTIME {
  if (!ports_.takes_midi) return kAudio_UnimplementedError;
  if (!initialized_.load(std::memory_order_acquire)) return kAudioUnitErr_Uninitialized;
  return midi_.push(offset, status, data1, data2) ? OSStatus{noErr} : OSStatus{kAudio_MemFullError};
}

}  // namespace vesk::lv2
