// Audio and events through a loaded Audio Unit: all of it runs on the render thread.

#include <mach/mach_time.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "plugin/audio_unit_plugin.hpp"

namespace vesk {
namespace {

constexpr auto relaxed = std::memory_order_relaxed;

/// Truncates towards zero. The times come from the parent, so any double can arrive here.
std::int64_t whole_frames(double frames) noexcept {
  constexpr double limit = 9.2e18;  // just below 2^63
  if (!(frames > -limit)) return std::numeric_limits<std::int64_t>::min();
  if (frames > limit) return std::numeric_limits<std::int64_t>::max();
  return static_cast<std::int64_t>(frames);
}

/// Fills one channel of an effect's input.
void supply_channel(AudioBuffer& buffer, const float* source, UInt32 frames,
                    AudioUnitRenderActionFlags* flags) noexcept {
  const std::size_t bytes = frames * sizeof(float);
  if (source != nullptr) {
    if (buffer.mData != nullptr)
      std::memcpy(buffer.mData, source, bytes);
    else
      buffer.mData = const_cast<float*>(source);
    return;
  }
  if (buffer.mData != nullptr) std::memset(buffer.mData, 0, bytes);
  *flags |= kAudioUnitRenderAction_OutputIsSilence;
}

/// A channel as the unit left it. One whose data it took away is silent; `own` holds the silence.
const float* rendered_channel(const AudioBuffer& buffer, float* own, unsigned frames) noexcept {
  if (buffer.mData != nullptr) return static_cast<const float*>(buffer.mData);
  std::fill_n(own, frames, 0.0f);
  return own;
}

}  // namespace

bool AudioUnitPlugin::render(unsigned frames, double sample_time, const float*& left,
                             const float*& right) noexcept VESK_REALTIME {
  const AudioComponentInstance unit = live_unit_.load(std::memory_order_acquire);
  if (unit == nullptr || failed_.load(relaxed)) return false;
  // More than the unit was told at load: refused, since its buffers and ours hold no more.
  if (frames > buffer_left_.size()) return false;

  const auto bytes = static_cast<UInt32>(frames * sizeof(float));
  AudioBuffer* const buffers = buffer_list_.list.mBuffers;
  buffer_list_.list.mNumberBuffers = 2;
  buffers[0] = {1, bytes, buffer_left_.data()};
  buffers[1] = {1, bytes, buffer_right_.data()};

  AudioTimeStamp stamp{};
  stamp.mSampleTime = sample_time;
  stamp.mFlags = kAudioTimeStampSampleTimeValid;
  AudioUnitRenderActionFlags flags = 0;

  const std::uint64_t start = mach_absolute_time();
  const OSStatus status = AudioUnitRender(unit, &flags, &stamp, 0, frames, &buffer_list_.list);
  account(mach_absolute_time() - start, frames);

  if (status != noErr) {
    if (render_errors_.fetch_add(1, relaxed) == 0) first_error_.store(status, relaxed);
    failed_.store(true, relaxed);
    return false;
  }
  left = rendered_channel(buffers[0], buffer_left_.data(), frames);
  right = rendered_channel(buffers[1], buffer_right_.data(), frames);
  return true;
}

void AudioUnitPlugin::account(std::uint64_t elapsed_ticks, unsigned frames) noexcept VESK_REALTIME {
  renders_.fetch_add(1, relaxed);
  // A render of no frames has no real time to be measured against and adds nothing.
  const double budget_ticks = ticks_per_frame_ * frames;
  if (!(budget_ticks > 0)) return;
  // Truncated; bounded, as the rate behind the budget may be any number.
  constexpr double most = 1e12;
  const double load_of_budget = static_cast<double>(elapsed_ticks) / budget_ticks * 1000.0;
  const auto load = static_cast<std::uint64_t>(std::min(load_of_budget, most));
  total_load_.fetch_add(load, relaxed);
  if (load > max_load_.load(relaxed)) max_load_.store(load, relaxed);
}

void AudioUnitPlugin::measure_note(double sound_time) noexcept VESK_REALTIME {
  const std::int64_t latency = whole_frames(sound_time - note_on_time_);
  const std::int64_t shortest = min_note_latency_.load(relaxed);
  if (shortest < 0 || shortest > latency) min_note_latency_.store(latency, relaxed);
  if (max_note_latency_.load(relaxed) < latency) max_note_latency_.store(latency, relaxed);
  note_on_time_ = -1.0;
}

bool AudioUnitPlugin::render_add(float* left, float* right, unsigned frames,
                                 double sample_time) noexcept VESK_REALTIME {
  const float* rendered_left = nullptr;
  const float* rendered_right = nullptr;
  if (!render(frames, sample_time, rendered_left, rendered_right)) return false;

  if (note_on_time_ >= 0) {
    const float* const end = rendered_left + frames;
    const float* const sound = std::find_if(rendered_left, end, [](float s) { return s != 0; });
    if (sound != end) measure_note(sample_time + static_cast<double>(sound - rendered_left));
  }
  float peak = peak_.load(relaxed);
  for (unsigned i = 0; i < frames; ++i) {
    const float level = std::fabs(rendered_left[i]);
    if (level > peak) peak = level;
    left[i] += rendered_left[i];
    right[i] += rendered_right[i];
  }
  peak_.store(peak, relaxed);
  return true;
}

bool AudioUnitPlugin::finish_render(float* left, float* right, unsigned frames, double sample_time,
                                    std::uint64_t) noexcept VESK_REALTIME {
  return render_add(left, right, frames, sample_time);
}

bool AudioUnitPlugin::process(float* left, float* right, unsigned frames, double sample_time,
                              std::uint64_t) noexcept VESK_REALTIME {
  effect_input_left_ = left;
  effect_input_right_ = right;
  const float* rendered_left = nullptr;
  const float* rendered_right = nullptr;
  const bool rendered = render(frames, sample_time, rendered_left, rendered_right);
  effect_input_left_ = nullptr;
  effect_input_right_ = nullptr;
  // A failed effect lets its input through: the arrays still hold it.
  if (!rendered) return false;

  float peak = peak_.load(relaxed);
  for (unsigned i = 0; i < frames; ++i) {
    // Both are read before either is written: a unit may hand back its input's own arrays.
    const float l = rendered_left[i];
    const float r = rendered_right[i];
    const float level = std::fabs(l);
    if (level > peak) peak = level;
    left[i] = l;
    right[i] = r;
  }
  peak_.store(peak, relaxed);
  return true;
}

OSStatus AudioUnitPlugin::supply_input(void* ref, AudioUnitRenderActionFlags* flags,
                                       const AudioTimeStamp*, UInt32, UInt32 frames,
                                       AudioBufferList* data) noexcept VESK_REALTIME {
  const auto& plugin = *static_cast<const AudioUnitPlugin*>(ref);
  AudioBuffer* const buffers = data->mBuffers;
  if (data->mNumberBuffers >= 1)
    supply_channel(buffers[0], plugin.effect_input_left_, frames, flags);
  if (data->mNumberBuffers >= 2)
    supply_channel(buffers[1], plugin.effect_input_right_, frames, flags);
  return noErr;
}

void AudioUnitPlugin::midi(std::uint8_t status, std::uint8_t data1, std::uint8_t data2,
                           double sample_time, unsigned offset) noexcept VESK_REALTIME {
  const AudioComponentInstance unit = live_unit_.load(std::memory_order_acquire);
  if (unit == nullptr || failed_.load(relaxed)) return;
  MusicDeviceMIDIEvent(unit, status, data1, data2, offset);
  const bool is_note_on = (status & 0xF0) == 0x90 && data2 != 0;
  if (is_note_on && note_on_time_ < 0) note_on_time_ = sample_time + offset;
}

}  // namespace vesk
