// What the unit does on the render thread, and what may be called from there.

#include <algorithm>
#include <cmath>
#include <utility>

#include "components/sampler/unit/sampler_unit.hpp"
#include "components/unit_support/stereo_output.hpp"

namespace vesk::sampler {
namespace {

std::uint8_t byte_of(const TimedEvent& event, std::uint32_t index) noexcept VESK_REALTIME {
  return index < event.size ? static_cast<std::uint8_t>(event.data[index]) : std::uint8_t{0};
}

}  // namespace

OSStatus SamplerUnit::render(const AudioTimeStamp&, UInt32 frames,
                             AudioBufferList& data) noexcept VESK_REALTIME {
  // While it is out, the control thread leaves alone what a period needs.
  Playing* playing = slot_.borrow();
  if (playing == nullptr) return kAudioUnitErr_Uninitialized;
  const OSStatus status = check_stereo_output(frames, max_frames_, data);
  if (status == noErr) {
    float* const own[2] = {storage_.data(), storage_.data() + max_frames_};
    float* outputs[2];
    prepare_stereo_output(frames, own, data, outputs);
    if (frames > 0) play(*playing, frames, outputs);
  }
  slot_.give_back(playing);
  return status;
}

void SamplerUnit::play(Playing& playing, UInt32 frames,
                       float* const outputs[2]) noexcept VESK_REALTIME {
  const bool is_reset = reset_wanted_.exchange(false, std::memory_order_relaxed);
  if (playing.player == nullptr) {
    midi_.clear();
    for (int channel = 0; channel < 2; ++channel) std::fill_n(outputs[channel], frames, 0.0f);
    return;
  }
  Player& player = *playing.player;
  if (is_reset) player.reset();
  if (const bool offline = offline_.load(std::memory_order_relaxed);
      std::exchange(playing.is_offline, offline) != offline) {
    player.set_offline(offline);
  }
  if (const Controls wanted = parameters_.controls(); wanted != playing.controls) {
    playing.controls = wanted;
    player.set(wanted);
  }
  UInt32 at = 0;
  const auto play_to = [&](UInt32 frame) noexcept VESK_REALTIME {
    if (frame > at) player.render(outputs[0] + at, outputs[1] + at, frame - at);
    at = frame;
  };
  for (const TimedEvent& event : midi_.collect(frames)) {
    play_to(event.frame);
    player.midi(byte_of(event, 0), byte_of(event, 1), byte_of(event, 2));
  }
  play_to(frames);
  midi_.release();
}

OSStatus SamplerUnit::get_parameter(AudioUnitParameterID id,
                                    AudioUnitParameterValue& value) const noexcept VESK_REALTIME {
  const std::size_t index = parameters_.index(id);
  if (index == parameter_count) return kAudioUnitErr_InvalidParameter;
  value = parameters_.value(index);
  return noErr;
}

OSStatus SamplerUnit::set_parameter(AudioUnitParameterID id,
                                    AudioUnitParameterValue value) noexcept VESK_REALTIME {
  const std::size_t index = parameters_.index(id);
  if (index == parameter_count) return kAudioUnitErr_InvalidParameter;
  if (!std::isfinite(value)) return kAudioUnitErr_InvalidParameterValue;
  parameters_.set(index, value);
  return noErr;
}

OSStatus SamplerUnit::midi(UInt32 status, UInt32 data1, UInt32 data2,
                           UInt32 offset) noexcept VESK_REALTIME {
  if (!initialized_.load(std::memory_order_acquire)) return kAudioUnitErr_Uninitialized;
  return midi_.push(offset, status, data1, data2) ? OSStatus{noErr} : OSStatus{kAudio_MemFullError};
}

OSStatus SamplerUnit::reset() noexcept VESK_REALTIME {
  reset_wanted_.store(true, std::memory_order_relaxed);
  return noErr;
}

}  // namespace vesk::sampler
