#include "plugin/audio_unit_plugin.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

namespace vesk {

AudioUnitPlugin::AudioUnitPlugin(PluginSpec spec, bool out_of_process)
    : spec_(std::move(spec)), out_of_process_(out_of_process) {}

AudioUnitPlugin::~AudioUnitPlugin() {
  detach();
  dispose();
}

void AudioUnitPlugin::detach() {
  live_unit_.store(nullptr, std::memory_order_release);
}

void AudioUnitPlugin::dispose() {
  if (unit_ == nullptr) return;
  AudioUnitUninitialize(unit_);
  AudioComponentInstanceDispose(unit_);
  unit_ = nullptr;
}

bool AudioUnitPlugin::set_parameter(unsigned id, float value) {
  if (unit_ == nullptr) return false;
  return AudioUnitSetParameter(unit_, id, kAudioUnitScope_Global, 0, value, 0) == noErr;
}

std::vector<std::uint8_t> AudioUnitPlugin::state() const {
  if (unit_ == nullptr) return {};

  CFPropertyListRef list = nullptr;
  UInt32 size = sizeof list;
  if (AudioUnitGetProperty(unit_, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0, &list,
                           &size) != noErr ||
      list == nullptr)
    return {};

  CFDataRef data = CFPropertyListCreateData(kCFAllocatorDefault, list,
                                            kCFPropertyListXMLFormat_v1_0, 0, nullptr);
  CFRelease(list);
  if (data == nullptr) return {};

  const UInt8* const bytes = CFDataGetBytePtr(data);
  std::vector<std::uint8_t> state(bytes, bytes + CFDataGetLength(data));
  CFRelease(data);
  return state;
}

Stats AudioUnitPlugin::stats() const {
  constexpr auto relaxed = std::memory_order_relaxed;
  Stats stats;
  stats.renders = renders_.load(relaxed);
  stats.render_errors = render_errors_.load(relaxed);
  stats.first_error = first_error_.load(relaxed);
  stats.max_load_percent = static_cast<double>(max_load_.load(relaxed)) / 10.0;
  if (stats.renders != 0) {
    stats.mean_load_percent =
        static_cast<double>(total_load_.load(relaxed)) / 10.0 / static_cast<double>(stats.renders);
  }
  stats.min_note_latency = min_note_latency_.load(relaxed);
  stats.max_note_latency = max_note_latency_.load(relaxed);
  stats.peak = peak_.load(relaxed);
  return stats;
}

}  // namespace vesk
