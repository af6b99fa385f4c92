#include <AudioToolbox/AudioUnitProperties.h>
#include <vesk/component_provider.h>

#include <exception>
#include <mutex>
#include <string>
#include <vector>

#include "components/lv2/catalogue/component_code.hpp"
#include "components/lv2/catalogue/plugin_search.hpp"
#include "components/lv2/unit/component_interface.hpp"
#include "components/unit_support/diagnostics.hpp"

namespace vesk::lv2 {
namespace {

constexpr OSType manufacturer = 'LV2_';

/// The plugins found by name so far: what is found is mostly made next. Small: a chain's length.
class Recent {
 public:
  void keep(const FoundPlugin& plugin) {
    const std::lock_guard lock(mutex_);
    std::erase_if(plugins_, [&](const auto& known) { return known->uri == plugin.entry.uri; });
    if (plugins_.size() >= most) plugins_.erase(plugins_.begin());
    plugins_.push_back(plugin.description);
  }
  std::shared_ptr<const Description> take(const std::string& uri) {
    const std::lock_guard lock(mutex_);
    for (const auto& plugin : plugins_)
      if (plugin->uri == uri) return plugin;
    return nullptr;
  }

 private:
  static constexpr std::size_t most = 64;
  std::mutex mutex_;
  std::vector<std::shared_ptr<const Description>> plugins_;
};

Recent& recent() {
  static Recent plugins;
  return plugins;
}

bool can_be_hosted(const Entry& entry) {
  return entry.not_hosted.empty() && entry.code != 0;
}

void present(const Entry& entry, OSType subtype, VeskComponentVisitor visit, void* context) {
  VeskProvidedComponent component{};
  component.description.componentType = entry.type;
  component.description.componentSubType = subtype;
  component.description.componentManufacturer = manufacturer;
  component.name = entry.title.c_str();
  component.version = entry.version;
  component.identity = entry.uri.c_str();
  visit(context, &component);
}

void look_up(const AudioComponentDescription& wanted, VeskComponentVisitor visit, void* context) {
  const OSType code = wanted.componentSubType;
  std::string error;
  const auto plugin = find_by_code(code, error);
  if (!error.empty()) say("LV2 plugin " + code_text(code) + " cannot be looked up: " + error);
  if (!plugin) return;
  if (!can_be_hosted(plugin->entry)) {
    say("LV2 plugin " + plugin->entry.uri + " cannot be hosted: " + plugin->entry.not_hosted);
    return;
  }
  if (wanted.componentType != 0 && wanted.componentType != plugin->entry.type) return;
  recent().keep(*plugin);
  // Under the code that was asked for: it may be the one that this machine does not show.
  present(plugin->entry, code, visit, context);
}

void list(const AudioComponentDescription& wanted, VeskComponentVisitor visit, void* context) {
  std::string error;
  const auto index = list_all(error);
  if (!index) {
    say("LV2 plugins cannot be listed: " + error);
    return;
  }
  for (const Entry& entry : index->entries) {
    if (!can_be_hosted(entry)) continue;
    if (wanted.componentType != 0 && wanted.componentType != entry.type) continue;
    present(entry, entry.code, visit, context);
  }
}

void enumerate(const AudioComponentDescription* wanted, VeskComponentVisitor visit, void* context) {
  if (wanted->componentManufacturer != 0 && wanted->componentManufacturer != manufacturer) return;
  try {
    if (wanted->componentSubType != 0)
      look_up(*wanted, visit, context);
    else
      list(*wanted, visit, context);
  } catch (const std::exception& failure) {
    say(std::string("LV2 plugins cannot be listed: ") + failure.what());
  }
}

AudioComponentPlugInInterface* create(const char* identity, OSStatus* status) {
  try {
    if (auto description = recent().take(identity))
      return make_unit(std::move(description), status);
    std::string error;
    const auto plugin = find_by_uri(identity, error);
    if (plugin && can_be_hosted(plugin->entry)) return make_unit(plugin->description, status);
    say(std::string("LV2 plugin ") + identity + " cannot be started: " +
        (!error.empty() ? error
         : plugin       ? plugin->entry.not_hosted
                        : "it is not installed"));
  } catch (const std::exception& failure) {
    say(std::string("LV2 plugin ") + identity + " cannot be started: " + failure.what());
  }
  *status = kAudioUnitErr_FailedInitialization;
  return nullptr;
}

}  // namespace
}  // namespace vesk::lv2

extern "C" __attribute__((visibility("default"))) const VeskComponentProvider*
vesk_component_provider(void) {
  static const VeskComponentProvider provider = {&vesk::lv2::enumerate, &vesk::lv2::create};
  return &provider;
}
