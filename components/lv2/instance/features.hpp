#pragma once

// What the host offers to a plugin.

#include <lv2/core/lv2.h>
#include <lv2/options/options.h>
#include <lv2/state/state.h>
#include <lv2/worker/worker.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "components/lv2/catalogue/description.hpp"
#include "components/lv2/instance/plugin_log.hpp"

namespace vesk::lv2 {

/// The features that `plugin` requires and nobody here has, as URIs. Many plugins crash rather
/// than refuse when one is missing, so this is asked before anything of the plugin runs.
std::vector<std::string> missing_features(const Description& plugin);

/// The features for a library's own entry point: those that need no instance.
const LV2_Feature* const* library_features();

/// What an instance is told about the blocks it will be run with.
struct BlockOptions {
  double sample_rate = 48000;
  std::uint32_t max_frames = 4096;
};

/// The feature lists of one plugin handle. Must outlive it, at one address.
class Features {
 public:
  Features(const Description& plugin, const BlockOptions& blocks,
           const LV2_Worker_Schedule& schedule);
  Features(const Features&) = delete;
  Features& operator=(const Features&) = delete;

  /// For `instantiate`.
  const LV2_Feature* const* for_instance() const { return instance_.data(); }
  /// For `save` and `restore` of the state interface.
  const LV2_Feature* const* for_state() const { return state_.data(); }

 private:
  std::string file_folder_;
  LV2_Worker_Schedule schedule_;
  PluginLog log_;
  LV2_State_Map_Path map_path_;
  LV2_State_Make_Path make_path_;
  LV2_State_Free_Path free_path_;
  std::int32_t min_block_ = 1;
  std::int32_t max_block_;
  std::int32_t sequence_size_;
  float sample_rate_;
  std::array<LV2_Options_Option, 6> options_;
  std::vector<LV2_Feature> storage_;
  std::vector<const LV2_Feature*> instance_;
  std::vector<const LV2_Feature*> state_;
};

}  // namespace vesk::lv2
