#include "components/lv2/editor/interface_features.hpp"

#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/instance-access/instance-access.h>
#include <lv2/parameters/parameters.h>

namespace vesk::lv2 {
namespace {

EditorLink& link_of(void* handle) {
  return *static_cast<EditorLink*>(handle);
}

LV2_URID map_uri(LV2_URID_Map_Handle handle, const char* uri) {
  return link_of(handle).map(uri);
}

const char* unmap_urid(LV2_URID_Unmap_Handle handle, LV2_URID urid) {
  return link_of(handle).unmap(urid);
}

std::uint32_t port_of(LV2UI_Feature_Handle handle, const char* symbol) {
  for (const Port& port : link_of(handle).plugin().ports)
    if (symbol != nullptr && port.symbol == symbol) return port.index;
  return LV2UI_INVALID_PORT_INDEX;
}

// Every change of every port is sent anyway, and an interface leaves alone what it does not know.
std::uint32_t accept_subscription(LV2UI_Feature_Handle, std::uint32_t, std::uint32_t,
                                  const LV2_Feature* const*) {
  return 0;
}

}  // namespace

InterfaceFeatures::InterfaceFeatures(EditorLink& link, unsigned long window,
                                     const LV2UI_Resize& resize, const LV2UI_Touch& touch)
    : map_{&link, &map_uri},
      unmap_{&link, &unmap_urid},
      log_(link.plugin().name, link.map(LV2_LOG__Trace)),
      resize_(resize),
      touch_(touch),
      port_map_{&link, &port_of},
      subscribe_{&link, &accept_subscription, &accept_subscription},
      data_access_{link.extension_data()},
      title_(link.plugin().name),
      title_text_(title_.c_str()),
      sample_rate_(static_cast<float>(link.sample_rate())),
      max_block_(static_cast<std::int32_t>(link.max_frames())) {
  const auto add_option = [&](const char* key, const char* type, const auto& value) {
    options_.push_back(
        {LV2_OPTIONS_INSTANCE, 0, link.map(key), sizeof value, link.map(type), &value});
  };
  add_option(LV2_PARAMETERS__sampleRate, LV2_ATOM__Float, sample_rate_);
  add_option(LV2_BUF_SIZE__minBlockLength, LV2_ATOM__Int, min_block_);
  add_option(LV2_BUF_SIZE__maxBlockLength, LV2_ATOM__Int, max_block_);
  add_option(LV2_UI__updateRate, LV2_ATOM__Float, update_rate_);
  add_option(LV2_UI__scaleFactor, LV2_ATOM__Float, scale_);
  options_.push_back({LV2_OPTIONS_INSTANCE, 0, link.map(LV2_UI__windowTitle),
                      static_cast<std::uint32_t>(title_.size() + 1), link.map(LV2_ATOM__String),
                      title_text_});
  options_.push_back({LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr});

  features_ = {
      {LV2_URID__map, &map_},
      {LV2_URID__unmap, &unmap_},
      {LV2_OPTIONS__options, options_.data()},
      {LV2_LOG__log, log_.feature()},
      // The number itself. NOLINTNEXTLINE(performance-no-int-to-ptr)
      {LV2_UI__parent, reinterpret_cast<void*>(window)},
      {LV2_UI__idleInterface, nullptr},
      {LV2_UI__resize, &resize_},
      {LV2_UI__portMap, &port_map_},
      {LV2_UI__portSubscribe, &subscribe_},
      {LV2_UI__touch, &touch_},
  };
  if (const LV2_Handle handle = link.handle()) {
    features_.push_back({LV2_INSTANCE_ACCESS_URI, handle});
    if (data_access_.data_access != nullptr)
      features_.push_back({LV2_DATA_ACCESS_URI, &data_access_});
  }
  for (const LV2_Feature& feature : features_) list_.push_back(&feature);
  list_.push_back(nullptr);
}

}  // namespace vesk::lv2
