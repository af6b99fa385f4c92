#pragma once

#include <AudioToolbox/AudioToolbox.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "plugin/plugin_instance.hpp"

namespace vesk {

/// A plugin around one Audio Unit.
///
/// The main thread constructs, loads, changes parameters, captures state and disposes; the render
/// thread renders and sends MIDI. No lock orders the two. They meet in `live_unit_`: the last
/// step of a load stores it (release), every render operation loads it (acquire), and `detach`
/// stores null. `dispose` must wait until the render thread is done; its owner joins it first.
class AudioUnitPlugin final : public PluginInstance {
 public:
  /// `out_of_process` asks the platform to run the unit in a process of its own.
  AudioUnitPlugin(PluginSpec spec, bool out_of_process);
  ~AudioUnitPlugin() override;
  AudioUnitPlugin(const AudioUnitPlugin&) = delete;
  AudioUnitPlugin& operator=(const AudioUnitPlugin&) = delete;

  // Main thread.

  /// Waits up to 60 seconds for the unit, running the thread's run loop meanwhile.
  bool load(double sample_rate, unsigned max_frames, std::string& error) override;
  bool set_parameter(unsigned id, float value) override;
  void detach() override;
  void dispose() override;
  /// The unit's state as an XML property list, as a preset file holds it; empty when it cannot be
  /// captured. May run while the render thread renders.
  std::vector<std::uint8_t> state() const;
  /// The Audio Unit, null before a load and after `dispose`.
  AudioComponentInstance unit() const { return unit_; }

  // Render thread.

  void midi(std::uint8_t status, std::uint8_t data1, std::uint8_t data2, double sample_time,
            unsigned offset) noexcept VESK_REALTIME override;
  /// What `finish_render` does, without a virtual call.
  bool render_add(float* left, float* right, unsigned frames,
                  double sample_time) noexcept VESK_REALTIME;
  bool finish_render(float* left, float* right, unsigned frames, double sample_time,
                     std::uint64_t) noexcept VESK_REALTIME override;
  bool process(float* left, float* right, unsigned frames, double sample_time,
               std::uint64_t) noexcept VESK_REALTIME override;
  /// The render callback on an effect's input; `ref` is the plugin. Hands the arrays of the
  /// `process` call that is under way to the unit, without a copy where the unit offers no
  /// buffers, and silence outside one.
  static OSStatus supply_input(void* ref, AudioUnitRenderActionFlags* flags,
                               const AudioTimeStamp* time, UInt32 bus, UInt32 frames,
                               AudioBufferList* data) noexcept VESK_REALTIME;

  // Either thread.

  const PluginSpec& spec() const override { return spec_; }
  const Timings& timings() const override { return timings_; }
  double latency_seconds() const override { return latency_; }
  Stats stats() const override;
  bool failed() const override { return failed_.load(std::memory_order_relaxed); }

 private:
  /// A buffer list with room for two channels.
  struct StereoBufferList {
    AudioBufferList list;
    AudioBuffer second;
  };

  bool instantiate(std::string& error);
  bool set_formats(double sample_rate, std::string& error);
  bool restore(double sample_rate, unsigned max_frames, std::string& error);
  bool transfer_sampler_state(double sample_rate, unsigned max_frames, std::string& error);
  bool load_sampler_instrument(std::string& error);
  bool restore_preset(std::string& error);

  bool render(unsigned frames, double sample_time, const float*& left,
              const float*& right) noexcept VESK_REALTIME;
  void account(std::uint64_t elapsed_ticks, unsigned frames) noexcept VESK_REALTIME;
  void measure_note(double sound_time) noexcept VESK_REALTIME;

  PluginSpec spec_;
  bool out_of_process_;
  AudioComponentInstance unit_ = nullptr;
  std::atomic<AudioComponentInstance> live_unit_{nullptr};
  Timings timings_;
  double latency_ = 0;
  double ticks_per_frame_ = 0;
  const float* effect_input_left_ = nullptr;
  const float* effect_input_right_ = nullptr;
  std::vector<float> buffer_left_;
  std::vector<float> buffer_right_;
  StereoBufferList buffer_list_{};

  // Written by the render thread alone and read by `stats` from any thread, each whole.
  std::atomic<bool> failed_{false};
  std::atomic<std::uint64_t> renders_{0};
  std::atomic<std::uint64_t> render_errors_{0};
  std::atomic<OSStatus> first_error_{0};
  std::atomic<std::uint64_t> max_load_{0};  // per mille of real time
  std::atomic<std::uint64_t> total_load_{0};
  double note_on_time_ = -1.0;  // negative: no note waits for its sound
  std::atomic<std::int64_t> min_note_latency_{-1};
  std::atomic<std::int64_t> max_note_latency_{-1};
  std::atomic<float> peak_{0};
};

}  // namespace vesk
