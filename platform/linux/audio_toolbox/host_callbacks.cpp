#include "platform/linux/audio_toolbox/host_callbacks.hpp"

#include <AudioToolbox/AudioUnitProperties.h>

#include <cmath>

#include "platform/linux/records/parent_record.hpp"

namespace vesk::platform {

namespace {

// Units call these inside their render call, so they are real-time code.

OSStatus get_beat_and_tempo(void*, Float64* beat, Float64* tempo) noexcept CA_REALTIME_API {
  VeskTransport transport;
  if (!read_transport(transport) || transport.tempo <= 0)
    return kAudioUnitErr_CannotDoInCurrentContext;
  if (beat != nullptr) *beat = transport.beat;
  if (tempo != nullptr) *tempo = transport.tempo;
  return noErr;
}

/// Frames until the next whole beat: 0 on one.
UInt32 frames_to_next_beat(const VeskTransport& transport) noexcept CA_REALTIME_API {
  const double rate = parent_sample_rate();
  if (transport.tempo <= 0 || rate <= 0) return 0;
  const double frames = (std::ceil(transport.beat) - transport.beat) * 60 / transport.tempo * rate;
  return frames < 4e9 ? static_cast<UInt32>(frames) : 0;
}

OSStatus get_musical_time_location(void*, UInt32* to_next_beat, Float32* beats_per_bar,
                                   UInt32* beat_unit, Float64* bar_start) noexcept CA_REALTIME_API {
  VeskTransport transport;
  if (!read_transport(transport) || transport.beats_per_bar <= 0 || transport.beat_unit == 0)
    return kAudioUnitErr_CannotDoInCurrentContext;
  if (to_next_beat != nullptr) *to_next_beat = frames_to_next_beat(transport);
  if (beats_per_bar != nullptr) *beats_per_bar = static_cast<Float32>(transport.beats_per_bar);
  if (beat_unit != nullptr) *beat_unit = transport.beat_unit;
  if (bar_start != nullptr) *bar_start = transport.bar_start;
  return noErr;
}

template <typename Value>
void give(Value* result, Value value) noexcept CA_REALTIME_API {
  if (result != nullptr) *result = value;
}

OSStatus get_transport_state_2(void*, Boolean* playing, Boolean* recording, Boolean* changed,
                               Float64* sample, Boolean* cycling, Float64* cycle_start,
                               Float64* cycle_end) noexcept CA_REALTIME_API {
  VeskTransport transport;
  if (!read_transport(transport)) return kAudioUnitErr_CannotDoInCurrentContext;
  const auto is_set = [&](UInt32 flag) -> Boolean { return (transport.flags & flag) != 0; };
  give(playing, is_set(VESK_TRANSPORT_PLAYING));
  give(recording, Boolean{false});
  give(changed, is_set(VESK_TRANSPORT_CHANGED));
  give(sample, transport.sample);
  give(cycling, is_set(VESK_TRANSPORT_LOOPING));
  give(cycle_start, transport.loop_start);
  give(cycle_end, transport.loop_end);
  return noErr;
}

OSStatus get_transport_state(void*, Boolean* playing, Boolean* changed, Float64* sample,
                             Boolean* cycling, Float64* cycle_start,
                             Float64* cycle_end) noexcept CA_REALTIME_API {
  return get_transport_state_2(nullptr, playing, nullptr, changed, sample, cycling, cycle_start,
                               cycle_end);
}

}  // namespace

void introduce_parent(AudioUnit unit) {
  if (!has_parent_record()) return;
  if (parent_renders_offline()) {
    const UInt32 offline = 1;
    AudioUnitSetProperty(unit, kAudioUnitProperty_OfflineRender, kAudioUnitScope_Global, 0,
                         &offline, sizeof offline);
  }
  const HostCallbackInfo callbacks = {nullptr, get_beat_and_tempo, get_musical_time_location,
                                      get_transport_state, get_transport_state_2};
  AudioUnitSetProperty(unit, kAudioUnitProperty_HostCallbacks, kAudioUnitScope_Global, 0,
                       &callbacks, sizeof callbacks);
}

}  // namespace vesk::platform
