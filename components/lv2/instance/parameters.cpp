#include "components/lv2/instance/parameters.hpp"

#include <algorithm>
#include <cmath>

namespace vesk::lv2 {

Parameters::Parameters(const Description& plugin, const PortTable& ports)
    : plugin_(plugin),
      ports_(ports),
      uses_(ports.uses),
      ranges_(plugin.ports.size()),
      values_(std::make_unique<std::atomic<float>[]>(plugin.ports.size())) {
  set_sample_rate(44100);
  for (const std::uint32_t port : ports_.control_inputs)
    values_[port].store(ranges_[port].def, std::memory_order_relaxed);
}

float Parameters::legal(std::uint32_t port, float value) const noexcept VESK_REALTIME {
  const Port& described = plugin_.ports[port];
  // Enumerations of fractions exist, so only ports that say so are rounded.
  if (described.has(property_integer)) value = std::round(value);
  // Bounds that the plugin did not state were filled in for display; they bind nobody.
  if (described.min && value < ranges_[port].min) value = ranges_[port].min;
  if (described.max && value > ranges_[port].max) value = ranges_[port].max;
  return value;
}

void Parameters::set(std::uint32_t port, float value) noexcept VESK_REALTIME {
  values_[port].store(legal(port, value), std::memory_order_relaxed);
  version_.fetch_add(1, std::memory_order_release);
}

void Parameters::copy_inputs(float* controls) const noexcept VESK_REALTIME {
  for (const std::uint32_t port : ports_.control_inputs)
    controls[port] = values_[port].load(std::memory_order_relaxed);
}

void Parameters::release_triggers(float* controls) noexcept VESK_REALTIME {
  for (const std::uint32_t port : ports_.triggers) {
    float seen = controls[port];
    const float rest = ranges_[port].def;
    if (seen != rest) {
      values_[port].compare_exchange_strong(seen, rest, std::memory_order_relaxed);
      controls[port] = rest;
    }
  }
}

void Parameters::set_sample_rate(double sample_rate) {
  for (const Port& port : plugin_.ports) {
    if (port.kind != PortKind::control) continue;
    const Range before = ranges_[port.index];
    ranges_[port.index] = range_at(port, sample_rate);
    if (port.has(property_sample_rate) && value(port.index) == before.def)
      values_[port.index].store(ranges_[port.index].def, std::memory_order_relaxed);
  }
  version_.fetch_add(1, std::memory_order_release);
}

std::vector<float> Parameters::snapshot() const {
  std::vector<float> all(plugin_.ports.size());
  for (std::size_t port = 0; port < all.size(); ++port)
    all[port] = value(static_cast<std::uint32_t>(port));
  return all;
}

std::vector<std::uint32_t> Parameters::listed() const {
  std::vector<std::uint32_t> ports;
  for (const ControlUse wanted : {ControlUse::parameter, ControlUse::meter}) {
    for (std::uint32_t port = 0; port < uses_.size(); ++port)
      if (uses_[port] == wanted) ports.push_back(port);
  }
  return ports;
}

}  // namespace vesk::lv2
