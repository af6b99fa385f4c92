#pragma once

// Descriptions and states as bytes.

#include <optional>
#include <span>

#include "components/lv2/catalogue/byte_stream.hpp"
#include "components/lv2/catalogue/description.hpp"

namespace vesk::lv2 {

/// Raise it whenever the form of a record changes, or the rules that fill one in.
inline constexpr std::uint32_t record_version = 2;

void encode(ByteWriter& to, const Description& plugin);
void encode(ByteWriter& to, const State& state);

/// Read back what `encode` wrote; `from` fails on anything that it cannot have written.
Description decode_description(ByteReader& from);
State decode_state(ByteReader& from);

}  // namespace vesk::lv2
