#pragma once

// The values of a plugin's control ports.

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "components/lv2/catalogue/description.hpp"
#include "components/lv2/instance/port_table.hpp"
#include "platform/realtime.hpp"

namespace vesk::lv2 {

/// One value a control port, readable and writable from any thread. A parameter is
/// called by its port's index.
///
/// Design: every value is an atomic of its own; a writer stores the value, then counts `version_`
/// up (release). The render thread reads the count (acquire) at a period's start and copies all
/// values only when it has moved, so a period sees every change that was complete before it and
/// costs nothing when there was none.
class Parameters {
 public:
  Parameters(const Description& plugin, const PortTable& ports);

  // Any thread; real-time safe.

  bool is_readable(std::uint32_t port) const noexcept VESK_REALTIME {
    return port < uses_.size() &&
           (uses_[port] == ControlUse::parameter || uses_[port] == ControlUse::meter);
  }
  bool is_writable(std::uint32_t port) const noexcept VESK_REALTIME {
    return port < uses_.size() && uses_[port] == ControlUse::parameter;
  }
  float value(std::uint32_t port) const noexcept VESK_REALTIME {
    return values_[port].load(std::memory_order_relaxed);
  }
  /// Takes a finite value, rounded for whole-number ports and held within the port's bounds.
  void set(std::uint32_t port, float value) noexcept VESK_REALTIME;
  std::uint32_t version() const noexcept VESK_REALTIME {
    return version_.load(std::memory_order_acquire);
  }

  // Render thread.

  /// Copies the inputs' values to `controls`, by port index.
  void copy_inputs(float* controls) const noexcept VESK_REALTIME;
  /// Publishes an output's value.
  void publish(std::uint32_t port, float value) noexcept VESK_REALTIME {
    values_[port].store(value, std::memory_order_relaxed);
  }
  /// After a run: triggers that still hold what `controls` gave the plugin fall back.
  void release_triggers(float* controls) noexcept VESK_REALTIME;

  // Control thread.

  /// Ranges given in fractions of the sample rate follow it; values still at their default too.
  void set_sample_rate(double sample_rate);
  const Range& range(std::uint32_t port) const { return ranges_[port]; }
  /// All control values by port index, 0 elsewhere.
  std::vector<float> snapshot() const;
  /// A value that would be stored for `value`: rounded and within bounds.
  float legal(std::uint32_t port, float value) const noexcept VESK_REALTIME;

  /// The ports a host may show: parameters, then meters, in port order.
  std::vector<std::uint32_t> listed() const;

 private:
  const Description& plugin_;
  const PortTable& ports_;
  const std::vector<ControlUse>& uses_;
  std::vector<Range> ranges_;
  std::unique_ptr<std::atomic<float>[]> values_;
  std::atomic<std::uint32_t> version_{1};
};

}  // namespace vesk::lv2
