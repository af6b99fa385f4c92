#pragma once

// The shared object of a plugin, opened in this process.

#include <lv2/core/lv2.h>

#include <memory>
#include <string>

#include "components/lv2/catalogue/description.hpp"

namespace vesk::lv2 {

/// An open plugin library and the descriptor of one plugin in it.
///
/// The shared object is never unloaded: a tenth of all plugins stay resident anyway, and threads
/// that a plugin started may still be inside it when its last instance has been cleaned up.
class PluginLibrary {
 public:
  /// Opens the library of `plugin` and finds the plugin in it. Null, with a sentence in `error`
  /// and `*missing` telling whether the library opened but lacks the plugin. Not real-time.
  static std::unique_ptr<PluginLibrary> open(const Description& plugin, std::string& error,
                                             bool* missing);
  ~PluginLibrary();
  PluginLibrary(const PluginLibrary&) = delete;
  PluginLibrary& operator=(const PluginLibrary&) = delete;

  const LV2_Descriptor& descriptor() const { return *descriptor_; }

 private:
  PluginLibrary() = default;

  const LV2_Descriptor* descriptor_ = nullptr;
  const LV2_Lib_Descriptor* lib_descriptor_ = nullptr;
};

}  // namespace vesk::lv2
