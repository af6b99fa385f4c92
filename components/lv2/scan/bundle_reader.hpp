#pragma once

// Reads bundles with lilv. Runs in worker processes only: bad data may crash or hang it.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "components/lv2/catalogue/index.hpp"
#include "components/lv2/scan/lilv_handles.hpp"

namespace vesk::lv2::scan {

class BundleReader {
 public:
  BundleMap map(const std::string& bundle);

  /// The plugin `uri` of `bundle`; `extra_bundles` hold presets for it. Nothing when the bundle
  /// has no such plugin.
  std::optional<PluginRecord> describe(const std::string& bundle,
                                       const std::vector<std::string>& extra_bundles,
                                       const std::string& uri);

  /// What a preset of `plugin_uri` holds. `preset_bundle` is where its data is.
  std::optional<State> preset(const std::string& bundle, const std::string& preset_bundle,
                              const std::string& plugin_uri, const std::string& preset_uri);

 private:
  /// A world with these bundles, kept for the next call that wants the same ones.
  LilvWorld* open(std::vector<std::string> bundles);

  World world_;
  std::vector<std::string> open_bundles_;
};

/// The plugin's description but for `classify`.
Description describe_plugin(LilvWorld* world, const LilvPlugin* plugin);

std::vector<Port> read_ports(LilvWorld* world, const LilvPlugin* plugin);

/// State of a preset or plugin; nothing when the data has none.
std::optional<State> read_state(LilvWorld* world, const LilvNode* subject);

}  // namespace vesk::lv2::scan
