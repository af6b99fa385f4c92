#pragma once

// A plugin's ports sorted by what the unit does with them.

#include <cstdint>
#include <optional>
#include <vector>

#include "components/lv2/catalogue/classification.hpp"
#include "components/lv2/catalogue/description.hpp"

namespace vesk::lv2 {

/// Port indices by use. Everything is in port order.
struct PortTable {
  explicit PortTable(const Description& plugin);

  std::vector<ControlUse> uses;  ///< by port index
  std::vector<std::uint32_t> control_inputs;
  std::vector<std::uint32_t> control_outputs;
  std::vector<std::uint32_t> triggers;  ///< inputs that fall back to their default after a run
  std::vector<std::uint32_t> time_controls;
  std::optional<std::uint32_t> latency;
  std::optional<std::uint32_t> enabled;
  std::optional<std::uint32_t> free_wheeling;

  std::vector<std::uint32_t> main_inputs;      ///< by channel
  std::vector<std::uint32_t> main_outputs;     ///< by channel
  std::vector<std::uint32_t> silent_inputs;    ///< side chains and channels beyond the bus
  std::vector<std::uint32_t> unheard_outputs;  ///< channels beyond the bus
  std::vector<std::uint32_t> cv_inputs;
  std::vector<std::uint32_t> cv_outputs;
  std::vector<std::uint32_t> atom_inputs;
  std::vector<std::uint32_t> atom_outputs;
  std::vector<std::uint32_t> event_inputs;
  std::vector<std::uint32_t> event_outputs;

  std::optional<std::uint32_t> patch_input;  ///< where the plugin is told of files

  /// True when MIDI has somewhere to go.
  bool takes_midi = false;
  /// How many instances of the plugin make the stereo unit: two when it has one main channel each
  /// way (each instance takes one side; they share their parameters), else one.
  std::uint32_t instances = 1;
  /// Instruments and generators have no input bus, whatever audio inputs the plugin has.
  bool has_input_bus = false;
};

}  // namespace vesk::lv2
