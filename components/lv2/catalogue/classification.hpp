#pragma once

// What kind of component a plugin becomes, which of its audio ports are the main ones, and what its
// control ports are for.

#include "components/lv2/catalogue/description.hpp"

namespace vesk::lv2 {

inline constexpr std::uint32_t type_instrument = 0x61756d75;      // 'aumu'
inline constexpr std::uint32_t type_music_effect = 0x61756d66;    // 'aumf'
inline constexpr std::uint32_t type_effect = 0x61756678;          // 'aufx'
inline constexpr std::uint32_t type_generator = 0x6175676e;       // 'augn'
inline constexpr std::uint32_t type_midi_processor = 0x61756d69;  // 'aumi'

/// Main channels that a unit has each way at most.
inline constexpr std::uint32_t max_channels = 2;

/// What a control port is to whoever uses the unit.
enum class ControlUse : std::uint8_t {
  none,           ///< no control port
  parameter,      ///< listed, writable
  meter,          ///< an output: listed, read-only
  latency,        ///< hidden: the Latency property
  enabled,        ///< hidden: the BypassEffect property
  free_wheeling,  ///< hidden: the OfflineRender property
  time,           ///< hidden: follows the host's transport
};

ControlUse use_of(const Port& port);

/// Fills in what follows from the rest of the record: the audio ports' roles and channels,
/// `main_inputs`, `main_outputs`, `type`, and `not_hosted` unless a reason stands there already.
void classify(Description& plugin);

}  // namespace vesk::lv2
