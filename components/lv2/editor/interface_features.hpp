#pragma once

// What an interface is offered.

#include <lv2/core/lv2.h>
#include <lv2/data-access/data-access.h>
#include <lv2/options/options.h>
#include <lv2/ui/ui.h>
#include <lv2/urid/urid.h>

#include <cstdint>
#include <string>
#include <vector>

#include "components/lv2/instance/plugin_log.hpp"
#include "components/lv2/unit/editor_link.hpp"

namespace vesk::lv2 {

/// How often an interface is given a turn.
inline constexpr float turns_per_second = 30;

/// What an interface may call, with `controller`.
struct InterfaceCallbacks {
  LV2UI_Controller controller;
  int (*resize)(LV2UI_Feature_Handle, int width, int height);
  void (*touch)(LV2UI_Feature_Handle, std::uint32_t port, bool grabbed);
  void (*closed)(LV2UI_Controller);
};

/// The data of `external_host`.
struct ExternalHost {
  void (*ui_closed)(LV2UI_Controller);
  const char* plugin_human_id;
};

/// The features of one interface; they must outlive it, at one address.
class InterfaceFeatures {
 public:
  /// `window` is the X window to be put into.
  InterfaceFeatures(const InterfaceContext& context, unsigned long window,
                    const InterfaceCallbacks& callbacks);
  InterfaceFeatures(const InterfaceFeatures&) = delete;
  InterfaceFeatures& operator=(const InterfaceFeatures&) = delete;

  const LV2_Feature* const* list() const { return list_.data(); }

 private:
  LV2_URID_Map map_;
  LV2_URID_Unmap unmap_;
  PluginLog log_;
  LV2UI_Resize resize_;
  LV2UI_Touch touch_;
  LV2UI_Port_Map port_map_;
  LV2UI_Port_Subscribe subscribe_;
  LV2_Extension_Data_Feature data_access_;
  std::string title_;
  const char* title_text_;
  ExternalHost external_;
  float sample_rate_;
  float update_rate_ = turns_per_second;
  float scale_ = 1;
  std::int32_t min_block_ = 1;
  std::int32_t max_block_;
  std::vector<LV2_Options_Option> options_;
  std::vector<LV2_Feature> features_;
  std::vector<const LV2_Feature*> list_;
};

}  // namespace vesk::lv2
