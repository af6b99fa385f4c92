// Files that a unit's plugin is told of by name.

#include <limits.h>
#include <lv2/atom/atom.h>

#include <algorithm>
#include <filesystem>

#include "components/lv2/unit/plugin_unit.hpp"
#include "components/unit_support/cf_object.hpp"
#include "platform/unit_extras.hpp"

namespace vesk::lv2 {
namespace {

/// The path that a property holds; empty when it holds none.
std::string path_in(const StateProperty& property) {
  if (property.type != LV2_ATOM__Path) return {};
  const auto* text = reinterpret_cast<const char*>(property.value.data());
  return {text, strnlen(text, property.value.size())};
}

}  // namespace

CFArrayRef PluginUnit::copy_files() const {
  const std::vector<StateProperty> state = present_properties();
  CFMutableArrayRef list = CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
  for (const FileProperty& file : plugin_->files) {
    CfDictionary entry;
    entry.set(platform::file_key, copy_cf_string(file.uri));
    entry.set(platform::file_label, copy_cf_string(file.label));
    // Most plugins keep it under the property's own name; of the others it is known while they run.
    const auto kept = std::ranges::find(state, file.uri, &StateProperty::key);
    const auto given = files_.find(file.uri);
    std::string path = kept != state.end() ? path_in(*kept) : "";
    if (path.empty() && given != files_.end()) path = given->second;
    if (!path.empty()) entry.set(platform::file_path, copy_cf_string(path));
    CFArrayAppendValue(list, std::move(entry).take().get());
  }
  return list;
}

OSStatus PluginUnit::set_file(CFDictionaryRef wanted) {
  if (wanted == nullptr) return kAudioUnitErr_InvalidPropertyValue;
  const std::string uri = text_of(cf_value<CFStringRef>(wanted, platform::file_key));
  const std::string path = text_of(cf_value<CFStringRef>(wanted, platform::file_path));
  if (std::ranges::find(plugin_->files, uri, &FileProperty::uri) == plugin_->files.end() ||
      path.empty() || path.size() >= PATH_MAX)
    return kAudioUnitErr_InvalidPropertyValue;
  const std::vector<StateProperty> before = present_properties();
  std::unique_ptr<Instance> instance = make_instance(parameters_.snapshot(), &before);
  if (instance == nullptr) return kAudioUnitErr_InvalidPropertyValue;
  std::string error;
  if (!instance->give_file(uri, path, error)) {
    complain(path + ": " + error);
    return kAudioUnitErr_InvalidFile;
  }
  properties_ = instance->save();
  if (!is_initialized()) instance.reset();
  exchange(std::move(instance));
  files_[uri] = path;
  return noErr;
}

void PluginUnit::tell_missing_files(const std::vector<StateProperty>& properties) const {
  for (const StateProperty& property : properties) {
    const std::string path = path_in(property);
    std::error_code unknown;
    if (path.starts_with('/') && !std::filesystem::exists(path, unknown))
      complain("the file " + path + " is not there any more");
  }
}

}  // namespace vesk::lv2
