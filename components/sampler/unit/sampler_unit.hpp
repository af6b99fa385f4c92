#pragma once

// The Audio Unit around one instrument. component_interface.cpp lets callers reach it. Its parts:
// sampler_unit.cpp (life, loading), properties.cpp, class_info.cpp (saved state), render.cpp (what
// may be called on the render thread).

#include <AudioToolbox/AudioToolbox.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "components/sampler/player.hpp"
#include "components/sampler/unit/load_sound.hpp"
#include "components/sampler/unit/parameters.hpp"
#include "components/unit_support/exchange_slot.hpp"
#include "components/unit_support/midi_queue.hpp"
#include "components/unit_support/preset_list.hpp"
#include "platform/realtime.hpp"

namespace vesk::sampler {

class SamplerUnit {
 public:
  /// `codes` are what a saved state names.
  explicit SamplerUnit(const AudioComponentDescription& codes) : codes_(codes) {}

  // Control thread: one call at a time, but beside rendering.

  OSStatus initialize();
  OSStatus uninitialize();
  OSStatus property_info(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                         UInt32* size, Boolean* writable);
  OSStatus get_property(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                        void* data, UInt32* size);
  OSStatus set_property(AudioUnitPropertyID id, AudioUnitScope scope, AudioUnitElement element,
                        const void* data, UInt32 size);

  // Any thread; real-time safe.

  OSStatus get_parameter(AudioUnitParameterID id,
                         AudioUnitParameterValue& value) const noexcept VESK_REALTIME;
  OSStatus set_parameter(AudioUnitParameterID id,
                         AudioUnitParameterValue value) noexcept VESK_REALTIME;
  OSStatus midi(UInt32 status, UInt32 data1, UInt32 data2, UInt32 offset) noexcept VESK_REALTIME;
  OSStatus reset() noexcept VESK_REALTIME;

  // Render thread; real-time safe.

  OSStatus render(const AudioTimeStamp& time, UInt32 frames,
                  AudioBufferList& data) noexcept VESK_REALTIME;

 private:
  friend struct SamplerProperties;

  /// What the render thread plays, with what it was last told.
  struct Playing {
    std::unique_ptr<Player> player;  ///< null: no instrument, silence
    Controls controls;
    bool is_offline = false;
  };

  // sampler_unit.cpp
  OSStatus load_instrument(const AUSamplerInstrumentData& asked);
  OSStatus load(const InstrumentRequest& request, const std::vector<ParameterValue>& values);
  std::unique_ptr<Playing> make_playing(InstrumentSound* sound) const;
  bool is_initialized() const { return initialized_.load(std::memory_order_acquire); }

  // class_info.cpp
  CFPropertyListRef copy_class_info() const;
  OSStatus set_class_info(CFPropertyListRef list);

  // render.cpp
  void play(Playing& playing, UInt32 frames, float* const outputs[2]) noexcept VESK_REALTIME;

  const AudioComponentDescription codes_;
  Parameters parameters_;

  // Control thread.
  InstrumentRequest request_;  ///< of `sound_`
  std::unique_ptr<InstrumentSound> sound_;
  std::string preset_name_ = "Untitled";

  // Written by the control thread while uninitialised, read by the render thread after that.
  double sample_rate_ = 44100;
  UInt32 max_frames_ = 1156;
  std::vector<float> storage_;  ///< two channels, for callers without memory of their own

  // Both.
  std::atomic<bool> initialized_{false};
  ExchangeSlot<Playing> slot_;
  MidiQueue midi_;
  std::atomic<bool> offline_{false};
  std::atomic<bool> reset_wanted_{false};
};

}  // namespace vesk::sampler
