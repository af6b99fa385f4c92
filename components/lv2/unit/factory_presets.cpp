// Factory presets of a unit.

#include <cstdlib>

#include "components/lv2/catalogue/presets.hpp"
#include "components/lv2/unit/plugin_unit.hpp"
#include "components/unit_support/cf_text.hpp"

namespace vesk::lv2 {

CFArrayRef PluginUnit::copy_factory_presets() {
  if (factory_presets_.empty()) {
    for (const Preset& preset : plugin_->presets) {
      factory_presets_.push_back(
          {static_cast<SInt32>(factory_presets_.size()), copy_cf_string(preset.label)});
    }
  }
  // The elements are records, not objects: nothing is to be retained.
  CFMutableArrayRef list = CFArrayCreateMutable(
      kCFAllocatorDefault, static_cast<CFIndex>(factory_presets_.size()), nullptr);
  for (const AUPreset& preset : factory_presets_) CFArrayAppendValue(list, &preset);
  return list;
}

OSStatus PluginUnit::tell_user_presets(UInt8* is_users) const {
  const char* home = std::getenv("HOME");
  const std::string own = home != nullptr && *home != 0 ? std::string(home) + "/" : "";
  for (const Preset& preset : plugin_->presets) {
    // A plugin that is itself installed there has presets of its maker beside it.
    const bool came_with_plugin = preset.bundle == plugin_->bundle;
    *is_users++ = !own.empty() && preset.bundle.starts_with(own) && !came_with_plugin;
  }
  return noErr;
}

OSStatus PluginUnit::load_factory_preset(SInt32 number) {
  const std::vector<Preset>& presets = plugin_->presets;
  if (number < 0 || static_cast<std::size_t>(number) >= presets.size())
    return kAudioUnitErr_InvalidPropertyValue;
  const Preset& preset = presets[static_cast<std::size_t>(number)];
  std::string error;
  const std::optional<State> state = read_preset(*plugin_, preset, error);
  if (!state) {
    complain("preset " + preset.label + ": " + error);
    return kAudioUnitErr_InvalidPropertyValue;
  }
  StateChange change;
  change.values = parameters_.snapshot();
  for (const PortValue& value : state->port_values) {
    for (const std::uint32_t port : ports_.control_inputs)
      if (plugin_->ports[port].symbol == value.symbol && parameters_.is_writable(port))
        change.values[port] = parameters_.legal(port, value.value);
  }
  // A preset of control values alone leaves the rest of the plugin as it is.
  change.properties = state->properties.empty() ? present_properties() : state->properties;
  change.preset_number = number;
  change.preset_name = preset.label;
  return apply(std::move(change));
}

}  // namespace vesk::lv2
