#pragma once

// The Audio Unit around one plugin. component_interface.cpp lets callers reach it. Its parts:
// plugin_unit.cpp (life), properties.cpp, class_info.cpp (saved state), factory_presets.cpp,
// files.cpp, and render.cpp (what may be called on the render thread).

#include <AudioToolbox/AudioToolbox.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "components/lv2/catalogue/description.hpp"
#include "components/lv2/instance/instance.hpp"
#include "components/lv2/instance/parameters.hpp"
#include "components/lv2/instance/plugin_library.hpp"
#include "components/lv2/instance/port_table.hpp"
#include "components/lv2/unit/unit_editor.hpp"
#include "components/unit_support/exchange_slot.hpp"
#include "components/unit_support/midi_queue.hpp"
#include "components/unit_support/preset_list.hpp"
#include "platform/realtime.hpp"

namespace vesk::lv2 {

/// A change of everything that a preset holds.
struct StateChange {
  std::vector<float> values;  ///< by port index
  std::vector<StateProperty> properties;
  SInt32 preset_number = -1;
  std::string preset_name;
};

class PluginUnit {
 public:
  /// `instance` is the handle that callers know it by; `codes` are what a saved state names.
  PluginUnit(std::shared_ptr<const Description> plugin, std::unique_ptr<PluginLibrary> library,
             AudioComponentInstance instance, const AudioComponentDescription& codes);
  ~PluginUnit();
  PluginUnit(const PluginUnit&) = delete;
  PluginUnit& operator=(const PluginUnit&) = delete;

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

  // Render thread; real-time safe as far as the plugin is.

  OSStatus render(const AudioTimeStamp& time, UInt32 frames,
                  AudioBufferList& data) noexcept VESK_REALTIME;

 private:
  friend struct UnitProperties;
  friend class UnitEditor;

  struct Buffers {
    float* channel[2] = {};
  };
  /// Room for the two buffers of a stereo list.
  struct StereoList {
    AudioBufferList list;
    AudioBuffer second;
  };

  // plugin_unit.cpp
  std::unique_ptr<Instance> make_instance(const std::vector<float>& values,
                                          const std::vector<StateProperty>* properties);
  const std::vector<StateProperty>* state_to_restore() const;
  OSStatus apply(StateChange change);
  void exchange(std::unique_ptr<Instance> instance);
  void allocate_buffers();
  void instance_leaves() const;
  bool is_initialized() const { return initialized_.load(std::memory_order_acquire); }
  void complain(const std::string& what) const;
  double latency_seconds() const;

  // class_info.cpp
  std::vector<StateProperty> present_properties() const;
  CFPropertyListRef copy_class_info() const;
  OSStatus set_class_info(CFPropertyListRef list);
  CFDictionaryRef copy_controls() const;
  std::vector<ParameterValue> control_values() const;
  void read_controls(CFDictionaryRef saved, std::vector<float>& values) const;

  // files.cpp
  OSStatus set_file(CFDictionaryRef wanted);
  CFArrayRef copy_files() const;
  void tell_missing_files(const std::vector<StateProperty>& properties) const;

  // factory_presets.cpp
  OSStatus load_factory_preset(SInt32 number);
  CFArrayRef copy_factory_presets();
  OSStatus tell_user_presets(UInt8* is_users) const;

  // render.cpp
  OSStatus render_period(Instance& instance, const AudioTimeStamp& time, UInt32 frames,
                         AudioBufferList& data) noexcept VESK_REALTIME;
  OSStatus pull_input(const AudioTimeStamp& time, UInt32 frames,
                      const float* inputs[2]) noexcept VESK_REALTIME;
  void keep_input_apart(const float* inputs[2], float* const outputs[2],
                        UInt32 frames) noexcept VESK_REALTIME;
  Position position_at(const AudioTimeStamp& time) noexcept VESK_REALTIME;
  void ask_transport(Position& position) noexcept VESK_REALTIME;

  const std::shared_ptr<const Description> plugin_;
  const std::unique_ptr<PluginLibrary> library_;
  const AudioComponentInstance instance_;
  const AudioComponentDescription codes_;
  const PortTable ports_;
  Parameters parameters_;

  // Control thread.
  std::optional<std::vector<StateProperty>> properties_;  ///< what the next instance restores
  std::unique_ptr<Instance> parked_;          ///< while uninitialised: still knows its state
  std::map<std::string, std::string> files_;  ///< paths given in this unit, by property
  SInt32 preset_number_ = -1;
  std::string preset_name_ = "Untitled";
  std::vector<AUPreset> factory_presets_;
  std::string editor_bundle_;  ///< of the view that shows the plugin's interface; empty: none can

  // Written by the control thread while uninitialised, read by the render thread after that.
  double sample_rate_ = 44100;
  UInt32 max_frames_ = 1156;
  AURenderCallbackStruct input_{};
  HostCallbackInfo transport_{};

  // Both.
  std::atomic<bool> initialized_{false};
  ExchangeSlot<Instance> slot_;
  std::unique_ptr<UnitEditor> editor_;  ///< null: the plugin has no interface that can be shown
  MidiQueue midi_;
  std::atomic<bool> bypass_{false};
  std::atomic<bool> offline_{false};
  std::atomic<float> latency_frames_{0};

  // Render thread, while it has the instance out of its slot; sized by initialize.
  std::vector<float> storage_;
  Buffers own_output_, own_input_;
  float* silence_ = nullptr;
  std::int64_t next_frame_ = 0;
};

}  // namespace vesk::lv2
