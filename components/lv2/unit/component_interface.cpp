#include "components/lv2/unit/component_interface.hpp"

#include <AudioToolbox/AudioToolbox.h>

#include <memory>
#include <new>
#include <string>
#include <utility>

#include "components/lv2/instance/features.hpp"
#include "components/lv2/unit/plugin_unit.hpp"
#include "components/unit_support/component_methods.hpp"
#include "components/unit_support/diagnostics.hpp"

namespace vesk::lv2 {
namespace {

constexpr OSType manufacturer = 0x4c56325f;  // 'LV2_'
// What callers know as "the code of the component cannot be loaded" and "it lacks its factory".
constexpr OSStatus cannot_load = -3000;
constexpr OSStatus not_in_library = -1;

/// What a method's first argument points to.
struct PlugIn {
  AudioComponentPlugInInterface interface;
  std::shared_ptr<const Description> plugin;
  std::unique_ptr<PluginUnit> unit = nullptr;

  OSStatus open(AudioComponentInstance instance) {
    std::string error;
    bool missing = false;
    std::unique_ptr<PluginLibrary> library = PluginLibrary::open(*plugin, error, &missing);
    if (library == nullptr) {
      say(plugin->name + " cannot be loaded: " + error);
      return missing ? not_in_library : cannot_load;
    }
    AudioComponentDescription codes{plugin->type, 0, manufacturer, 0, 0};
    AudioComponent component = AudioComponentInstanceGetComponent(instance);
    if (component != nullptr) AudioComponentGetDescription(component, &codes);
    unit = std::make_unique<PluginUnit>(plugin, std::move(library), instance, codes);
    return noErr;
  }
};

}  // namespace

AudioComponentPlugInInterface* make_unit(std::shared_ptr<const Description> description,
                                         OSStatus* status) {
  const std::vector<std::string> missing = missing_features(*description);
  for (const std::string& feature : missing)
    say(description->name + " needs the LV2 feature " + feature);
  if (!missing.empty()) {
    *status = kAudioUnitErr_ExtensionNotFound;
    return nullptr;
  }
  if (!description->not_hosted.empty()) {
    say(description->name + " cannot be hosted: " + description->not_hosted);
    *status = cannot_load;
    return nullptr;
  }
  auto* plug_in =
      new (std::nothrow) PlugIn{ComponentMethods<PlugIn>::interface(), std::move(description)};
  *status = plug_in != nullptr ? OSStatus{noErr} : OSStatus{kAudio_MemFullError};
  return plug_in != nullptr ? &plug_in->interface : nullptr;
}

}  // namespace vesk::lv2
