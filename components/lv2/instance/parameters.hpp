#pragma once

// The values of a unit's control ports, and what describes them to a host.

#include <AudioToolbox/AudioUnitProperties.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "components/lv2/catalogue/description.hpp"
#include "components/lv2/instance/port_table.hpp"
#include "platform/realtime.hpp"

namespace vesk::lv2 {

/// One value a control port, readable and writable from any thread. Parameter ids are port indices.
///
/// Design: every value is an atomic of its own; a writer stores the value, then counts `version_`
/// up (release). The render thread reads the count (acquire) at a period's start and copies all
/// values only when it has moved, so a period sees every change that was complete before it and
/// costs nothing when there was none.
class Parameters {
 public:
  Parameters(const Description& plugin, const PortTable& ports);

  // Any thread; real-time safe.

  bool is_readable(AudioUnitParameterID id) const noexcept VESK_REALTIME {
    return id < uses_.size() &&
           (uses_[id] == ControlUse::parameter || uses_[id] == ControlUse::meter);
  }
  bool is_writable(AudioUnitParameterID id) const noexcept VESK_REALTIME {
    return id < uses_.size() && uses_[id] == ControlUse::parameter;
  }
  float value(AudioUnitParameterID id) const noexcept VESK_REALTIME {
    return values_[id].load(std::memory_order_relaxed);
  }
  /// Takes a finite value, rounded for whole-number ports and held within the port's bounds.
  void set(AudioUnitParameterID id, float value) noexcept VESK_REALTIME;
  std::uint32_t version() const noexcept VESK_REALTIME {
    return version_.load(std::memory_order_acquire);
  }

  // Render thread.

  /// Copies the inputs' values to `controls`, by port index.
  void copy_inputs(float* controls) const noexcept VESK_REALTIME;
  /// Publishes an output's value.
  void publish(AudioUnitParameterID id, float value) noexcept VESK_REALTIME {
    values_[id].store(value, std::memory_order_relaxed);
  }
  /// After a run: triggers that still hold what `controls` gave the plugin fall back.
  void release_triggers(float* controls) noexcept VESK_REALTIME;

  // Control thread.

  /// Ranges given in fractions of the sample rate follow it; values still at their default too.
  void set_sample_rate(double sample_rate);
  const Range& range(AudioUnitParameterID id) const { return ranges_[id]; }
  /// All control values by port index, 0 elsewhere.
  std::vector<float> snapshot() const;
  /// A value that would be stored for `value`: rounded and within bounds.
  float legal(AudioUnitParameterID id, float value) const noexcept VESK_REALTIME;

  /// The ids a host may show: parameters, then meters, in port order.
  std::vector<AudioUnitParameterID> listed() const;
  /// Strings are +1 for the reader, who releases them as the flags say.
  AudioUnitParameterInfo info(AudioUnitParameterID id) const;
  /// The name, +1, in about so many characters; whole for anything below 1.
  CFStringRef copy_name(AudioUnitParameterID id, SInt32 characters) const;
  /// Names for each whole value from min on, +1; null when the port has none or its named values
  /// are not whole numbers.
  CFArrayRef copy_value_strings(AudioUnitParameterID id) const;
  /// The text of a value, +1: a scale point's label, else the number with its unit.
  CFStringRef copy_text(AudioUnitParameterID id, float value) const;
  /// The value that a text means: a label, else a number. False when it is neither.
  bool value_of(AudioUnitParameterID id, const std::string& text, float* value) const;

 private:
  const Description& plugin_;
  const PortTable& ports_;
  const std::vector<ControlUse>& uses_;
  std::vector<Range> ranges_;
  std::unique_ptr<std::atomic<float>[]> values_;
  std::atomic<std::uint32_t> version_{1};
};

}  // namespace vesk::lv2
