#include "components/lv2/instance/plugin_library.hpp"

#include <dlfcn.h>

#include "components/lv2/catalogue/shared_object.hpp"
#include "components/lv2/instance/features.hpp"
#include "components/lv2/instance/qt_platform.hpp"

namespace vesk::lv2 {
namespace {

template <typename Next>
const LV2_Descriptor* find_descriptor(const std::string& uri, Next next) {
  for (std::uint32_t index = 0;; ++index) {
    const LV2_Descriptor* descriptor = next(index);
    if (descriptor == nullptr || uri == descriptor->URI) return descriptor;
  }
}

}  // namespace

std::unique_ptr<PluginLibrary> PluginLibrary::open(const Description& plugin, std::string& error,
                                                   bool* missing) {
  *missing = false;
  if (plugin.library.empty()) {
    error = "its data names no library";
    return nullptr;
  }
  choose_qt_platform();
  void* object = open_shared_object(plugin.library, error);
  if (object == nullptr) return nullptr;
  std::unique_ptr<PluginLibrary> library(new PluginLibrary);
  try {
    if (auto* entry = reinterpret_cast<LV2_Descriptor_Function>(dlsym(object, "lv2_descriptor"))) {
      library->descriptor_ = find_descriptor(plugin.uri, entry);
    } else if (auto* factory = reinterpret_cast<LV2_Lib_Descriptor_Function>(
                   dlsym(object, "lv2_lib_descriptor"))) {
      const LV2_Lib_Descriptor* described = factory(plugin.bundle.c_str(), library_features());
      library->lib_descriptor_ = described;
      if (described != nullptr) {
        library->descriptor_ = find_descriptor(plugin.uri, [described](std::uint32_t index) {
          return described->get_plugin(described->handle, index);
        });
      }
    }
  } catch (...) {
    error = "its library threw an exception when it was asked for its plugins";
    return nullptr;
  }
  if (library->descriptor_ == nullptr) {
    *missing = true;
    error = plugin.library + " does not hold the plugin";
    return nullptr;
  }
  return library;
}

PluginLibrary::~PluginLibrary() {
  if (lib_descriptor_ != nullptr && lib_descriptor_->cleanup != nullptr)
    lib_descriptor_->cleanup(lib_descriptor_->handle);
}

}  // namespace vesk::lv2
