#include "components/lv2/catalogue/description.hpp"

#include <algorithm>

namespace vesk::lv2 {

Range range_at(const Port& port, double sample_rate) {
  float min = port.min.value_or(0.0f);
  float max = port.max.value_or(1.0f);
  std::optional<float> def = port.def;
  if (port.has(property_sample_rate)) {
    const auto rate = static_cast<float>(sample_rate);
    if (def && *def >= min && *def <= max) def = *def * rate;
    min *= rate;
    max *= rate;
  }
  if (def && !port.min) min = std::min(min, *def);
  if (def && !port.max) max = std::max(max, *def);
  if (max < min) {
    if (port.max && !port.min)
      min = max;
    else if (port.min && !port.max)
      max = min;
    else
      std::swap(min, max);
  }
  return {std::clamp(def.value_or(0.0f), min, max), min, max};
}

}  // namespace vesk::lv2
