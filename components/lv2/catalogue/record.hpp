#pragma once

// What scanner and hosts exchange, as bytes.

#include <optional>
#include <span>

#include "components/lv2/catalogue/bytes.hpp"
#include "components/lv2/catalogue/index.hpp"

namespace vesk::lv2 {

/// The bytes of an Index, BundleMap, PluginRecord or State.
template <typename T>
Bytes encode(const T& record);

/// Reads back what `encode` wrote; nothing when the bytes are too few or too many.
template <typename T>
std::optional<T> decode(std::span<const std::byte> bytes);

}  // namespace vesk::lv2
